// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The loop in a program with a main loop of its own, and in one without.
#include <poll.h>

#include "bus/BusFixture.h"

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

}  // namespace
}  // namespace applist_test
