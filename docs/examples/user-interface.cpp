#include <cstdio>

#include "applist/RemoteAppListModel.h"
#include "dbus/EventLoop.h"

struct App : AppListItem {
  std::string name, id;
  App(const char* n, const char* i) : name(n), id(i) {}
  std::string GetVisibleName() override { return name; }
  std::string GetUnigueId() override { return id; }
};

struct Shown : ItemSelectionListener {
  void ItemSelected(AppListModel* model) override {
    AppListItem* item = model->GetSelection();
    std::puts(item ? item->GetVisibleName().c_str() : "nothing is selected");
  }
};

int main() {
  EventLoop loop;  // before the model, on the same thread
  App mail("Mail", "org.example.Mail"), maps("Maps", "org.example.Maps");
  Shown shown;
  RemoteAppListModel model;
  model.AddItemSelectionListener(&shown);
  model.AddItems({&mail, &maps});
  model.SetSelection(&maps);
  loop.Run();  // or poll loop.Fd() in a loop of your own, and call loop.Dispatch()
}
