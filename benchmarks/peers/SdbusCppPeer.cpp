// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A C++ binding of the D-Bus library that AppList uses.
#include <poll.h>
#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Peer.h"

namespace {

using namespace bench;
using Bytes = std::vector<uint8_t>;

// Waits until there is something on the bus, or on `fd`. Returns whether it is there.
bool AwaitInput(sdbus::IConnection& connection, int fd) {
  const auto data = connection.getEventLoopPollData();
  pollfd descriptors[] = {{data.fd, data.events, 0}, {fd, POLLIN, 0}};
  poll(descriptors, 2, data.getPollTimeout());
  return descriptors[1].revents != 0;
}

class SdbusCppTransport : public Transport {
 public:
  SdbusCppTransport() {
    m_proxy->uponSignal("Notify").onInterface(kInterface).call([this](int event) {
      Arrived(event);
    });
    m_proxy->finishRegistration();
  }

  std::string Call(const std::string& frame) override {
    Bytes reply;
    m_proxy->callMethod("Send")
        .onInterface(kInterface)
        .withArguments(Bytes(frame.begin(), frame.end()))
        .storeResultsTo(reply);
    return std::string(reply.begin(), reply.end());
  }

  void Wait() override {
    if (!m_connection->processPendingRequest()) {
      AwaitInput(*m_connection, -1);
    }
  }

 private:
  const std::unique_ptr<sdbus::IConnection> m_connection = sdbus::createSessionBusConnection();
  const std::unique_ptr<sdbus::IProxy> m_proxy =
      sdbus::createProxy(*m_connection, kServerName, kPath);
};

class SdbusCppServer {
 public:
  SdbusCppServer() {
    m_object->registerMethod("Send").onInterface(kInterface).implementedAs([this](Bytes frame) {
      const std::string reply =
          m_remote.Answer(reinterpret_cast<const char*>(frame.data()), frame.size());
      return Bytes(reply.begin(), reply.end());
    });
    m_object->registerSignal("Notify").onInterface(kInterface).withParameters<int>();
    m_object->finishRegistration();
    m_connection->requestName(kServerName);
  }

  int Run() {
    SayReady();
    for (;;) {
      while (m_connection->processPendingRequest()) {
      }
      if (AwaitInput(*m_connection, TriggerDescriptor())) {
        m_remote.OnTrigger();
      }
    }
  }

 private:
  // To all who listen: this binding has no other way.
  void Notify(int event) {
    m_object->emitSignal("Notify").onInterface(kInterface).withArguments(event);
  }

  const std::unique_ptr<sdbus::IConnection> m_connection = sdbus::createSessionBusConnection();
  const std::unique_ptr<sdbus::IObject> m_object = sdbus::createObject(*m_connection, kPath);
  RemoteSide m_remote{[this](int event) { Notify(event); }};
};

int RunSdbusCppClient() {
  SdbusCppTransport transport;
  return RunClient(OperationsOn(transport));
}

int RunSdbusCppServer() {
  return SdbusCppServer().Run();
}

}  // namespace

int main(int argc, char** argv) {
  return Main(argc, argv, {{"client", RunSdbusCppClient}, {"server", RunSdbusCppServer}});
}
