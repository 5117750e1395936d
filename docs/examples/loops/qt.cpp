// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A user interface in a program with Qt's event loop.
#include <sys/signalfd.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>
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

// A descriptor that is readable when the program is to end.
int EndingSignal() {
  sigset_t ending;
  sigemptyset(&ending);
  sigaddset(&ending, SIGINT);
  sigaddset(&ending, SIGTERM);
  sigprocmask(SIG_BLOCK, &ending, nullptr);
  return signalfd(-1, &ending, SFD_CLOEXEC);
}

int main(int argc, char** argv) {
  // Before anything that has threads.
  const int signal = EndingSignal();
  QCoreApplication application(argc, argv);

  // In this order: each outlives what comes after it.
  EventLoop loop;
  Application mail("Mail", "org.example.Mail"), maps("Maps", "org.example.Maps");
  View view;
  RemoteAppListModel model;

  model.AddItemSelectionListener(&view);
  model.AddItems({&mail, &maps});
  model.SetSelection(&mail);

  const auto dispatch = [&loop] { loop.Dispatch(); };
  QSocketNotifier readable(loop.Fd(), QSocketNotifier::Read);
  QObject::connect(&readable, &QSocketNotifier::activated, dispatch);
  QTimer timer;
  timer.setSingleShot(true);
  QObject::connect(&timer, &QTimer::timeout, dispatch);
  QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock,
                   &timer, [&] {
                     if (const int timeout = loop.NextTimeout(); timeout >= 0) {
                       timer.start(timeout);
                     }
                   });

  QSocketNotifier ending(signal, QSocketNotifier::Read);
  QObject::connect(&ending, &QSocketNotifier::activated, &QCoreApplication::quit);
  return QCoreApplication::exec();
}
