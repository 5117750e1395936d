// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What GLib has for the job itself: the server exports a menu model, which holds the list, and an
// action group with the selection as the state of an action. The client holds proxies of both. A
// selection is done when the server's new state has arrived.
#include <gio/gio.h>
#include <glib-unix.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "Peer.h"

namespace {

using namespace bench;

constexpr const char* kMenuPath = "/org/javamw/Bench/menu";

// A menu is exported with fewer than a thousand items in a section.
constexpr int kSectionSize = 500;

GDBusConnection* Connect() {
  GDBusConnection* const connection = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  if (connection == nullptr) {
    throw std::runtime_error("no bus");
  }
  return connection;
}

class Server {
 public:
  int Run() {
    GSimpleActionGroup* const group = g_simple_action_group_new();
    GSimpleAction* const list =
        g_simple_action_new_stateful("list", nullptr, g_variant_new("(ix)", 0, Now()));
    g_signal_connect(list, "change-state", G_CALLBACK(OnList), this);
    g_signal_connect(m_selection, "change-state", G_CALLBACK(OnSelection), nullptr);
    g_action_map_add_action(G_ACTION_MAP(group), G_ACTION(list));
    g_action_map_add_action(G_ACTION_MAP(group), G_ACTION(m_selection));
    g_dbus_connection_export_action_group(m_connection, kPath, G_ACTION_GROUP(group), nullptr);
    g_dbus_connection_export_menu_model(m_connection, kMenuPath, G_MENU_MODEL(m_menu), nullptr);
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

  // The time is there to make each state another one: only then it is told.
  static void OnList(GSimpleAction* action, GVariant* state, void* server) {
    gint32 count = 0;
    g_variant_get(state, "(ix)", &count, nullptr);
    GMenu* const menu = static_cast<Server*>(server)->m_menu;
    ++TheShared().taken;
    g_menu_remove_all(menu);
    GMenu* section = nullptr;
    for (const Item& item : MakeItems(count)) {
      if (section == nullptr || g_menu_model_get_n_items(G_MENU_MODEL(section)) == kSectionSize) {
        section = g_menu_new();
        g_menu_append_section(menu, nullptr, G_MENU_MODEL(section));
        g_object_unref(section);
      }
      GMenuItem* const entry = g_menu_item_new(item.name.c_str(), nullptr);
      g_menu_item_set_attribute(entry, "id", "s", item.id.c_str());
      g_menu_append_item(section, entry);
      g_object_unref(entry);
    }
    g_simple_action_set_state(action, state);
  }

  static void OnSelection(GSimpleAction* action, GVariant* id, void* /*data*/) {
    ++TheShared().taken;
    g_simple_action_set_state(action, id);
  }

  static gboolean OnTrigger(gint /*fd*/, GIOCondition /*condition*/, void* server) {
    Server* self = static_cast<Server*>(server);
    ReadTrigger();
    TheShared().begin = Now();
    g_simple_action_set_state(self->m_selection,
                              g_variant_new_string(std::to_string(Now()).c_str()));
    return G_SOURCE_CONTINUE;
  }

  GDBusConnection* const m_connection = Connect();
  GMenu* const m_menu = g_menu_new();
  GSimpleAction* const m_selection =
      g_simple_action_new_stateful("selection", nullptr, g_variant_new_string(""));
};

class Client {
 public:
  Client() {
    g_signal_connect(m_group, "action-state-changed", G_CALLBACK(OnState), this);
    g_signal_connect(m_group, "action-added", G_CALLBACK(OnAdded), this);
    g_strfreev(g_action_group_list_actions(m_group));  // has it fetched
    while (m_added < 2) {
      g_main_context_iteration(nullptr, TRUE);
    }
  }

  Operations All() {
    Operations operations;
    operations["first"] = [this](int) { return Select(); };
    operations["select"] = [this](int) { return Select(); };
    operations["event"] = [this](int) {
      Trigger(kSelectTrigger);
      AwaitState();
      return m_at - TheShared().begin;
    };
    operations["list"] = [this](int size) {
      return Time([&] { Change("list", g_variant_new("(ix)", size, Now())); });
    };
    operations["push"] = [](int size) { return Fill(size); };
    return operations;
  }

 private:
  static void OnState(GActionGroup* /*group*/, const char* /*name*/, GVariant* /*state*/,
                      void* client) {
    Client* self = static_cast<Client*>(client);
    self->m_at = Now();
    ++self->m_states;
  }

  static void OnAdded(GActionGroup* /*group*/, const char* /*name*/, void* client) {
    ++static_cast<Client*>(client)->m_added;
  }

  void AwaitState() {
    const unsigned before = m_states;
    while (m_states == before) {
      g_main_context_iteration(nullptr, TRUE);
    }
  }

  void Change(const char* action, GVariant* state) {
    g_action_group_change_action_state(m_group, action, state);
    AwaitState();
  }

  int64_t Select() {
    GVariant* const state = g_action_group_get_action_state(m_group, "selection");
    const std::vector<Item> items = MakeItems(2);
    const bool isFirst = items[0].id == g_variant_get_string(state, nullptr);
    const std::string id = items[isFirst ? 1 : 0].id;
    g_variant_unref(state);
    return Time([&] { Change("selection", g_variant_new_string(id.c_str())); });
  }

  static void AwaitItems(GMenuModel* menu, int count) {
    while (g_menu_model_get_n_items(menu) < count) {
      g_main_context_iteration(nullptr, TRUE);
    }
  }

  // A proxy of its own each time, until it holds every item.
  static int64_t Fill(int size) {
    const int64_t begin = Now();
    GMenuModel* const menu = G_MENU_MODEL(g_dbus_menu_model_get(Connect(), kServerName, kMenuPath));
    const int sections = (size + kSectionSize - 1) / kSectionSize;
    std::vector<GMenuModel*> held;
    AwaitItems(menu, sections);
    for (int k = 0; k < sections; ++k) {
      held.push_back(g_menu_model_get_item_link(menu, k, G_MENU_LINK_SECTION));
      g_menu_model_get_n_items(held.back());  // has it fetched
    }
    for (int k = 0; k < sections; ++k) {
      AwaitItems(held[static_cast<size_t>(k)], std::min(kSectionSize, size - k * kSectionSize));
    }
    const int64_t time = Now() - begin;
    const bool equal = IdOfLast(held.back()) == MakeItems(size).back().id;
    for (GMenuModel* section : held) {
      g_object_unref(section);
    }
    g_object_unref(menu);
    // The proxy says on its way out that it needs no more news.
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
    if (!equal) {
      throw std::runtime_error("the menu holds something else");
    }
    return time;
  }

  static std::string IdOfLast(GMenuModel* menu) {
    char* text = nullptr;
    g_menu_model_get_item_attribute(menu, g_menu_model_get_n_items(menu) - 1, "id", "s", &text);
    std::string id = text == nullptr ? "" : text;
    g_free(text);
    return id;
  }

  GActionGroup* const m_group =
      G_ACTION_GROUP(g_dbus_action_group_get(Connect(), kServerName, kPath));
  unsigned m_states = 0;
  unsigned m_added = 0;
  int64_t m_at = 0;
};

int RunGactionsClient() {
  Client client;
  return RunClient(client.All());
}

int RunGactionsServer() {
  return Server().Run();
}

}  // namespace

int main(int argc, char** argv) {
  return Main(argc, argv, {{"client", RunGactionsClient}, {"server", RunGactionsServer}});
}
