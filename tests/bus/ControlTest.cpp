// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The daemon's control interface, as any D-Bus tool sees it.
#include <cstring>

#include "bus/BusFixture.h"
#include "bus/BusPeer.h"

namespace applist_test {
namespace {

constexpr const char* kControl = "org.javamw.Applist.Control1";
constexpr const char* kNotInList = "org.javamw.Applist.Control1.Error.NotInList";
constexpr const char* kLimitsExceeded = "org.freedesktop.DBus.Error.LimitsExceeded";
constexpr const char* kInvalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

class ControlTest : public BusTest {
 protected:
  ControlTest() {
    EXPECT_GE(sd_bus_match_signal(tool.Bus(), nullptr, kRemoteName, kLinkPath,
                                  "org.freedesktop.DBus.Properties", "PropertiesChanged", OnChanged,
                                  this),
              0);
    Connect();
    ui->model.AddItems(ui->NewItems({"a", "b"}));
    Settle();
    Changes();
  }

  // A property of type s or b, as text.
  std::string Property(const char* name, const char* type = "s") {
    applist::BusError error;
    if (type[0] == 'b') {
      int value = -1;
      EXPECT_GE(sd_bus_get_property_trivial(tool.Bus(), kRemoteName, kLinkPath, kControl, name,
                                            error.Get(), 'b', &value),
                0);
      return value == 1 ? "true" : value == 0 ? "false" : "";
    }
    char* value = nullptr;
    EXPECT_GE(sd_bus_get_property_string(tool.Bus(), kRemoteName, kLinkPath, kControl, name,
                                         error.Get(), &value),
              0);
    const std::string text = value != nullptr ? value : "no text";
    std::free(value);
    return text;
  }

  std::string ErrorOfReading(const char* name) {
    applist::BusError error;
    EXPECT_LT(
        sd_bus_call_method(tool.Bus(), kRemoteName, kLinkPath, "org.freedesktop.DBus.Properties",
                           "Get", error.Get(), nullptr, "ss", kControl, name),
        0);
    return error.Name();
  }

  std::vector<std::pair<std::string, std::string>> ItemTexts() {
    applist::BusError error;
    sd_bus_message* answer = nullptr;
    EXPECT_GE(sd_bus_get_property(tool.Bus(), kRemoteName, kLinkPath, kControl, "Items",
                                  error.Get(), &answer, "a(ss)"),
              0);
    const applist::MessagePtr owned(answer);
    std::vector<std::pair<std::string, std::string>> items;
    const char* id = nullptr;
    const char* name = nullptr;
    EXPECT_GE(sd_bus_message_enter_container(answer, 'a', "(ss)"), 0);
    while (sd_bus_message_read(answer, "(ss)", &id, &name) > 0) {
      items.emplace_back(id, name);
    }
    return items;
  }

  // What has been announced: "name=value", or the name alone where the value is to be asked for.
  std::vector<std::string> Changes() {
    tool.Ping(kRemoteName);
    tool.ProcessAll();
    return std::exchange(m_changes, {});
  }

  BusPeer tool{bus.Address()};

 private:
  static int OnChanged(sd_bus_message* message, void* test, sd_bus_error* /*error*/) {
    std::vector<std::string>& changes = static_cast<ControlTest*>(test)->m_changes;
    const char* text = nullptr;
    EXPECT_GE(sd_bus_message_read(message, "s", &text), 0);
    if (text == nullptr || std::strcmp(text, kControl) != 0) {
      return 0;
    }
    EXPECT_GE(sd_bus_message_enter_container(message, 'a', "{sv}"), 0);
    while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
      const char* type = nullptr;
      sd_bus_message_read(message, "s", &text);
      std::string change = text;
      sd_bus_message_peek_type(message, nullptr, &type);
      if (type[0] == 's') {
        sd_bus_message_read(message, "v", "s", &text);
        change += std::string("=") + text;
      } else {
        int value = -1;
        sd_bus_message_read(message, "v", "b", &value);
        change += value == 1 ? "=true" : "=false";
      }
      changes.push_back(change);
      sd_bus_message_exit_container(message);
    }
    sd_bus_message_exit_container(message);
    sd_bus_message_enter_container(message, 'a', "s");
    while (sd_bus_message_read(message, "s", &text) > 0) {
      changes.emplace_back(text);
    }
    return 0;
  }

  std::vector<std::string> m_changes;
};

// The bus would cut the daemon's connection, which would lose its list by that.
TEST_F(ControlTest, WhatIsTooLongForAMessageIsNotShown) {
  const std::string owner = tool.OwnerOf(kRemoteName);
  TestItem* const odd = ui->NewItem(std::string(9 << 20, '\xff'), "odd");
  ui->model.AddItemAtEnd(odd);
  ui->model.SetSelection(odd);
  ui->model.SetClicked(odd);
  EXPECT_THAT(Changes(), Not(Contains(HasSubstr("="))));
  for (const char* name : {"Items", "Selection", "LastClicked"}) {
    EXPECT_EQ(ErrorOfReading(name), kLimitsExceeded) << name;
  }
  ui->model.RemoveItem(odd);
  ui->model.SetClicked(ui->Find("b"));
  EXPECT_EQ(Property("Selection"), "");
  EXPECT_EQ(Property("LastClicked"), "b");
  EXPECT_EQ(ItemTexts().size(), 2U);
  for (int k = 0; k < 3; ++k) {
    ui->model.AddItemAtEnd(ui->NewItem(std::to_string(k), std::string(12 << 20, 'n')));
  }
  EXPECT_EQ(ErrorOfReading("Items"), kLimitsExceeded);
  EXPECT_EQ(tool.OwnerOf(kRemoteName), owner);
}

TEST_F(ControlTest, PropertiesShowWhatTheRemoteSideHolds) {
  const std::vector<std::pair<std::string, std::string>> items = {{"a", "Name of a"},
                                                                  {"b", "Name of b"}};
  EXPECT_EQ(ItemTexts(), items);
  EXPECT_EQ(Property("Selection"), "");
  EXPECT_EQ(Property("Connected", "b"), "true");
  ui->model.SetSelection(ui->Find("b"));
  ui->model.SetClicked(ui->Find("a"));
  EXPECT_EQ(Property("Selection"), "b");
  EXPECT_EQ(Property("LastClicked"), "a");
}

TEST_F(ControlTest, AUserInterfaceThatGoesAndComesIsAnnounced) {
  ui.reset();
  ASSERT_TRUE(WaitFor([&] { return !RemoteIsConnected(); }));
  EXPECT_EQ(Property("Connected", "b"), "false");
  EXPECT_THAT(Changes(), Contains("Connected=false"));
  ui = std::make_unique<UserInterface>();
  ASSERT_TRUE(WaitFor([&] { return RemoteIsConnected(); }));
  const std::vector<std::string> changes = Changes();
  EXPECT_THAT(changes, Contains("Connected=true"));
  EXPECT_THAT(changes, Contains("Items")) << "the list was dropped";
  EXPECT_THAT(changes, Contains("Selection="));
  EXPECT_TRUE(ItemTexts().empty());
}

TEST_F(ControlTest, EachChangeIsAnnounced) {
  using Texts = std::vector<std::string>;
  ui->model.AddItemAtEnd(ui->NewItem("c"));
  EXPECT_EQ(Changes(), Texts{"Items"});
  ui->model.SetSelection(ui->Find("c"));
  EXPECT_EQ(Changes(), Texts{"Selection=c"});
  ui->model.SetClicked(ui->Find("b"));
  EXPECT_EQ(Changes(), Texts{"LastClicked=b"});
  ui->model.ModifyItem(ui->Find("c"), ui->NewItem("d"));
  EXPECT_EQ(Changes(), (Texts{"Items", "Selection=d"}));
  ui->model.RemoveAllItems();
  EXPECT_EQ(Changes(), (Texts{"Items", "Selection="}));
  ui->model.RemoveAllItems();
  EXPECT_EQ(Changes(), Texts());
}

TEST_F(ControlTest, SelectActsOnBothSidesAndIsAnnounced) {
  EXPECT_EQ(tool.Control("Select", "b").error, "");
  EXPECT_EQ(Changes(), std::vector<std::string>{"Selection=b"});
  ExpectBoth({Named({"a", "b"}), "b"});
}

TEST_F(ControlTest, ClickIsHeardOnBothSidesAndIsAnnounced) {
  const int before = ui->clicked;
  EXPECT_EQ(tool.Control("Click", "b").error, "");
  EXPECT_EQ(Changes(), std::vector<std::string>{"LastClicked=b"});
  EXPECT_TRUE(WaitFor([&] { return ui->clicked == before + 1; }));
  EXPECT_EQ(ui->Holds().selection, "") << "a click selects nothing";
}

TEST_F(ControlTest, WhatIsNotInTheListIsRefusedAndChangesNothing) {
  ui->model.AddItemAtEnd(ui->NewItem("", "No identifier"));
  ui->model.SetSelection(ui->Find("b"));
  Settle();
  Changes();
  const int heard = ui->selected + ui->clicked;
  EXPECT_EQ(tool.Control("Select", "elsewhere").error, kNotInList);
  EXPECT_EQ(tool.Control("Select", "A").error, kNotInList);
  EXPECT_EQ(tool.Control("Select", "").error, kNotInList) << "what has no identifier";
  EXPECT_EQ(tool.Control("Click", "elsewhere").error, kNotInList);
  EXPECT_EQ(Changes(), std::vector<std::string>());
  EXPECT_EQ(ui->selected + ui->clicked, heard);
  EXPECT_EQ(Property("Selection"), "b");
}

TEST_F(ControlTest, BytesThatAreNoTextAreEscaped) {
  const std::string id("\\\0\xFF\n\xC3\xA4", 6);
  ui->model.AddItemAtEnd(ui->NewItem(id, std::string("\0\xC3", 2)));
  const std::string text = "\\\\\\x00\\xff\n\xC3\xA4";
  EXPECT_EQ(ItemTexts().back(), std::make_pair(text, std::string("\\x00\\xc3")));
  EXPECT_EQ(tool.Control("Select", text).error, "");
  EXPECT_EQ(Property("Selection"), text);
  EXPECT_THAT(Changes(), Contains("Selection=" + text));
  ASSERT_TRUE(WaitFor([&] { return ui->Holds().selection == id; }));
  EXPECT_EQ(tool.Control("Click", "\\x5c\\x00\\xFF\\x0a\\xc3\\xA4").error, "") << "any byte may be";
  EXPECT_EQ(Property("LastClicked"), text);
}

TEST_F(ControlTest, MalformedTextsAreRefused) {
  for (const char* text :
       {"\\", "a\\", "\\n", "\\x", "\\x4", "\\x4g", "\\xg4", "\\X41", "a\\x 4"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(tool.Control("Select", text).error, kInvalidArgs);
    EXPECT_EQ(tool.Control("Click", text).error, kInvalidArgs);
  }
  EXPECT_EQ(Changes(), std::vector<std::string>());
}

TEST_F(ControlTest, TheClientOfTheControlInterfaceSpeaksOfWhatIsWrong) {
  const auto messageOf = [](const std::function<void()>& action) -> std::string {
    try {
      action();
    } catch (const std::runtime_error& e) {
      return e.what();
    }
    return "nothing thrown";
  };
  EXPECT_THAT(messageOf([&] { control.Select("elsewhere"); }), HasSubstr(kNotInList));
  EXPECT_THAT(messageOf([&] { control.Click("elsewhere"); }), HasSubstr(kNotInList));
  StopDaemon();
  ASSERT_TRUE(WaitFor([&] { return tool.OwnerOf(kRemoteName).empty(); }));
  EXPECT_THAT(messageOf([&] { control.Read(); }), HasSubstr("NameHasNoOwner"));
}

}  // namespace
}  // namespace applist_test
