// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A user interface with a transport and a log of its own: prints the frames that the model sends,
// with a dot for each byte that is no letter, and whether anything was logged.
#include <dlog.h>

#include <cctype>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "applist/RemoteAppListModel.h"
#include "common/AppListRemoteControl.h"

class DbusLink {};

namespace {

bool logged = false;

struct App : AppListItem {
  std::string GetVisibleName() override { return "Mail"; }
  std::string GetUnigueId() override { return "org"; }
};

}  // namespace

extern "C" int __dlog_print(int, int, const char*, const char*, ...) {
  logged = true;
  return 0;
}

JavaMWDbusRemote::JavaMWDbusRemote(std::string serviceName) {
  std::printf("%s\n", serviceName.c_str());
}

JavaMWDbusRemote::~JavaMWDbusRemote() = default;

std::vector<char> JavaMWDbusRemote::SendMessage(std::vector<char>& message) {
  for (const char byte : message) {
    std::putchar(std::isalpha(static_cast<unsigned char>(byte)) != 0 ? byte : '.');
  }
  std::putchar('\n');
  return {};
}

void JavaMWDbusRemote::SendNotification(std::vector<char>&) {}

int main() {
  App mail;
  RemoteAppListModel model;
  model.AddItemAtEnd(&mail);
  std::printf("%d item, %s\n", model.GetItemsCount(), logged ? "logged" : "not logged");
}
