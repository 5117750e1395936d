// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The user interface: nothing in it knows which platform it is on, but the loop.
#include <cstdio>

#include "applist/RemoteAppListModel.h"
#include "device.h"

struct App : AppListItem {
  std::string name, id;
  App(const char* n, const char* i) : name(n), id(i) {}
  std::string GetVisibleName() override { return name; }
  std::string GetUnigueId() override { return id; }
};

struct Shown : ItemSelectionListener {
  void ItemSelected(AppListModel* model) override {
    AppListItem* item = model->GetSelection();
    std::printf("selected: %s\n", item ? item->GetVisibleName().c_str() : "nothing");
  }
};

int main() {
  App mail("Mail", "org.example.Mail"), maps("Maps", "org.example.Maps");
  Shown shown;
  RemoteAppListModel model;
  model.AddItemSelectionListener(&shown);
  model.AddItems({&mail, &maps});
  device::MainLoop().Run();
  model.SetSelection(&maps);
  device::MainLoop().Run();
}
