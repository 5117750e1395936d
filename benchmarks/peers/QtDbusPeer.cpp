// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Qt D-Bus, by its calls and signals.
#include <QByteArray>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QSocketNotifier>
#include <stdexcept>
#include <string>

#include "Peer.h"

namespace {

using namespace bench;

// Qt takes what it needs of the arguments.
int argumentCount = 1;
char programName[] = "bench-qt-dbus";
char* arguments[] = {programName, nullptr};

}  // namespace

class QtDbusTransport : public QObject, public Transport {
  Q_OBJECT

 public:
  QtDbusTransport() {
    if (!m_bus.connect(kServerName, kPath, kInterface, "Notify", this, SLOT(OnNotify(int)))) {
      throw std::runtime_error("no signals");
    }
  }

  std::string Call(const std::string& frame) override {
    QDBusMessage call = QDBusMessage::createMethodCall(kServerName, kPath, kInterface, "Send");
    call << QByteArray::fromStdString(frame);
    const QDBusMessage answer = m_bus.call(call, QDBus::Block);
    if (answer.type() != QDBusMessage::ReplyMessage) {
      throw std::runtime_error("no answer: " + answer.errorMessage().toStdString());
    }
    return answer.arguments().at(0).toByteArray().toStdString();
  }

  void Wait() override { QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents); }

 private:
  Q_SLOT void OnNotify(int event) { Arrived(event); }

  QDBusConnection m_bus = QDBusConnection::sessionBus();
};

namespace {

class QtDbusServer : public QDBusVirtualObject {
 public:
  QtDbusServer() {
    connect(&m_trigger, &QSocketNotifier::activated, this, [this] { m_remote.OnTrigger(); });
    if (!m_bus.registerVirtualObject(kPath, this) || !m_bus.registerService(kServerName)) {
      throw std::runtime_error("no bus");
    }
  }

  QString introspect(const QString& /*path*/) const override { return QString(); }

  bool handleMessage(const QDBusMessage& call, const QDBusConnection& bus) override {
    const QByteArray frame = call.arguments().at(0).toByteArray();
    m_client = call.service();
    const std::string reply = m_remote.Answer(frame.constData(), static_cast<size_t>(frame.size()));
    return bus.send(call.createReply(QVariant(QByteArray::fromStdString(reply))));
  }

 private:
  void Notify(int event) {
    QDBusMessage signal = QDBusMessage::createTargetedSignal(m_client, kPath, kInterface, "Notify");
    signal << event;
    m_bus.send(signal);
  }

  QDBusConnection m_bus = QDBusConnection::sessionBus();
  QSocketNotifier m_trigger{TriggerDescriptor(), QSocketNotifier::Read};
  QString m_client;
  RemoteSide m_remote{[this](int event) { Notify(event); }};
};

int RunQtDbusClient() {
  const QCoreApplication application(argumentCount, arguments);
  QtDbusTransport transport;
  return RunClient(OperationsOn(transport));
}

int RunQtDbusServer() {
  const QCoreApplication application(argumentCount, arguments);
  QtDbusServer server;
  SayReady();
  return QCoreApplication::exec();
}

}  // namespace

int main(int argc, char** argv) {
  return Main(argc, argv, {{"client", RunQtDbusClient}, {"server", RunQtDbusServer}});
}

#include "QtDbusPeer.moc"
