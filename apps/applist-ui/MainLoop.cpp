// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "MainLoop.h"

#include <utility>

namespace applist_ui {

namespace {

// What GLib allocates for the source, so it starts with GLib's part.
struct EventSource {
  GSource base;
  MainLoop* loop;
  EventLoop* events;
  GPollFD fd;
};

EventSource* Own(GSource* source) {
  return reinterpret_cast<EventSource*>(source);
}

gboolean Prepare(GSource* source, gint* timeout) {
  *timeout = Own(source)->events->NextTimeout();
  return *timeout == 0;
}

gboolean Check(GSource* source) {
  return Own(source)->fd.revents != 0 || Own(source)->events->NextTimeout() == 0;
}

gboolean Dispatch(GSource* source, GSourceFunc /*function*/, gpointer /*data*/) {
  Own(source)->loop->Turn();
  return G_SOURCE_CONTINUE;
}

GSourceFuncs g_functions = {Prepare, Check, Dispatch, nullptr, nullptr, nullptr};

}  // namespace

void MainLoop::Unref::operator()(GMainLoop* loop) const {
  g_main_loop_unref(loop);
}

void MainLoop::Unref::operator()(GSource* source) const {
  g_source_destroy(source);
  g_source_unref(source);
}

MainLoop::MainLoop(EventLoop& events, std::function<void()> afterTurn)
    : m_events(events),
      m_afterTurn(std::move(afterTurn)),
      m_loop(g_main_loop_new(nullptr, FALSE)),
      m_source(g_source_new(&g_functions, sizeof(EventSource))) {
  EventSource* source = Own(m_source.get());
  source->loop = this;
  source->events = &events;
  source->fd = {events.Fd(), G_IO_IN, 0};
  g_source_add_poll(m_source.get(), &source->fd);
  g_source_attach(m_source.get(), nullptr);
}

MainLoop::~MainLoop() = default;

void MainLoop::Run() {
  g_main_loop_run(m_loop.get());
}

void MainLoop::Stop() {
  g_main_loop_quit(m_loop.get());
}

void MainLoop::Turn() {
  m_events.Dispatch();
  m_afterTurn();
}

}  // namespace applist_ui
