// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The model's event loop inside that of GLib.
#ifndef APPLIST_UI_MAINLOOP_H
#define APPLIST_UI_MAINLOOP_H

#include <glib.h>

#include <functional>
#include <memory>

#include "dbus/EventLoop.h"

namespace applist_ui {

// GIO tells of new applications on GLib's main context, everything else comes from the event loop:
// both are served here, on the calling thread, which sleeps until one of them has something.
class MainLoop {
 public:
  // `afterTurn` is called whenever something has been delivered.
  MainLoop(EventLoop& events, std::function<void()> afterTurn);
  ~MainLoop();
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;

  void Run();
  void Stop();

  // Delivers what waits in the event loop, and has it look at what was set up from outside. Call it
  // at the end of what GLib calls.
  void Turn();

 private:
  struct Unref {
    void operator()(GMainLoop* loop) const;
    void operator()(GSource* source) const;
  };

  EventLoop& m_events;
  std::function<void()> m_afterTurn;
  std::unique_ptr<GMainLoop, Unref> m_loop;
  std::unique_ptr<GSource, Unref> m_source;
};

}  // namespace applist_ui

#endif
