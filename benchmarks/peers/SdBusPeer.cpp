// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The raw D-Bus library, which everything on a bus is measured against; and the same on a socket of
// its own, without a bus, which is the least that a line beside the bus can cost.
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>
#include <systemd/sd-id128.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "Peer.h"

namespace {

using namespace bench;

void Check(int result, const char* what) {
  if (result < 0) {
    throw std::runtime_error(std::string(what) + " fails with " + std::to_string(result));
  }
}

class SdBusTransport : public Transport {
 public:
  // Takes the connection over. A server without a bus has no name.
  SdBusTransport(sd_bus* bus, const char* server) : m_bus(bus), m_server(server) {
    Check(sd_bus_match_signal_async(m_bus, nullptr, m_server, kPath, kInterface, "Notify", OnNotify,
                                    nullptr, this),
          "sd_bus_match_signal_async");
  }
  ~SdBusTransport() override { sd_bus_flush_close_unref(m_bus); }
  SdBusTransport(const SdBusTransport&) = delete;
  SdBusTransport& operator=(const SdBusTransport&) = delete;

  std::string Call(const std::string& frame) override {
    sd_bus_message* call = nullptr;
    sd_bus_message* answer = nullptr;
    Check(sd_bus_message_new_method_call(m_bus, &call, m_server, kPath, kInterface, "Send"),
          "sd_bus_message_new_method_call");
    Check(sd_bus_message_append_array(call, 'y', frame.data(), frame.size()), "append");
    Check(sd_bus_call(m_bus, call, 0, nullptr, &answer), "sd_bus_call");
    const void* bytes = nullptr;
    size_t size = 0;
    Check(sd_bus_message_read_array(answer, 'y', &bytes, &size), "read");
    std::string reply(static_cast<const char*>(bytes), size);
    sd_bus_message_unref(call);
    sd_bus_message_unref(answer);
    return reply;
  }

  void Wait() override {
    const int r = sd_bus_process(m_bus, nullptr);
    Check(r, "sd_bus_process");
    if (r == 0) {
      Check(sd_bus_wait(m_bus, UINT64_MAX), "sd_bus_wait");
    }
  }

 private:
  static int OnNotify(sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
    int event = 0;
    Check(sd_bus_message_read(message, "i", &event), "read");
    static_cast<SdBusTransport*>(self)->Arrived(event);
    return 0;
  }

  sd_bus* const m_bus;
  const char* const m_server;
};

int RunSdBusClient() {
  sd_bus* bus = nullptr;
  Check(sd_bus_open_user(&bus), "sd_bus_open_user");
  SdBusTransport transport(bus, kServerName);
  return RunClient(OperationsOn(transport));
}

int RunSocketClient() {
  sd_bus* bus = nullptr;
  Check(sd_bus_new(&bus), "sd_bus_new");
  Check(sd_bus_set_address(bus, ("unix:path=" + SocketPath()).c_str()), "sd_bus_set_address");
  Check(sd_bus_start(bus), "sd_bus_start");
  SdBusTransport transport(bus, nullptr);
  return RunClient(OperationsOn(transport));
}

// The server tells the one who calls, as the application list does.
class SdBusServer {
 public:
  SdBusServer() { Check(sd_event_default(&m_event), "sd_event_default"); }

  int RunOnBus() {
    Check(sd_bus_open_user(&m_bus), "sd_bus_open_user");
    Attach();
    Check(sd_bus_request_name(m_bus, kServerName, 0), "sd_bus_request_name");
    return Run();
  }

  int RunOnSocket() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    SocketPath().copy(address.sun_path, sizeof address.sun_path - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    Check(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), "bind");
    Check(listen(fd, 1), "listen");
    Check(sd_event_add_io(m_event, nullptr, fd, EPOLLIN, OnClient, this), "sd_event_add_io");
    return Run();
  }

 private:
  static int OnSend(sd_bus_message* call, void* server, sd_bus_error* /*error*/) {
    SdBusServer* self = static_cast<SdBusServer*>(server);
    const void* bytes = nullptr;
    size_t size = 0;
    Check(sd_bus_message_read_array(call, 'y', &bytes, &size), "read");
    const char* const sender = sd_bus_message_get_sender(call);
    self->m_client = sender == nullptr ? "" : sender;
    const std::string reply = self->m_remote.Answer(static_cast<const char*>(bytes), size);
    sd_bus_message* answer = nullptr;
    Check(sd_bus_message_new_method_return(call, &answer), "return");
    Check(sd_bus_message_append_array(answer, 'y', reply.data(), reply.size()), "append");
    const int r = sd_bus_send(nullptr, answer, nullptr);
    sd_bus_message_unref(answer);
    return r;
  }

  int Run() {
    Check(sd_event_add_io(m_event, nullptr, TriggerDescriptor(), EPOLLIN, OnTrigger, this),
          "sd_event_add_io");
    SayReady();
    return sd_event_loop(m_event);
  }

  void Attach() {
    static const sd_bus_vtable kVtable[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("Send", "ay", "ay", OnSend, SD_BUS_VTABLE_UNPRIVILEGED), SD_BUS_VTABLE_END};
    Check(sd_bus_add_object_vtable(m_bus, nullptr, kPath, kInterface, kVtable, this), "vtable");
    Check(sd_bus_attach_event(m_bus, m_event, 0), "sd_bus_attach_event");
  }

  // One client at a time.
  static int OnClient(sd_event_source* /*source*/, int fd, uint32_t /*events*/, void* server) {
    SdBusServer* self = static_cast<SdBusServer*>(server);
    const int client = accept4(fd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    sd_id128_t id{};
    Check(client, "accept4");
    Check(sd_id128_randomize(&id), "sd_id128_randomize");
    sd_bus_close_unref(self->m_bus);
    Check(sd_bus_new(&self->m_bus), "sd_bus_new");
    Check(sd_bus_set_fd(self->m_bus, client, client), "sd_bus_set_fd");
    Check(sd_bus_set_server(self->m_bus, 1, id), "sd_bus_set_server");
    Check(sd_bus_start(self->m_bus), "sd_bus_start");
    self->Attach();
    return 0;
  }

  static int OnTrigger(sd_event_source* /*source*/, int /*fd*/, uint32_t /*events*/, void* self) {
    static_cast<SdBusServer*>(self)->m_remote.OnTrigger();
    return 0;
  }

  void Notify(int event) {
    sd_bus_message* signal = nullptr;
    Check(sd_bus_message_new_signal(m_bus, &signal, kPath, kInterface, "Notify"), "signal");
    Check(sd_bus_message_append(signal, "i", event), "append");
    if (!m_client.empty()) {
      Check(sd_bus_message_set_destination(signal, m_client.c_str()), "destination");
    }
    Check(sd_bus_send(m_bus, signal, nullptr), "sd_bus_send");
    sd_bus_message_unref(signal);
  }

  sd_event* m_event = nullptr;
  sd_bus* m_bus = nullptr;
  std::string m_client;
  RemoteSide m_remote{[this](int event) { Notify(event); }};
};

int RunSdBusServer() {
  return SdBusServer().RunOnBus();
}

int RunSocketServer() {
  return SdBusServer().RunOnSocket();
}

}  // namespace

int main(int argc, char** argv) {
  return Main(argc, argv,
              {{"client", RunSdBusClient},
               {"server", RunSdBusServer},
               {"socket-client", RunSocketClient},
               {"socket-server", RunSocketServer}});
}
