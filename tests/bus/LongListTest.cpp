// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Long lists, and names and identifiers of any bytes, through the bus.
#include "bus/BusFixture.h"

namespace applist_test {
namespace {

using LongListTest = BusTest;

TEST_F(LongListTest, TenThousandItemsAreSentAtOnceToARemoteSideThatAppears) {
  constexpr int kCount = 10000;
  ui = std::make_unique<UserInterface>();
  for (int k = 0; k < kCount; ++k) {
    const std::string number = std::to_string(k);
    ui->model.AddItemAtEnd(ui->NewItem("org.example.application." + number, "Program " + number));
  }
  ui->model.SetSelection(ui->Find("org.example.application.9999"));
  StartDaemon();
  EXPECT_TRUE(WaitFor([&] { return RemoteHolds() == ui->Holds(); }));
  const Contents remote = RemoteHolds();
  ASSERT_EQ(remote.items.size(), static_cast<size_t>(kCount));
  EXPECT_EQ(remote.items.front(), ItemList::value_type("org.example.application.0", "Program 0"));
  EXPECT_EQ(remote.items.back(),
            ItemList::value_type("org.example.application.9999", "Program 9999"));
  EXPECT_EQ(remote.selection, "org.example.application.9999");
}

std::string EveryByte() {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) {
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

ItemList StrangeItems() {
  using std::string;
  return {{"line\nfeed\n", "\n\nlines\n"},
          {"back\\slash\\n", "\\x41\\\\"},
          {string("zero\0byte", 9), string("\0", 1)},
          {"\xFF", "\xFF\xFE not UTF-8"},
          {"umlaut \xC3\xA4", "\xE6\xBC\xA2\xE5\xAD\x97"},
          {"no name", ""},
          {"", "no identifier"},
          {EveryByte(), EveryByte()}};
}

TEST_F(LongListTest, AnyBytesAreTheSameOnBothSides) {
  Connect();
  for (const auto& [id, name] : StrangeItems()) {
    ui->model.AddItemAtEnd(ui->NewItem(id, name));
  }
  ExpectBoth({StrangeItems(), ""});
  for (const auto& [id, name] : StrangeItems()) {
    if (!id.empty()) {
      ui->model.SetSelection(ui->Find(id));
      ExpectBoth({StrangeItems(), id});
    }
  }
}

TEST_F(LongListTest, AnyBytesAreTheSameAfterTheRemoteSideAppears) {
  ui = std::make_unique<UserInterface>();
  for (const auto& [id, name] : StrangeItems()) {
    ui->model.AddItemAtEnd(ui->NewItem(id, name));
  }
  ui->model.SetSelection(ui->Find(EveryByte()));
  Connect();
  ExpectBoth({StrangeItems(), EveryByte()});
}

TEST_F(LongListTest, AnyBytesCanBeSelectedOnTheRemoteSide) {
  Connect();
  for (const auto& [id, name] : StrangeItems()) {
    ui->model.AddItemAtEnd(ui->NewItem(id, name));
  }
  control.Select(EveryByte());
  ExpectBoth({StrangeItems(), EveryByte()});
}

TEST_F(LongListTest, ANameOfOneMebibyteIsTheSameOnBothSides) {
  const std::string name = std::string((1 << 20) - 4, 'x') + "\nend";
  Connect();
  ui->model.AddItemAtEnd(ui->NewItem("long", name));
  ui->model.SetSelection(ui->Find("long"));
  Settle();
  const Contents remote = RemoteHolds();
  ASSERT_EQ(remote.items.size(), 1U);
  EXPECT_TRUE(remote.items.front().second == name) << "not the name that was sent";
  EXPECT_EQ(remote.selection, "long");
  EXPECT_EQ(ui->Holds().selection, "long") << "the reply with the selection holds the name as well";
}

TEST_F(LongListTest, AnIdentifierOfOneMebibyteCanBeSelected) {
  const std::string id = std::string((1 << 20) - 1, 'x') + "\xFF";
  Connect();
  ui->model.AddItems({ui->NewItem("short"), ui->NewItem(id, "Long")});
  ui->model.SetSelection(ui->Find(id));
  Settle();
  EXPECT_TRUE(RemoteHolds().selection == id);
  EXPECT_TRUE(ui->Holds().selection == id);
}

}  // namespace
}  // namespace applist_test
