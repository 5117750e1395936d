// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The loop in a program that runs a GLib main loop, as a user interface on GTK does.
#include <glib-unix.h>
#include <systemd/sd-event.h>

#include "bus/BusFixture.h"

namespace applist_test {
namespace {

class EventLoopGlibTest : public BusTest {
 protected:
  EventLoopGlibTest() : m_context(g_main_context_new()) {}
  ~EventLoopGlibTest() override { g_main_context_unref(m_context); }

  // Runs the main loop until the condition holds. Fails when it sleeps until the deadline.
  bool RunUntil(const std::function<bool()>& condition) {
    bool late = false;
    GSource* const deadline =
        g_timeout_source_new_seconds(static_cast<guint>(std::chrono::seconds(kDeadline).count()));
    g_source_set_callback(deadline, OnDeadline, &late, nullptr);
    g_source_attach(deadline, m_context);
    while (!condition() && !late) {
      g_main_context_iteration(m_context, TRUE);
    }
    g_source_destroy(deadline);
    g_source_unref(deadline);
    return !late;
  }

  // Adds a source to the main loop that stays there for as long as the main loop.
  void Add(GSource* source) {
    g_source_attach(source, m_context);
    g_source_unref(source);
  }

  // Everything that either side can tell the other.
  void ExpectTheWholeExchange() {
    ui = std::make_unique<UserInterface>();
    ui->model.AddItems(ui->NewItems({"a", "b", "c"}));
    StartDaemon();
    ASSERT_TRUE(RunUntil([&] { return ui->changed == 1; })) << "the remote side has the list";
    EXPECT_EQ(RemoteHolds().items, Named({"a", "b", "c"}));
    control.Select("b");
    ASSERT_TRUE(RunUntil([&] { return ui->selected == 1; }));
    EXPECT_EQ(ui->Holds().selection, "b");
    control.Click("c");
    ASSERT_TRUE(RunUntil([&] { return ui->clicked == 1; }));
    ui->model.RemoveItem(ui->Find("b"));
    ASSERT_TRUE(RunUntil([&] { return ui->changed == 2 && ui->selected == 2; }));
    EXPECT_EQ(RemoteHolds(), (Contents{Named({"a", "c"}), ""}));
    StopDaemon();
    StartDaemon();
    ASSERT_TRUE(RunUntil([&] { return ui->changed == 3; })) << "the remote side is filled again";
    EXPECT_EQ(RemoteHolds(), ui->Holds());
  }

 private:
  static gboolean OnDeadline(gpointer late) {
    *static_cast<bool*>(late) = true;
    return G_SOURCE_CONTINUE;
  }

  GMainContext* m_context;
};

// The descriptor in a main loop that nothing else shares the event loop with.
class DescriptorTest : public EventLoopGlibTest {
 protected:
  DescriptorTest() {
    GSource* const source = g_unix_fd_source_new(loop.Fd(), G_IO_IN);
    // The callback of this kind of source has a type of its own.
    g_source_set_callback(source, G_SOURCE_FUNC(OnReadable), &loop, nullptr);
    Add(source);
  }

 private:
  static gboolean OnReadable(gint /*fd*/, GIOCondition /*condition*/, gpointer loop) {
    static_cast<EventLoop*>(loop)->Dispatch();
    return G_SOURCE_CONTINUE;
  }
};

TEST_F(DescriptorTest, IsAllThatTheWholeExchangeNeeds) {
  ExpectTheWholeExchange();
}

// A source that asks for the time-out, for what the descriptor does not show.
class SourceTest : public EventLoopGlibTest {
 protected:
  SourceTest() {
    static GSourceFuncs functions = {Prepare, Check, Dispatch, nullptr, nullptr, nullptr};
    GSource* const source = g_source_new(&functions, sizeof(LoopSource));
    LoopSource* const own = reinterpret_cast<LoopSource*>(source);
    own->loop = &loop;
    own->tag = g_source_add_unix_fd(source, loop.Fd(), G_IO_IN);
    Add(source);
    sd_event_default(&event);
  }
  ~SourceTest() override { sd_event_unref(event); }

  sd_event* event = nullptr;

 private:
  struct LoopSource {
    GSource source;
    EventLoop* loop;
    gpointer tag;
  };

  static gboolean Prepare(GSource* source, gint* timeout) {
    *timeout = reinterpret_cast<LoopSource*>(source)->loop->NextTimeout();
    return *timeout == 0 ? TRUE : FALSE;
  }
  static gboolean Check(GSource* source) {
    LoopSource* const own = reinterpret_cast<LoopSource*>(source);
    return g_source_query_unix_fd(source, own->tag) != 0 ? TRUE : FALSE;
  }
  static gboolean Dispatch(GSource* source, GSourceFunc /*callback*/, gpointer /*data*/) {
    reinterpret_cast<LoopSource*>(source)->loop->Dispatch();
    return G_SOURCE_CONTINUE;
  }
};

TEST_F(SourceTest, CarriesTheWholeExchange) {
  ExpectTheWholeExchange();
}

int OnTask(sd_event_source* /*source*/, void* done) {
  ++*static_cast<int*>(done);
  return 0;
}

TEST_F(SourceTest, DoesATaskThatTheDescriptorDoesNotShow) {
  int done = 0;
  for (int count = 1; count <= 10; ++count) {
    sd_event_source* task = nullptr;
    ASSERT_GE(sd_event_add_defer(event, &task, OnTask, &done), 0);
    EXPECT_TRUE(RunUntil([&] { return done == count; })) << count;
    sd_event_source_unref(task);
  }
}

}  // namespace
}  // namespace applist_test
