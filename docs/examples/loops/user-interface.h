// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What the programs beside this have in common: everything but the main loop.
#ifndef LOOPS_USER_INTERFACE_H
#define LOOPS_USER_INTERFACE_H

#include <sys/signalfd.h>

#include <csignal>
#include <cstdio>
#include <string>

#include "applist/RemoteAppListModel.h"
#include "dbus/EventLoop.h"

struct Application : AppListItem {
  std::string name, id;
  Application(const char* n, const char* i) : name(n), id(i) {}
  std::string GetVisibleName() override { return name; }
  std::string GetUnigueId() override { return id; }
};

struct View : ItemSelectionListener {
  void ItemSelected(AppListModel* model) override {
    AppListItem* item = model->GetSelection();
    std::printf("selected: %s\n", item ? item->GetVisibleName().c_str() : "nothing");
    std::fflush(stdout);
  }
};

struct UserInterface {
  // In this order: each outlives what comes after it.
  EventLoop loop;
  Application mail{"Mail", "org.example.Mail"}, maps{"Maps", "org.example.Maps"};
  View view;
  RemoteAppListModel model;

  UserInterface() {
    model.AddItemSelectionListener(&view);
    model.AddItems({&mail, &maps});
    model.SetSelection(&mail);
  }
};

// A descriptor that is readable when the program is to end.
inline int EndingSignal() {
  sigset_t ending;
  sigemptyset(&ending);
  sigaddset(&ending, SIGINT);
  sigaddset(&ending, SIGTERM);
  sigprocmask(SIG_BLOCK, &ending, nullptr);
  return signalfd(-1, &ending, SFD_CLOEXEC);
}

#endif
