// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The raw D-Bus library, which everything on a bus is measured against.
#include <sys/epoll.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

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
  SdBusTransport() {
    Check(sd_bus_open_user(&m_bus), "sd_bus_open_user");
    Check(sd_bus_match_signal_async(m_bus, nullptr, kServerName, kPath, kInterface, "Notify",
                                    OnNotify, nullptr, this),
          "sd_bus_match_signal_async");
  }
  ~SdBusTransport() override { sd_bus_flush_close_unref(m_bus); }
  SdBusTransport(const SdBusTransport&) = delete;
  SdBusTransport& operator=(const SdBusTransport&) = delete;

  std::string Call(const std::string& frame) override {
    sd_bus_message* call = nullptr;
    sd_bus_message* answer = nullptr;
    Check(sd_bus_message_new_method_call(m_bus, &call, kServerName, kPath, kInterface, "Send"),
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

  sd_bus* m_bus = nullptr;
};

int RunSdBusClient() {
  SdBusTransport transport;
  return RunClient(OperationsOn(transport));
}

// The server tells the one who calls, as the application list does.
class SdBusServer {
 public:
  int Run() {
    static const sd_bus_vtable kVtable[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("Send", "ay", "ay", OnSend, SD_BUS_VTABLE_UNPRIVILEGED), SD_BUS_VTABLE_END};
    sd_event* event = nullptr;
    Check(sd_event_default(&event), "sd_event_default");
    Check(sd_bus_open_user(&m_bus), "sd_bus_open_user");
    Check(sd_bus_add_object_vtable(m_bus, nullptr, kPath, kInterface, kVtable, this), "vtable");
    Check(sd_bus_request_name(m_bus, kServerName, 0), "sd_bus_request_name");
    Check(sd_bus_attach_event(m_bus, event, 0), "sd_bus_attach_event");
    Check(sd_event_add_io(event, nullptr, TriggerDescriptor(), EPOLLIN, OnTrigger, this),
          "sd_event_add_io");
    SayReady();
    return sd_event_loop(event);
  }

 private:
  static int OnSend(sd_bus_message* call, void* server, sd_bus_error* /*error*/) {
    SdBusServer* self = static_cast<SdBusServer*>(server);
    const void* bytes = nullptr;
    size_t size = 0;
    Check(sd_bus_message_read_array(call, 'y', &bytes, &size), "read");
    self->m_client = sd_bus_message_get_sender(call);
    const std::string reply = self->m_remote.Answer(static_cast<const char*>(bytes), size);
    sd_bus_message* answer = nullptr;
    Check(sd_bus_message_new_method_return(call, &answer), "return");
    Check(sd_bus_message_append_array(answer, 'y', reply.data(), reply.size()), "append");
    const int r = sd_bus_send(nullptr, answer, nullptr);
    sd_bus_message_unref(answer);
    return r;
  }

  static int OnTrigger(sd_event_source* /*source*/, int /*fd*/, uint32_t /*events*/, void* self) {
    static_cast<SdBusServer*>(self)->m_remote.OnTrigger();
    return 0;
  }

  void Notify(int event) {
    sd_bus_message* signal = nullptr;
    Check(sd_bus_message_new_signal(m_bus, &signal, kPath, kInterface, "Notify"), "signal");
    Check(sd_bus_message_append(signal, "i", event), "append");
    Check(sd_bus_message_set_destination(signal, m_client.c_str()), "destination");
    Check(sd_bus_send(m_bus, signal, nullptr), "sd_bus_send");
    sd_bus_message_unref(signal);
  }

  sd_bus* m_bus = nullptr;
  std::string m_client;
  RemoteSide m_remote{[this](int event) { Notify(event); }};
};

int RunSdBusServer() {
  return SdBusServer().Run();
}

}  // namespace

int main(int argc, char** argv) {
  return Main(argc, argv, {{"client", RunSdBusClient}, {"server", RunSdBusServer}});
}
