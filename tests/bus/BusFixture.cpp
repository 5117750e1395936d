// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "bus/BusFixture.h"

#include <poll.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "bus/BusPeer.h"

using applist::ChildProcess;

namespace applist_test {

ItemList Named(const std::vector<std::string>& ids) {
  ItemList items;
  for (const std::string& id : ids) {
    items.emplace_back(id, "Name of " + id);
  }
  return items;
}

bool operator==(const Contents& a, const Contents& b) {
  return a.items == b.items && a.selection == b.selection;
}

std::ostream& operator<<(std::ostream& out, const Contents& contents) {
  for (const auto& [id, name] : contents.items) {
    out << "\"" << id << "\" named \"" << name << "\", ";
  }
  return out << "selected \"" << contents.selection << "\"";
}

UserInterface::UserInterface() {
  model.AddItemSelectionListener(this);
  model.AddItemChangeListener(this);
  model.AddItemClickedListener(this);
}

TestItem* UserInterface::NewItem(const std::string& id, const std::string& name) {
  return &m_items.emplace_back(name, id);
}

std::vector<AppListItem*> UserInterface::NewItems(const std::vector<std::string>& ids) {
  std::vector<AppListItem*> items;
  items.reserve(ids.size());
  for (const std::string& id : ids) {
    items.push_back(NewItem(id));
  }
  return items;
}

AppListItem* UserInterface::Find(const std::string& id) {
  const std::vector<AppListItem*> items = model.GetAllItems();
  const auto found = std::find_if(items.begin(), items.end(),
                                  [&](AppListItem* item) { return item->GetUnigueId() == id; });
  return found == items.end() ? nullptr : *found;
}

Contents UserInterface::Holds() {
  Contents contents;
  for (AppListItem* item : model.GetAllItems()) {
    contents.items.emplace_back(item->GetUnigueId(), item->GetVisibleName());
  }
  AppListItem* const selection = model.GetSelection();
  contents.selection = selection != nullptr ? selection->GetUnigueId() : "";
  return contents;
}

BusTest::BusTest(CallsWait wait) {
  bus.UseAsSessionBus();
  if (wait == CallsWait::Forever) {
    setenv("APPLIST_CALL_TIMEOUT_MS", "300000", 1);
  } else {
    unsetenv("APPLIST_CALL_TIMEOUT_MS");
  }
}

bool BusTest::WaitFor(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  for (;;) {
    loop.Dispatch();
    if (condition()) {
      return true;
    }
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    // What other processes do does not always show on the descriptor.
    pollfd ready = {loop.Fd(), POLLIN, 0};
    poll(&ready, 1, 5);
  }
}

bool BusTest::WaitOutsideLoop(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

std::vector<std::string> BusTest::DaemonCommand() {
  return {APPLISTD_PATH};
}

void BusTest::StopDaemon() {
  daemon->Signal(SIGTERM);
  EXPECT_EQ(daemon->Wait(), 0);
  daemon.reset();
}

void BusTest::Connect() {
  if (ui == nullptr) {
    ui = std::make_unique<UserInterface>();
  }
  if (daemon == nullptr) {
    StartDaemon();
  }
  ASSERT_TRUE(WaitFor([&] { return RemoteIsConnected(); }));
  Settle();
}

std::unique_ptr<ChildProcess> BusTest::StartUiProcess(std::vector<std::string> ids) {
  ids.insert(ids.begin(), UI_PROCESS_PATH);
  auto process = std::make_unique<ChildProcess>(ids);
  BusPeer watcher(bus.Address());
  // No link of this process may be quicker to get the name.
  EXPECT_TRUE(WaitOutsideLoop([&] { return !watcher.OwnerOf(kUiName).empty(); }));
  return process;
}

std::optional<applist::ControlClient::State> BusTest::Remote() {
  try {
    return control.Read();
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

Contents BusTest::RemoteHolds() {
  const auto state = Remote();
  return state ? Contents{state->items, state->selection} : Contents();
}

bool BusTest::RemoteIsConnected() {
  const auto state = Remote();
  return state && state->connected;
}

void BusTest::Settle() {
  ui->model.SetClicked(&m_settled);
  ++m_clicks;
  ASSERT_TRUE(WaitFor([&] { return ui->clicked >= m_clicks; })) << "a click is not heard";
  ASSERT_EQ(ui->clicked, m_clicks);
}

void BusTest::ClickRemotely(const std::string& id) {
  control.Click(id);
  ++m_clicks;
}

void BusTest::ExpectBoth(const Contents& expected) {
  WaitFor([&] { return ui->Holds() == expected && RemoteHolds() == expected; });
  Settle();
  WaitFor([&] { return ui->Holds() == expected && RemoteHolds() == expected; });
  EXPECT_EQ(ui->Holds(), expected);
  EXPECT_EQ(RemoteHolds(), expected);
}

}  // namespace applist_test
