// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The remote side when memory runs out while it answers a message that came over the bus: at each
// single allocation of the model, and of the link behind it.
#include "LocalAppListModel.h"
#include "bus/BusFixture.h"
#include "bus/LoopThread.h"
#include "dbus/DbusLink.h"
#include "dbus/LinkNames.h"
#include "support/FailingAllocation.h"

namespace applist_test {
namespace {

// More than any message takes.
constexpr int kMost = 1000;

// Texts that do not fit into a string itself.
std::string Id(const std::string& id) {
  return "the identifier of the application " + id;
}

// The remote side lives on a thread of its own, so that only its allocations fail.
class LinkMemoryFaultTest : public BusTest {
 protected:
  LinkMemoryFaultTest() {
    thread.Run([this] {
      remote = std::make_unique<LocalAppListModel>();
      remote->Link().OnConnection(
          [this](sd_bus* connection) { sd_bus_add_filter(connection, nullptr, OnMessage, this); });
    });
    ui = std::make_unique<UserInterface>();
    for (const char* id : {"a", "b", "c", "new"}) {
      m_items.push_back(ui->NewItem(Id(id)));
    }
    EXPECT_TRUE(WaitFor([this] { return IsConnected(); }));
  }
  ~LinkMemoryFaultTest() override {
    ui.reset();
    thread.Run([this] { remote.reset(); });
  }

  AppListItem* Item(size_t number) { return m_items.at(number); }

  bool IsConnected() {
    bool connected = false;
    thread.Run([&] { connected = remote->IsConnected(); });
    return connected;
  }

  // What the remote side in this process holds.
  Contents Held() {
    Contents contents;
    thread.Run([&] {
      for (RemoteAppListItem item : remote->Items()) {
        contents.items.emplace_back(item.GetUnigueId(), item.GetVisibleName());
      }
      if (remote->Selection()) {
        contents.selection = RemoteAppListItem(*remote->Selection()).GetUnigueId();
      }
    });
    return contents;
  }

  // Waits until both sides hold the same, and still do when each has heard the other's last word.
  void ExpectEqual() {
    for (int look = 0; look < 2; ++look) {
      ASSERT_TRUE(WaitFor([this] { return ui->Holds() == Held(); }))
          << "here: " << ui->Holds() << "\nthere: " << Held();
      const int before = ui->clicked;
      ASSERT_TRUE(WaitFor([&] { return ClickIsHeard(before); }));
    }
    ASSERT_TRUE(WaitFor([this] { return ui->Holds() == Held(); }));
  }

  // A click is lost while the remote side connects anew.
  bool ClickIsHeard(int before) {
    if (ui->clicked == before) {
      ui->model.SetClicked(Item(0));
    }
    return ui->clicked > before;
  }

  void Reset() {
    ui->model.RemoveAllItems();
    ui->model.AddItems({Item(0), Item(1), Item(2)});
    ui->model.SetSelection(Item(1));
    ExpectEqual();
  }

  // Has each allocation fail in turn that the remote side makes in answering the next message,
  // which `work` sends.
  void FailEachIn(const std::function<void()>& work) {
    bool failed = true;
    for (int number = 1; failed && number < kMost; ++number) {
      SCOPED_TRACE(number);
      ASSERT_NO_FATAL_FAILURE(Reset());
      thread.Run([&] { m_number = number; });
      work();
      thread.Run([&] { failed = StopFailing(); });
      ASSERT_NO_FATAL_FAILURE(ExpectEqual());
      EXPECT_TRUE(failed || number > 1) << "nothing has failed";
    }
    EXPECT_FALSE(failed);
  }

  std::unique_ptr<LocalAppListModel> remote;
  LoopThread thread;

 private:
  static int OnMessage(sd_bus_message* message, void* test, sd_bus_error* /*error*/) {
    int& number = static_cast<LinkMemoryFaultTest*>(test)->m_number;
    if (number > 0 && sd_bus_message_is_method_call(message, applist::kLinkInterface, "Send") > 0) {
      FailAllocation(std::exchange(number, 0));
    }
    return 0;
  }

  std::vector<AppListItem*> m_items;
  // Which allocation is to fail in the next message, 0 for none. Used on the thread.
  int m_number = 0;
};

TEST_F(LinkMemoryFaultTest, SetSelection) {
  FailEachIn([this] { ui->model.SetSelection(Item(2)); });
}

TEST_F(LinkMemoryFaultTest, GetSelection) {
  FailEachIn([this] {
    const int before = ui->selected;
    thread.Run([this] { remote->Select(Id("c")); });
    EXPECT_TRUE(WaitFor([&] { return ui->selected > before; }));
  });
}

TEST_F(LinkMemoryFaultTest, RemoveAllItems) {
  FailEachIn([this] { ui->model.RemoveAllItems(); });
}

TEST_F(LinkMemoryFaultTest, AddItems) {
  FailEachIn([this] { ui->model.AddItems({Item(0), Item(3)}); });
}

TEST_F(LinkMemoryFaultTest, AddItemAtEnd) {
  FailEachIn([this] { ui->model.AddItemAtEnd(Item(0)); });
}

TEST_F(LinkMemoryFaultTest, SetClicked) {
  FailEachIn([this] { ui->model.SetClicked(Item(2)); });
}

TEST_F(LinkMemoryFaultTest, RemoveItem) {
  FailEachIn([this] { ui->model.RemoveItem(Item(1)); });
}

TEST_F(LinkMemoryFaultTest, ModifyItem) {
  FailEachIn([this] { ui->model.ModifyItem(Item(1), Item(3)); });
}

}  // namespace
}  // namespace applist_test
