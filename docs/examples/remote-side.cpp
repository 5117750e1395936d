#include <cstdio>

#include "LocalAppListModel.h"
#include "dbus/EventLoop.h"

int main() {
  EventLoop loop;  // before the model, on the same thread
  LocalAppListModel model;
  model.Observe([&](LocalAppListModel::Change change) {
    if (change == LocalAppListModel::Change::Items) {
      std::printf("%zu items\n", model.Items().size());
    } else if (change == LocalAppListModel::Change::Click) {
      RemoteAppListItem item = *model.LastClicked();
      std::printf("%s was clicked\n", item.GetVisibleName().c_str());
    }
    std::fflush(stdout);
  });
  loop.Run();  // or poll loop.Fd() in a loop of your own, and call loop.Dispatch()
}
