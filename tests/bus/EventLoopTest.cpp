// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The loop in a program with a main loop of its own, and in one without.
#include <poll.h>
#include <systemd/sd-event.h>

#include "bus/BusFixture.h"
#include "bus/BusPeer.h"

namespace applist_test {
namespace {

class EventLoopTest : public BusTest {
 protected:
  bool IsReadable(int milliseconds = 0) {
    pollfd ready = {loop.Fd(), POLLIN, 0};
    return poll(&ready, 1, milliseconds) == 1;
  }

  // What a program with a main loop of its own does, and no more: nothing may depend on a turn for
  // which the descriptor was not readable.
  bool PollUntil(const std::function<bool()>& condition) {
    while (!condition()) {
      if (!IsReadable(static_cast<int>(std::chrono::milliseconds(kDeadline).count()))) {
        return false;
      }
      loop.Dispatch();
    }
    return true;
  }

  // Dispatches until there is nothing left, as it must come to be.
  bool BecomesIdle() {
    return WaitFor([&] { return !IsReadable(); });
  }
};

// Hears clicks, and does something about them.
class OnClick : public ItemClickListener {
 public:
  explicit OnClick(std::function<void()> heard) : m_heard(std::move(heard)) {}
  void ItemClicked(AppListModel* /*model*/) override { m_heard(); }

 private:
  std::function<void()> m_heard;
};

TEST_F(EventLoopTest, PollingTheDescriptorHearsEverything) {
  ui = std::make_unique<UserInterface>();
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  StartDaemon();
  ASSERT_TRUE(PollUntil([&] { return ui->changed == 1; })) << "the daemon has taken the list";
  EXPECT_EQ(RemoteHolds().items, Named({"a", "b"}));
  control.Select("b");
  ASSERT_TRUE(PollUntil([&] { return ui->selected == 1; }));
  EXPECT_EQ(ui->Holds().selection, "b");
  control.Click("a");
  ASSERT_TRUE(PollUntil([&] { return ui->clicked == 1; }));
  ui->model.RemoveAllItems();
  ASSERT_TRUE(PollUntil([&] { return ui->changed == 2 && ui->selected == 2; }));
}

TEST_F(EventLoopTest, PollingHearsARemoteSideThatComesBack) {
  ui = std::make_unique<UserInterface>();
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  for (int time = 1; time <= 3; ++time) {
    StartDaemon();
    ASSERT_TRUE(PollUntil([&] { return ui->changed == time; }));
    StopDaemon();
  }
}

TEST_F(EventLoopTest, TheDescriptorStaysTheSame) {
  const int fd = loop.Fd();
  EXPECT_GE(fd, 0);
  Connect();
  EXPECT_EQ(loop.Fd(), fd);
  StopDaemon();
  loop.Dispatch();
  EXPECT_EQ(loop.Fd(), fd);
  ui.reset();
  EXPECT_EQ(loop.Fd(), fd);
  EXPECT_EQ(EventLoop().Fd(), fd) << "one loop for each thread";
  EXPECT_NE(WhileLooping([] { return EventLoop().Fd(); }), fd) << "and another for another thread";
}

TEST_F(EventLoopTest, DispatchDoesNotWait) {
  loop.Dispatch();
  ui = std::make_unique<UserInterface>();
  ASSERT_TRUE(BecomesIdle());
  loop.Dispatch();
  EXPECT_EQ(ui->changed + ui->selected + ui->clicked, 0);
}

TEST_F(EventLoopTest, AnIdleLoopIsNotReadable) {
  loop.Dispatch();
  EXPECT_FALSE(IsReadable());
  Connect();
  ui->model.AddItems(ui->NewItems({"a"}));
  Settle();
  EXPECT_TRUE(BecomesIdle());
  StopDaemon();
  EXPECT_TRUE(BecomesIdle());
}

TEST_F(EventLoopTest, SomethingToDispatchMakesItReadableUntilItIsDispatched) {
  Connect();
  ui->model.AddItems(ui->NewItems({"a"}));
  Settle();
  ASSERT_TRUE(BecomesIdle());
  const int before = ui->clicked;
  control.Click("a");
  EXPECT_TRUE(IsReadable(static_cast<int>(std::chrono::milliseconds(kDeadline).count())));
  EXPECT_EQ(ui->clicked, before) << "heard from Dispatch alone";
  EXPECT_TRUE(PollUntil([&] { return ui->clicked == before + 1; }));
  EXPECT_TRUE(BecomesIdle());
}

TEST_F(EventLoopTest, RunDeliversUntilItIsStoppedFromInside) {
  Connect();
  ui->model.AddItems(ui->NewItems({"a"}));
  Settle();
  int heard = 0;
  OnClick listener([&] {
    if (++heard == 2) {
      loop.Stop();
    } else {
      control.Click("a");
    }
  });
  ui->model.AddItemClickedListener(&listener);
  control.Click("a");
  loop.Run();
  EXPECT_EQ(heard, 2);
  heard = 0;
  control.Click("a");
  loop.Run();
  EXPECT_EQ(heard, 2) << "it can run again";
}

TEST_F(EventLoopTest, RunHearsARemoteSideThatStarts) {
  ui = std::make_unique<UserInterface>();
  ui->model.AddItems(ui->NewItems({"a"}));
  OnClick listener([&] { loop.Stop(); });
  ui->model.AddItemClickedListener(&listener);
  StartDaemon();
  const std::future<void> clicked = std::async(std::launch::async, [&] {
    EXPECT_TRUE(WaitOutsideLoop([&] { return RemoteHolds().items == Named({"a"}); }));
    control.Click("a");
  });
  loop.Run();
  clicked.wait();
  EXPECT_EQ(ui->clicked, 1);
}

// A program with code of its own on the loop that it shares with the models of the thread, and a
// main loop that asks for the time-out. What is queued there does not show on the descriptor.
class SharedLoopTest : public EventLoopTest {
 protected:
  SharedLoopTest() { sd_event_default(&event); }
  ~SharedLoopTest() override {
    sd_event_source_unref(m_source);
    sd_bus_detach_event(peer.Bus());
    sd_event_unref(event);
  }

  // Something to do in the next turn of the loop.
  void QueueTask() {
    sd_event_source_unref(m_source);
    ASSERT_GE(sd_event_add_defer(event, &m_source, OnTask, &tasksDone), 0);
  }
  int tasksDone = 0;

  // Messages that a connection on the loop has read, waiting for an answer, but not dispatched.
  void QueueMessages(int count) {
    BusPeer sender(bus.Address());
    for (int k = 0; k < count; ++k) {
      sender.Notify(peer.UniqueName(), Frame(k));
    }
    // Behind the messages, as the bus keeps them in order.
    sender.OwnerOf(kUiName);
    peer.OwnerOf(kUiName);
  }
  size_t MessagesHeard() { return peer.Notifications().size(); }

  void Attach() { ASSERT_GE(sd_bus_attach_event(peer.Bus(), event, SD_EVENT_PRIORITY_NORMAL), 0); }

  // The program's main loop. Fails when it would sleep for ever.
  bool PollWithTimeOutUntil(const std::function<bool()>& condition) {
    while (!condition()) {
      const int timeout = loop.NextTimeout();
      const int longest = static_cast<int>(std::chrono::milliseconds(kDeadline).count());
      if (!IsReadable(timeout < 0 ? longest : timeout) && timeout != 0) {
        return false;
      }
      loop.Dispatch();
    }
    return true;
  }

  void BecomeIdle() {
    ASSERT_TRUE(BecomesIdle());
    ASSERT_EQ(loop.NextTimeout(), -1);
  }

  BusPeer peer{bus.Address()};
  sd_event* event = nullptr;

 private:
  static int OnTask(sd_event_source* /*source*/, void* done) {
    ++*static_cast<int*>(done);
    return 0;
  }

  sd_event_source* m_source = nullptr;
};

TEST_F(SharedLoopTest, WithNothingToDoThereIsNoTimeOut) {
  EXPECT_EQ(EventLoop().NextTimeout(), -1);
  Connect();
  ui->model.AddItems(ui->NewItems({"a"}));
  Settle();
  BecomeIdle();
  EXPECT_EQ(loop.NextTimeout(), -1) << "however often it is asked";
  StopDaemon();
  BecomeIdle();
}

TEST_F(SharedLoopTest, ATaskThatIsQueuedIsNotToBeWaitedFor) {
  loop.Dispatch();
  QueueTask();
  EXPECT_FALSE(IsReadable());
  EXPECT_EQ(loop.NextTimeout(), 0);
  EXPECT_EQ(loop.NextTimeout(), 0) << "until it is dispatched";
  loop.Dispatch();
  EXPECT_EQ(tasksDone, 1);
  BecomeIdle();
}

TEST_F(SharedLoopTest, AMainLoopThatAsksForTheTimeOutDoesEveryTask) {
  for (int count = 1; count <= 10; ++count) {
    QueueTask();
    ASSERT_TRUE(PollWithTimeOutUntil([&] { return tasksDone == count; })) << count;
  }
}

TEST_F(SharedLoopTest, AMainLoopThatAsksForTheTimeOutHearsWhatAConnectionHasReadAlready) {
  constexpr int kCount = 10;
  Attach();
  loop.Dispatch();
  QueueMessages(kCount);
  EXPECT_FALSE(IsReadable());
  EXPECT_EQ(MessagesHeard(), 0U);
  EXPECT_TRUE(PollWithTimeOutUntil([&] { return MessagesHeard() == kCount; }));
}

TEST_F(SharedLoopTest, TheExchangeGoesOnBesideCodeThatSharesTheLoop) {
  ui = std::make_unique<UserInterface>();
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  Attach();
  QueueTask();
  QueueMessages(1);
  StartDaemon();
  ASSERT_TRUE(PollWithTimeOutUntil([&] { return ui->changed == 1; }));
  EXPECT_EQ(tasksDone, 1);
  EXPECT_EQ(MessagesHeard(), 1U);
  EXPECT_EQ(RemoteHolds().items, Named({"a", "b"}));
  control.Select("b");
  QueueMessages(1);
  ASSERT_TRUE(PollWithTimeOutUntil([&] { return ui->selected == 1 && MessagesHeard() == 2; }));
  EXPECT_EQ(ui->Holds().selection, "b");
}

// The program does something else between the question and the poll, or is woken up for it.
TEST_F(SharedLoopTest, WhatIsQueuedAfterTheQuestionIsSeenByTheNextOne) {
  Attach();
  loop.Dispatch();
  BecomeIdle();
  QueueTask();
  EXPECT_TRUE(PollWithTimeOutUntil([&] { return tasksDone == 1; }));
  BecomeIdle();
  QueueMessages(1);
  EXPECT_TRUE(PollWithTimeOutUntil([&] { return MessagesHeard() == 1; }));
}

}  // namespace
}  // namespace applist_test
