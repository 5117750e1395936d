// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// ui-process ID...: a user interface whose list holds an item for each identifier. Runs until it is
// ended.
#include <deque>
#include <string>

#include "applist/RemoteAppListModel.h"
#include "dbus/EventLoop.h"
#include "support/TestItem.h"

int main(int argc, char** argv) {
  EventLoop loop;
  std::deque<applist_test::TestItem> items;
  RemoteAppListModel model;
  for (int k = 1; k < argc; ++k) {
    const std::string id = argv[k];
    items.emplace_back("Name of " + id, id);
    model.AddItemAtEnd(&items.back());
  }
  loop.Run();
  return 0;
}
