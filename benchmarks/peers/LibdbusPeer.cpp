// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The reference library of D-Bus.
#include <dbus/dbus.h>
#include <poll.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "Peer.h"

namespace {

using namespace bench;

struct MessageUnref {
  void operator()(DBusMessage* message) const { dbus_message_unref(message); }
};
using MessagePtr = std::unique_ptr<DBusMessage, MessageUnref>;

DBusConnection* Connect() {
  DBusConnection* const connection = dbus_bus_get_private(DBUS_BUS_SESSION, nullptr);
  if (connection == nullptr) {
    throw std::runtime_error("no bus");
  }
  return connection;
}

void Check(bool done, const char* what) {
  if (!done) {
    throw std::runtime_error(std::string(what) + " fails");
  }
}

void Append(DBusMessage* message, const std::string& bytes) {
  const char* data = bytes.data();
  Check(dbus_message_append_args(message, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &data,
                                 static_cast<int>(bytes.size()), DBUS_TYPE_INVALID) != 0,
        "append");
}

std::string Bytes(DBusMessage* message) {
  const char* data = nullptr;
  int size = 0;
  Check(dbus_message_get_args(message, nullptr, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &data, &size,
                              DBUS_TYPE_INVALID) != 0,
        "read");
  return std::string(data, static_cast<size_t>(size));
}

class LibdbusTransport : public Transport {
 public:
  LibdbusTransport() {
    const std::string match = "type='signal',sender='" + std::string(kServerName) + "',path='" +
                              kPath + "',interface='" + kInterface + "',member='Notify'";
    dbus_bus_add_match(m_connection, match.c_str(), nullptr);
  }

  std::string Call(const std::string& frame) override {
    const MessagePtr call(dbus_message_new_method_call(kServerName, kPath, kInterface, "Send"));
    Append(call.get(), frame);
    const MessagePtr answer(dbus_connection_send_with_reply_and_block(
        m_connection, call.get(), DBUS_TIMEOUT_INFINITE, nullptr));
    Check(answer != nullptr, "dbus_connection_send_with_reply_and_block");
    return Bytes(answer.get());
  }

  void Wait() override {
    const MessagePtr message(dbus_connection_pop_message(m_connection));
    if (message == nullptr) {
      dbus_connection_read_write(m_connection, -1);
      return;
    }
    dbus_int32_t event = 0;
    if (dbus_message_is_signal(message.get(), kInterface, "Notify") != 0) {
      Check(dbus_message_get_args(message.get(), nullptr, DBUS_TYPE_INT32, &event,
                                  DBUS_TYPE_INVALID) != 0,
            "read");
      Arrived(event);
    }
  }

 private:
  DBusConnection* const m_connection = Connect();
};

class LibdbusServer {
 public:
  int Run() {
    int fd = -1;
    Check(dbus_bus_request_name(m_connection, kServerName, 0, nullptr) ==
              DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER,
          "dbus_bus_request_name");
    Check(dbus_connection_get_unix_fd(m_connection, &fd) != 0, "dbus_connection_get_unix_fd");
    SayReady();
    pollfd descriptors[] = {{fd, POLLIN, 0}, {TriggerDescriptor(), POLLIN, 0}};
    while (dbus_connection_read_write(m_connection, 0) != 0) {
      while (const MessagePtr message{dbus_connection_pop_message(m_connection)}) {
        if (dbus_message_is_method_call(message.get(), kInterface, "Send") != 0) {
          Answer(message.get());
        }
      }
      dbus_connection_flush(m_connection);
      poll(descriptors, 2, -1);
      if (descriptors[1].revents != 0) {
        m_remote.OnTrigger();
      }
    }
    return 0;
  }

 private:
  void Answer(DBusMessage* call) {
    m_client = dbus_message_get_sender(call);
    const std::string frame = Bytes(call);
    const std::string reply = m_remote.Answer(frame.data(), frame.size());
    const MessagePtr answer(dbus_message_new_method_return(call));
    Append(answer.get(), reply);
    Check(dbus_connection_send(m_connection, answer.get(), nullptr) != 0, "send");
  }

  void Notify(int event) {
    const MessagePtr signal(dbus_message_new_signal(kPath, kInterface, "Notify"));
    const dbus_int32_t number = event;
    dbus_message_set_destination(signal.get(), m_client.c_str());
    Check(dbus_message_append_args(signal.get(), DBUS_TYPE_INT32, &number, DBUS_TYPE_INVALID) != 0,
          "append");
    Check(dbus_connection_send(m_connection, signal.get(), nullptr) != 0, "send");
  }

  DBusConnection* const m_connection = Connect();
  std::string m_client;
  RemoteSide m_remote{[this](int event) { Notify(event); }};
};

int RunLibdbusClient() {
  LibdbusTransport transport;
  return RunClient(OperationsOn(transport));
}

int RunLibdbusServer() {
  return LibdbusServer().Run();
}

}  // namespace

int main(int argc, char** argv) {
  return Main(argc, argv, {{"client", RunLibdbusClient}, {"server", RunLibdbusServer}});
}
