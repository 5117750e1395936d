// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Qt Remote Objects on a local socket: an object with a slot for calls, and an item model with its
// selection model, of which the client holds a replica. A selection is told by setting the
// replica's; it is done when the server has said that it has taken it over.
#include <QAbstractItemModelReplica>
#include <QAbstractListModel>
#include <QCoreApplication>
#include <QItemSelectionModel>
#include <QRemoteObjectHost>
#include <QRemoteObjectNode>
#include <QSocketNotifier>
#include <memory>
#include <stdexcept>

#include "Peer.h"
#include "rep_RemoteObjectsPeer_merged.h"

namespace {

using namespace bench;

// Qt takes what it needs of the arguments.
int argumentCount = 1;
char programName[] = "bench-qt-remote-objects";
char* arguments[] = {programName, nullptr};

QUrl Address() {
  const QString path = qEnvironmentVariable("BENCH_SOCKET");
  return QUrl("local:" + path.section('/', -2, -2) + "-" + path.section('/', -1));
}

class ItemModel : public QAbstractListModel {
 public:
  int rowCount(const QModelIndex& parent = QModelIndex()) const override {
    return parent.isValid() ? 0 : static_cast<int>(m_items.size());
  }
  QVariant data(const QModelIndex& index, int role) const override {
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::UserRole)) {
      return QVariant();
    }
    const Item& item = m_items[static_cast<size_t>(index.row())];
    return QString::fromStdString(role == Qt::DisplayRole ? item.name : item.id);
  }
  void Set(std::vector<Item> items) {
    beginResetModel();
    m_items = std::move(items);
    endResetModel();
  }

 private:
  std::vector<Item> m_items;
};

class Server : public PeerSimpleSource {
 public:
  Server() : m_host(Address()), m_trigger(TriggerDescriptor(), QSocketNotifier::Read) {
    connect(&m_trigger, &QSocketNotifier::activated, this, [this] { OnTrigger(); });
    m_host.enableRemoting<PeerSourceAPI>(this);
    m_host.enableRemoting(&m_model, "items", {Qt::DisplayRole, Qt::UserRole}, &m_selection);
    // Behind the replica's own news of it.
    connect(&m_selection, &QItemSelectionModel::currentChanged, this,
            [this] { emit notify(kSelected); });
  }

  // Answers a call, or sets the list.
  QByteArray send(const QByteArray& frame) override {
    ++TheShared().taken;
    const int count = QByteArrayView(frame).startsWith("list ") ? frame.mid(5).toInt() : -1;
    if (count >= 0) {
      m_model.Set(MakeItems(count));
    }
    return QByteArray();
  }

 private:
  void OnTrigger() {
    ReadTrigger();
    const int last = m_model.rowCount() - 1;
    const int other = m_selection.currentIndex().row() == last ? last - 1 : last;
    TheShared().begin = Now();
    m_selection.setCurrentIndex(m_model.index(other, 0), QItemSelectionModel::ClearAndSelect);
  }

  QRemoteObjectHost m_host;
  ItemModel m_model;
  QItemSelectionModel m_selection{&m_model};
  QSocketNotifier m_trigger;
};

class Client {
 public:
  Client() {
    if (!m_node.connectToNode(Address())) {
      throw std::runtime_error("no connection");
    }
    m_peer.reset(m_node.acquire<PeerReplica>());
    if (!m_peer->waitForSource()) {
      throw std::runtime_error("no source");
    }
    QObject::connect(m_peer.get(), &PeerReplica::notify, m_peer.get(), [this] { m_told = true; });
  }

  Operations All() {
    Operations operations;
    operations["first"] = operations["call"] = [this](int size) {
      const QByteArray frame(size, 'x');
      return Time([&] { Send(frame); });
    };
    operations["list"] = [this](int size) {
      m_items.reset();
      const int64_t time = Time([&] { Send("list " + QByteArray::number(size)); });
      m_size = size;
      Acquire();
      return time;
    };
    operations["select"] = [this](int) { return Select(); };
    operations["event"] = [this](int) { return Event(); };
    operations["push"] = [this](int size) {
      m_items.reset();
      QCoreApplication::processEvents();
      const int64_t time = Time([this] { Acquire(); });
      Check(size);
      return time;
    };
    return operations;
  }

 private:
  void Send(const QByteArray& frame) {
    auto reply = m_peer->send(frame);
    if (!reply.waitForFinished()) {
      throw std::runtime_error("no answer");
    }
  }

  template <class Condition>
  static void Wait(Condition condition) {
    while (!condition()) {
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
  }

  // Until the replica holds every item.
  void Acquire() {
    m_items.reset(m_node.acquireModel("items", QtRemoteObjects::PrefetchData,
                                      {Qt::DisplayRole, Qt::UserRole}));
    m_items->setRootCacheSize(static_cast<size_t>(m_size) + 1);  // or it forgets the first ones
    Wait([this] { return m_items->isInitialized() && m_items->rowCount() == m_size; });
    Wait([this] { return m_items->hasData(m_items->index(m_size - 1, 0), Qt::UserRole); });
  }

  void Check(int size) {
    const std::vector<Item> items = MakeItems(size);
    for (int row = 0; row < size; ++row) {
      const QString id = m_items->index(row, 0).data(Qt::UserRole).toString();
      if (id.toStdString() != items[static_cast<size_t>(row)].id) {
        throw std::runtime_error("the replica holds something else");
      }
    }
  }

  int64_t Select() {
    QItemSelectionModel* const selection = m_items->selectionModel();
    const QModelIndex item = OtherItem();
    m_told = false;
    return Time([&] {
      selection->setCurrentIndex(item, QItemSelectionModel::ClearAndSelect);
      Wait([this] { return m_told; });
    });
  }

  // The replica's selection follows by itself.
  int64_t Event() {
    QItemSelectionModel* const selection = m_items->selectionModel();
    int64_t at = 0;
    m_told = false;
    const auto connection =
        QObject::connect(selection, &QItemSelectionModel::currentChanged, [&at] { at = Now(); });
    Trigger(kSelectTrigger);
    Wait([&] { return at != 0 && m_told; });
    QObject::disconnect(connection);
    return at - TheShared().begin;
  }

  QModelIndex OtherItem() {
    const bool isLast = m_items->selectionModel()->currentIndex().row() == m_size - 1;
    return m_items->index(m_size - (isLast ? 2 : 1), 0);
  }

  QRemoteObjectNode m_node;
  std::unique_ptr<PeerReplica> m_peer;
  std::unique_ptr<QAbstractItemModelReplica> m_items;
  int m_size = 0;
  bool m_told = false;
};

int RunQtClient() {
  const QCoreApplication application(argumentCount, arguments);
  Client client;
  Operations operations = client.All();
  // What is left of an operation is over when a call that comes behind it is answered. Without
  // this, the echo of one selection meets the next one, and the two ends take turns in undoing each
  // other's for ever. And what is left to be deleted waits for a running event loop.
  for (const std::string name : {"select", "event"}) {
    operations[name] = [work = operations[name], settle = operations["call"]](int size) {
      const int64_t time = work(size);
      settle(40);
      QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
      return time;
    };
  }
  return RunClient(operations);
}

int RunQtServer() {
  const QCoreApplication application(argumentCount, arguments);
  Server server;
  SayReady();
  return QCoreApplication::exec();
}

}  // namespace

int main(int argc, char** argv) {
  return Main(argc, argv, {{"client", RunQtClient}, {"server", RunQtServer}});
}
