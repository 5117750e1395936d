// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The remote side as a library, in the process of somebody else.
#include "apps/applistd/ApplistdFixture.h"

namespace applist_test {
namespace {

TEST_F(ApplistdTest, TheExampleIsARemoteSide) {
  std::vector<std::string> command = Command({});
  command[2] = "exec " EXAMPLE_PATH " >\"$1\"";
  daemon = std::make_unique<applist::ChildProcess>(command);
  ui = std::make_unique<UserInterface>();
  ui->model.AddItems(ui->NewItems({"a", "b"}));
  EXPECT_TRUE(WaitFor([&] { return Said() == "2 items\n"; })) << Said();
  ui->model.SetClicked(ui->Find("b"));
  EXPECT_TRUE(WaitFor([&] { return Said() == "2 items\nName of b was clicked\n"; })) << Said();
}

}  // namespace
}  // namespace applist_test
