// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A user interface in a program with GLib's main loop, as one on GTK has it.
#include <glib-unix.h>

#include <csignal>

#include "user-interface.h"

// GLib allocates it, so it starts with GLib's part.
struct LoopSource {
  GSource base;
  EventLoop* loop;
  gpointer fd;
};

gboolean Prepare(GSource* source, gint* timeout) {
  *timeout = reinterpret_cast<LoopSource*>(source)->loop->NextTimeout();
  return *timeout == 0;
}

gboolean Check(GSource* source) {
  return g_source_query_unix_fd(source, reinterpret_cast<LoopSource*>(source)->fd) != 0;
}

gboolean Dispatch(GSource* source, GSourceFunc /*callback*/, gpointer /*data*/) {
  reinterpret_cast<LoopSource*>(source)->loop->Dispatch();
  return G_SOURCE_CONTINUE;
}

GSource* Attach(EventLoop& loop) {
  static GSourceFuncs functions = {Prepare, Check, Dispatch, nullptr, nullptr, nullptr};
  GSource* source = g_source_new(&functions, sizeof(LoopSource));
  LoopSource* own = reinterpret_cast<LoopSource*>(source);
  own->loop = &loop;
  own->fd = g_source_add_unix_fd(source, loop.Fd(), G_IO_IN);
  g_source_attach(source, nullptr);
  return source;
}

gboolean Quit(gpointer mainLoop) {
  g_main_loop_quit(static_cast<GMainLoop*>(mainLoop));
  return G_SOURCE_CONTINUE;
}

int main() {
  UserInterface ui;
  GMainLoop* mainLoop = g_main_loop_new(nullptr, FALSE);
  GSource* source = Attach(ui.loop);
  g_unix_signal_add(SIGINT, Quit, mainLoop);
  g_unix_signal_add(SIGTERM, Quit, mainLoop);
  g_main_loop_run(mainLoop);
  g_source_destroy(source);
  g_source_unref(source);
  g_main_loop_unref(mainLoop);
}
