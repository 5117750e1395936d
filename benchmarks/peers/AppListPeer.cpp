// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// AppList itself: a user interface's model as the client, and as the server the remote side's
// model, or an end of a link that answers everything at once.
#include <poll.h>
#include <sys/epoll.h>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "LocalAppListModel.h"
#include "Peer.h"
#include "applist/RemoteAppListModel.h"
#include "dbus/EventLoop.h"
#include "dbus/JavaMWDbusLocal.h"

namespace {

using namespace bench;

class ListedItem : public AppListItem {
 public:
  explicit ListedItem(Item item) : m_item(std::move(item)) {}
  std::string GetVisibleName() override { return m_item.name; }
  std::string GetUnigueId() override { return m_item.id; }

 private:
  const Item m_item;
};

// Counts what its model tells it, and ends the loop each time.
class Listener : public ItemSelectionListener, public ItemChangeListener, public ItemClickListener {
 public:
  explicit Listener(EventLoop& loop) : m_loop(loop) {}
  void ItemSelected(AppListModel* /*model*/) override { Count(selections, at); }
  void ItemChanged(AppListModel* /*model*/) override { Count(changes, at); }
  void ItemClicked(AppListModel* /*model*/) override { Count(clicks, at); }

  int selections = 0;
  int changes = 0;
  int clicks = 0;
  int64_t at = 0;

 private:
  void Count(int& what, int64_t& time) {
    time = Now();
    ++what;
    m_loop.Stop();
  }

  EventLoop& m_loop;
};

class OneMore : public ItemSelectionListener {
 public:
  void ItemSelected(AppListModel* model) override { m_selected = model->GetSelection(); }

 private:
  AppListItem* m_selected = nullptr;
};

class Client {
 public:
  Client() {
    m_model.AddItemSelectionListener(&m_listener);
    m_model.AddItemChangeListener(&m_listener);
    m_model.AddItemClickedListener(&m_listener);
  }

  // What a remote side that answers at once can be measured with, which sends no events.
  Operations OperationsOnAnswers() {
    return {{"first", [this](int size) { return Call(size); }},
            {"call", [this](int size) { return Call(size); }},
            {"idle", [this](int) { return Idle(); }}};
  }

  Operations AllOperations() {
    Operations operations = OperationsOnAnswers();
    operations.erase("call");
    operations["list"] = [this](int size) { return List(size); };
    operations["select"] = [this](int) {
      // One of the last two, so that a search shows.
      ListedItem* const item = m_items[m_items.size() - 1 - m_turn++ % 2].get();
      return Tell(m_listener.selections, [&] { m_model.SetSelection(item); });
    };
    operations["click"] = [this](int) {
      return Tell(m_listener.clicks, [&] { m_model.SetClicked(m_items[0].get()); });
    };
    operations["append"] = [this](int) {
      return Tell(m_listener.changes, [&] { m_model.AddItemAtEnd(m_items[0].get()); });
    };
    operations["event"] = [this](int) { return Event(); };
    operations["listeners"] = [this](int size) { return EventTo(size); };
    operations["push"] = [this](int size) { return Push(size); };
    operations["threads"] = [this](int size) { return Threads(size); };
    return operations;
  }

  // Runs the loop as a main loop does, until there is something on standard input.
  int64_t Idle() {
    const int64_t begin = Now();
    pollfd descriptors[] = {{STDIN_FILENO, POLLIN, 0}, {m_loop.Fd(), POLLIN, 0}};
    do {
      m_loop.Dispatch();
      poll(descriptors, 2, m_loop.NextTimeout());
    } while (descriptors[0].revents == 0);
    return Now() - begin;
  }

 private:
  int64_t Call(int size) {
    const size_t rest = static_cast<size_t>(size) - 3;
    ListedItem item({"x", std::string(rest, 'i')});
    return Time([&] { m_model.SetClicked(&item); });
  }

  // Does something, and then waits, untimed, until the listener has heard of it.
  int64_t Tell(const int& count, const std::function<void()>& work) {
    const int before = count;
    const int64_t time = Time(work);
    RunUntil([&] { return count != before; });
    return time;
  }

  void RunUntil(const std::function<bool()>& done) {
    while (!done()) {
      m_loop.Run();
    }
  }

  int64_t List(int size) {
    std::vector<AppListItem*> items;
    m_model.RemoveAllItems();
    m_items.clear();
    TheShared().expected = 0;
    for (const Item& item : MakeItems(size)) {
      m_items.push_back(std::make_unique<ListedItem>(item));
      items.push_back(m_items.back().get());
    }
    // One by one, the identifiers are not compared.
    if (size > 1000) {
      for (AppListItem* item : items) {
        Tell(m_listener.changes, [&] { m_model.AddItemAtEnd(item); });
      }
    } else {
      m_model.AddItems(items);
    }
    // Everything that came before is handled with this.
    return Tell(m_listener.clicks, [&] { m_model.SetClicked(m_items[0].get()); });
  }

  int64_t Event() {
    const int before = m_listener.selections;
    Trigger(kSelectTrigger);
    RunUntil([&] { return m_listener.selections != before; });
    return m_listener.at - TheShared().begin;
  }

  int64_t EventTo(int listeners) {
    std::vector<OneMore> more(static_cast<size_t>(listeners) - 1);
    m_model.RemoveItemSelectionListener(&m_listener);
    for (OneMore& listener : more) {
      m_model.AddItemSelectionListener(&listener);
    }
    m_model.AddItemSelectionListener(&m_listener);
    const int64_t time = Event();
    for (OneMore& listener : more) {
      m_model.RemoveItemSelectionListener(&listener);
    }
    return time;
  }

  // The remote side starts over with the next click.
  int64_t Push(int size) {
    const int before = m_listener.changes;
    TheShared().begin = 0;
    TheShared().end = 0;
    TheShared().expected = size;
    m_model.SetClicked(m_items[0].get());
    RunUntil([&] { return m_listener.changes != before && TheShared().end != 0; });
    return TheShared().end - TheShared().begin;
  }

  int64_t Threads(int count) {
    const int target = m_listener.clicks + count * kCallsPerThread;
    const int64_t time = TimeOnThreads(count, [&] { m_model.SetClicked(m_items[0].get()); });
    RunUntil([&] { return m_listener.clicks == target; });
    return time;
  }

  EventLoop m_loop;
  Listener m_listener{m_loop};
  std::vector<std::unique_ptr<ListedItem>> m_items;
  size_t m_turn = 0;
  RemoteAppListModel m_model;
};

int RunAppListClient() {
  Client client;
  return RunClient(client.AllOperations());
}

int RunAnsweredClient() {
  Client client;
  return RunClient(client.OperationsOnAnswers());
}

// A user interface to which nothing happens.
int RunIdleClient() {
  Client().Idle();
  return 0;
}

// Says that the server is there when the bus knows its name.
void RunServer(EventLoop& loop) {
  sd_bus* bus = nullptr;
  int r = sd_bus_open_user(&bus);
  while (r >= 0) {
    loop.Dispatch();
    sd_bus_message* answer = nullptr;
    int owned = 0;
    r = sd_bus_call_method(bus, "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "NameHasOwner",
                           nullptr, &answer, "s", "org.javamw.Applist.Local");
    if (r >= 0) {
      r = sd_bus_message_read(answer, "b", &owned);
    }
    sd_bus_message_unref(answer);
    if (owned != 0) {
      break;
    }
  }
  sd_bus_unref(bus);
  if (r < 0) {
    throw std::runtime_error("no bus");
  }
  SayReady();
  loop.Run();
}

class Server {
 public:
  Server() {
    m_model.Observe([this](LocalAppListModel::Change change) { OnChange(change); });
    sd_event* event = nullptr;
    sd_event_default(&event);
    sd_event_add_io(event, nullptr, TriggerDescriptor(), EPOLLIN, OnTrigger, this);
    sd_event_unref(event);
  }
  int Run() {
    RunServer(m_loop);
    return 0;
  }

 private:
  // To start over is what the model does when it has run out of memory in a message. That is the
  // one way to have it announce itself again on a link that stays.
  void OnChange(LocalAppListModel::Change change) {
    Shared& shared = TheShared();
    ++shared.taken;
    if (change == LocalAppListModel::Change::Click && shared.expected > 0 && shared.begin == 0) {
      throw std::bad_alloc();
    }
    if (change != LocalAppListModel::Change::Items || shared.expected == 0) {
      return;
    }
    if (m_model.Items().empty()) {
      shared.begin = Now();
    } else if (static_cast<int64_t>(m_model.Items().size()) == shared.expected) {
      shared.end = Now();
      shared.expected = 0;
    }
  }

  static int OnTrigger(sd_event_source* /*source*/, int /*fd*/, uint32_t /*events*/, void* server) {
    Server* self = static_cast<Server*>(server);
    LocalAppListModel& model = self->m_model;
    ReadTrigger();
    RemoteAppListItem last = model.Items().back();
    RemoteAppListItem other = model.Items()[model.Items().size() - 2];
    RemoteAppListItem selected = model.Selection().value_or(other);
    const std::string id =
        (selected.GetUnigueId() == last.GetUnigueId() ? other : last).GetUnigueId();
    TheShared().begin = Now();
    model.Select(id);
    return 0;
  }

  EventLoop m_loop;
  LocalAppListModel m_model;
};

int RunAppListServer() {
  return Server().Run();
}

class Answerer : public IPCApplist<JavaMWDbusLocal, Answerer> {
 public:
  Answerer() { RegisterOnMessage(this, &Answerer::OnMessage); }

 private:
  std::vector<char> OnMessage(int /*messageId*/, const std::vector<char>& /*data*/) {
    ++TheShared().taken;
    return std::vector<char>();
  }
};

int RunAnsweringServer() {
  EventLoop loop;
  const Answerer answerer;
  RunServer(loop);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return Main(argc, argv,
              {{"client", RunAppListClient},
               {"server", RunAppListServer},
               {"answered-client", RunAnsweredClient},
               {"idle", RunIdleClient},
               {"answering-server", RunAnsweringServer}});
}
