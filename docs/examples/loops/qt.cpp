// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A user interface in a program with Qt's event loop.
#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>

#include "user-interface.h"

int main(int argc, char** argv) {
  // Before anything that has threads.
  const int signal = EndingSignal();
  QCoreApplication application(argc, argv);

  UserInterface ui;

  const auto dispatch = [&ui] { ui.loop.Dispatch(); };
  QSocketNotifier readable(ui.loop.Fd(), QSocketNotifier::Read);
  QObject::connect(&readable, &QSocketNotifier::activated, dispatch);
  QTimer timer;
  timer.setSingleShot(true);
  QObject::connect(&timer, &QTimer::timeout, dispatch);
  QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock,
                   &timer, [&] {
                     if (const int timeout = ui.loop.NextTimeout(); timeout >= 0) {
                       timer.start(timeout);
                     }
                   });

  QSocketNotifier ending(signal, QSocketNotifier::Read);
  QObject::connect(&ending, &QSocketNotifier::activated, &QCoreApplication::quit);
  return QCoreApplication::exec();
}
