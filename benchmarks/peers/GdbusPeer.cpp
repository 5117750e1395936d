// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// GDBus, by its calls and signals.
#include <gio/gio.h>
#include <glib-unix.h>

#include <stdexcept>
#include <string>

#include "Peer.h"

namespace {

using namespace bench;

constexpr const char* kDescription =
    "<node><interface name='org.javamw.Bench1'>"
    "<method name='Send'><arg type='ay' direction='in'/><arg type='ay' direction='out'/></method>"
    "<signal name='Notify'><arg type='i'/></signal></interface></node>";

GDBusConnection* Connect() {
  GDBusConnection* const connection = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  if (connection == nullptr) {
    throw std::runtime_error("no bus");
  }
  return connection;
}

GVariant* NewBytes(const std::string& bytes) {
  GVariant* const array =
      g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1);
  return g_variant_new_tuple(&array, 1);
}

std::string Bytes(GVariant* tuple) {
  GVariant* const array = g_variant_get_child_value(tuple, 0);
  gsize size = 0;
  const void* const data = g_variant_get_fixed_array(array, &size, 1);
  std::string bytes(static_cast<const char*>(data), size);
  g_variant_unref(array);
  return bytes;
}

class GdbusTransport : public Transport {
 public:
  GdbusTransport() {
    g_dbus_connection_signal_subscribe(m_connection, kServerName, kInterface, "Notify", kPath,
                                       nullptr, G_DBUS_SIGNAL_FLAGS_NONE, OnNotify, this, nullptr);
  }

  std::string Call(const std::string& frame) override {
    GVariant* const answer = g_dbus_connection_call_sync(
        m_connection, kServerName, kPath, kInterface, "Send", NewBytes(frame), nullptr,
        G_DBUS_CALL_FLAGS_NONE, G_MAXINT, nullptr, nullptr);
    if (answer == nullptr) {
      throw std::runtime_error("g_dbus_connection_call_sync fails");
    }
    std::string reply = Bytes(answer);
    g_variant_unref(answer);
    return reply;
  }

  void Wait() override { g_main_context_iteration(nullptr, TRUE); }

 private:
  static void OnNotify(GDBusConnection* /*connection*/, const char* /*sender*/,
                       const char* /*path*/, const char* /*interface*/, const char* /*signal*/,
                       GVariant* parameters, void* self) {
    gint32 event = 0;
    g_variant_get(parameters, "(i)", &event);
    static_cast<GdbusTransport*>(self)->Arrived(event);
  }

  GDBusConnection* const m_connection = Connect();
};

class GdbusServer {
 public:
  int Run() {
    static const GDBusInterfaceVTable kVtable = {OnSend, nullptr, nullptr, {}};
    GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(kDescription, nullptr);
    g_dbus_connection_register_object(m_connection, kPath, node->interfaces[0], &kVtable, this,
                                      nullptr, nullptr);
    g_bus_own_name_on_connection(m_connection, kServerName, G_BUS_NAME_OWNER_FLAGS_NONE, OnName,
                                 nullptr, nullptr, nullptr);
    g_unix_fd_add(TriggerDescriptor(), G_IO_IN, OnTrigger, this);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
    return 0;
  }

 private:
  static void OnName(GDBusConnection* /*connection*/, const char* /*name*/, void* /*data*/) {
    SayReady();
  }

  static void OnSend(GDBusConnection* /*connection*/, const char* sender, const char* /*path*/,
                     const char* /*interface*/, const char* /*method*/, GVariant* parameters,
                     GDBusMethodInvocation* call, void* server) {
    GdbusServer* self = static_cast<GdbusServer*>(server);
    self->m_client = sender;
    const std::string frame = Bytes(parameters);
    g_dbus_method_invocation_return_value(
        call, NewBytes(self->m_remote.Answer(frame.data(), frame.size())));
  }

  static gboolean OnTrigger(gint /*fd*/, GIOCondition /*condition*/, void* self) {
    static_cast<GdbusServer*>(self)->m_remote.OnTrigger();
    return G_SOURCE_CONTINUE;
  }

  void Notify(int event) {
    g_dbus_connection_emit_signal(m_connection, m_client.c_str(), kPath, kInterface, "Notify",
                                  g_variant_new("(i)", event), nullptr);
  }

  GDBusConnection* const m_connection = Connect();
  std::string m_client;
  RemoteSide m_remote{[this](int event) { Notify(event); }};
};

int RunGdbusClient() {
  GdbusTransport transport;
  return RunClient(OperationsOn(transport));
}

int RunGdbusServer() {
  return GdbusServer().Run();
}

}  // namespace

int main(int argc, char** argv) {
  return Main(argc, argv, {{"client", RunGdbusClient}, {"server", RunGdbusServer}});
}
