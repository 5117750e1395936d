// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
/// @file
/// The least that a user interface can be: ten items, and nothing happens.
#include <string>
#include <utility>
#include <vector>

#include "applist/RemoteAppListModel.h"
#include "dbus/EventLoop.h"

namespace {

class App : public AppListItem {
 public:
  explicit App(std::string name) : m_name(std::move(name)) {}
  std::string GetVisibleName() override { return m_name; }
  std::string GetUnigueId() override { return "org.example." + m_name + ".desktop"; }

 private:
  std::string m_name;
};

}  // namespace

int main() {
  EventLoop loop;
  std::vector<App> apps;
  for (int number = 0; number < 10; ++number) {
    apps.emplace_back("Application" + std::to_string(number));
  }
  std::vector<AppListItem*> items;
  for (App& app : apps) {
    items.push_back(&app);
  }
  RemoteAppListModel model;
  model.AddItems(items);
  loop.Run();
}
