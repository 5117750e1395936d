// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The remote sides of docs/examples, one with the library and one with nothing but D-Bus.
#include <iomanip>
#include <random>
#include <sstream>

#include "apps/applistd/ApplistdFixture.h"
#include "common/AppListRemoteControl.h"
#include "dbus/LinkNames.h"
#include "support/Seed.h"

namespace applist_test {
namespace {

// A user interface that says anything, and writes down what it is answered and told. With the same
// seed it hears the same of each remote side that keeps to the protocol. One connection has both
// names, so that all that comes has one order.
class Conversation {
 public:
  Conversation(const std::string& bus, unsigned seed) : m_peer(bus), m_random(seed) {
    EXPECT_EQ(m_peer.Own(kUiCallsName), applist::NameAnswer::Owner);
    EXPECT_EQ(m_peer.Own(kUiName), applist::NameAnswer::Owner);
  }

  // What was said, a line each.
  const std::string& Heard() const { return m_heard; }

  // From the announcement on. What comes before its question is answered counts as the first list.
  void Hold(unsigned messages) {
    do {
      ASSERT_TRUE(m_peer.ProcessOne()) << "no announcement";
    } while (m_peer.Notifications().empty());
    WriteDownEvents();
    for (unsigned count = Below(6); count > 0; --count) {
      SayAnything();
    }
    Settle();
    for (unsigned count = 0; count < messages; ++count) {
      SayAnything();
      Settle();
    }
    Ask();
  }

  // The same connection as another user interface.
  void StartOver() {
    m_peer.Release(kUiName);
    EXPECT_EQ(m_peer.Own(kUiName), applist::NameAnswer::Owner);
  }

 private:
  unsigned Below(unsigned limit) {
    return std::uniform_int_distribution<unsigned>(0, limit - 1)(m_random);
  }

  // Works off all that came, and all that comes of that. Each announcement is answered by a list.
  void Settle() {
    do {
      m_quiet = true;
      for (int round = 0; round < 2; ++round) {
        m_peer.Ping(kRemoteName);
        while (sd_bus_process(m_peer.Bus(), nullptr) > 0) {
          WriteDownEvents();
        }
      }
    } while (!m_quiet);
  }

  void WriteDownEvents() {
    const std::deque<std::string> events = std::move(m_peer.Notifications());
    m_peer.Notifications().clear();
    for (const std::string& frame : events) {
      WriteDown("told", frame);
      m_quiet = false;
      if (frame == Frame(APPLIST_LOCAL_CREATED_EVENT)) {
        SayTheList();
      }
    }
  }

  // The same as the last time, or another one, or none.
  void SayTheList() {
    const unsigned which = Below(4);
    if (m_list.empty() || which == 1) {
      m_list = Items(1 + Below(4));
    }
    if (which != 0) {
      Say(Frame(APPLIST_ADD_ITEMS_FNC, m_list));
    }
  }

  // All that a user interface can ask.
  void Ask() {
    Say(Frame(APPLIST_GET_ALL_ITEMS_FNC));
    Say(Frame(APPLIST_GET_SELECTION_FNC));
  }

  void SayAnything() {
    const int messageId = 2000 + static_cast<int>(Below(9));
    switch (Below(20)) {
      case 0:
        Say(Frame(static_cast<int>(Below(3000)), Items(Below(2))));
        break;
      case 1:
        Say(std::string("\xD0\x07\x00", Below(4)));
        break;
      case 2:
        Say(Frame(messageId, Items(1 + Below(3)).substr(Below(12))));
        break;
      case 3:
        Say(Frame(messageId, Items(Below(4))));
        break;
      case 4:
        WriteDown("refused as text", m_peer.SendText(kRemoteName, "text").error);
        break;
      case 5:
        SayWithoutWaiting(Frame(messageId, Items(FittingCount(messageId))));
        break;
      default:
        Say(Frame(messageId, Items(FittingCount(messageId))));
        Ask();
    }
  }

  unsigned FittingCount(int messageId) {
    switch (messageId) {
      case APPLIST_GET_SELECTION_FNC:
      case APPLIST_GET_ALL_ITEMS_FNC:
      case APPLIST_REMOVE_ALL_ITEMS_FNC:
        return 0;
      case APPLIST_ADD_ITEMS_FNC:
        return 1 + Below(4);
      case APPLIST_MODIFY_ITEM_FNC:
        return 2;
      default:
        return 1;
    }
  }

  // Few identifiers, so that they meet; among them none at all, and one of odd bytes.
  std::string Items(unsigned count) {
    std::string payload;
    for (; count > 0; --count) {
      const unsigned id = Below(7);
      payload += "Name " + std::to_string(Below(100)) + "\\\\\n";
      payload += id == 0 ? "" : id == 1 ? std::string("\\n\\\\n\0\xFF", 7) : std::to_string(id);
      payload += '\n';
    }
    return payload;
  }

  void Say(const std::string& frame) {
    WriteDown("said", frame);
    const BusPeer::Answer answer = m_peer.Send(kRemoteName, frame);
    WriteDown(answer.error.empty() ? "answered" : answer.error.c_str(), answer.reply);
  }

  // As in a hang.
  void SayWithoutWaiting(const std::string& frame) {
    WriteDown("said only", frame);
    sd_bus_message* created = nullptr;
    sd_bus_message_new_method_call(m_peer.Bus(), &created, kRemoteName, kLinkPath,
                                   applist::kLinkInterface, "Send");
    const applist::MessagePtr call(created);
    sd_bus_message_append_array(created, 'y', frame.data(), frame.size());
    sd_bus_message_set_expect_reply(created, 0);
    EXPECT_GE(sd_bus_send(m_peer.Bus(), created, nullptr), 0);
  }

  void WriteDown(const char* what, const std::string& bytes) {
    std::ostringstream line;
    line << what << std::hex << std::setfill('0');
    for (const char byte : bytes) {
      line << ' ' << std::setw(2) << static_cast<unsigned>(static_cast<unsigned char>(byte));
    }
    m_heard += line.str() + '\n';
  }

  BusPeer m_peer;
  std::mt19937 m_random;
  std::string m_list;
  std::string m_heard;
  bool m_quiet = true;
};

struct Example {
  const char* name;
  std::vector<std::string> command;
};
std::ostream& operator<<(std::ostream& out, const Example& example) {
  return out << example.name;
}

class RemoteSideExampleTest : public ApplistdTest, public ::testing::WithParamInterface<Example> {
 protected:
  void StartExample() { Run(GetParam().command); }

  void Run(const std::vector<std::string>& program) {
    std::vector<std::string> command = {"/bin/sh", "-c", "said=$1; shift; exec \"$@\" >>\"$said\"",
                                        "sh", folder / "said"};
    command.insert(command.end(), program.begin(), program.end());
    daemon = std::make_unique<applist::ChildProcess>(command);
  }

  // Starts a user interface, and waits until it has its names: then all that the remote side hears
  // of it is what it has asked for.
  void StartUi(const std::vector<std::string>& ids) {
    ui = std::make_unique<UserInterface>();
    ui->model.AddItems(ui->NewItems(ids));
    EXPECT_TRUE(WaitFor([&] { return !BusPeer(bus.Address()).OwnerOf(kUiName).empty(); }));
  }

  void ExpectSaid(const std::string& text) {
    EXPECT_TRUE(WaitFor([&] { return Said() == text; })) << Said();
  }

  // The same of what it has said last, after lines that depend on who was quicker.
  void ExpectSaidLast(const std::string& text) {
    EXPECT_TRUE(WaitFor([&] {
      const std::string said = Said();
      return said.size() >= text.size() && said.substr(said.size() - text.size()) == text;
    })) << Said();
  }

  // What a user interface hears of this remote side.
  std::string HeardOf(const std::vector<std::string>& program, unsigned seed) {
    Run(program);
    Conversation conversation(bus.Address(), seed);
    conversation.Hold(50);
    for (int another = 0; another < 10; ++another) {
      conversation.StartOver();
      conversation.Hold(5);
    }
    daemon.reset();
    return conversation.Heard();
  }
};

// The library's own limit has tests enough; with a sanitizer, such a frame takes it very long.
class LargeFrameTest : public RemoteSideExampleTest {};

Example Cpp() {
  return {"Cpp", {EXAMPLE_PATH}};
}
Example Python() {
  return {"Python", {PYTHON_PATH, "-B", PYTHON_EXAMPLE_PATH}};
}
std::string NameOf(const ::testing::TestParamInfo<Example>& example) {
  return example.param.name;
}
INSTANTIATE_TEST_SUITE_P(Examples, RemoteSideExampleTest, ::testing::Values(Cpp(), Python()),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(Examples, LargeFrameTest, ::testing::Values(Python()), NameOf);

TEST_P(RemoteSideExampleTest, HasTheListAndHearsOfClicks) {
  StartUi({"a", "b"});
  StartExample();
  ExpectSaid("2 items\n");
  ui->model.SetClicked(ui->Find("b"));
  ExpectSaid("2 items\nName of b was clicked\n");
  ui->model.SetSelection(ui->Find("a"));
  EXPECT_TRUE(WaitFor([&] { return ui->selected > 0; }));
  EXPECT_EQ(ui->Holds().selection, "a");
}

// Something that the remote side does not have cannot be selected there.
TEST_P(RemoteSideExampleTest, HasTheUserInterfaceFallBackToItsSelection) {
  StartUi({"a", "b"});
  StartExample();
  ExpectSaid("2 items\n");
  ui->model.SetSelection(ui->Find("a"));
  ui->model.SetSelection(ui->NewItem("elsewhere"));
  EXPECT_TRUE(WaitFor([&] { return ui->Holds().selection == "a"; }));
}

TEST_P(RemoteSideExampleTest, AnswersAndTellsWhatTheDaemonDoes) {
  const unsigned seed = Seed();
  const std::string expected = HeardOf(DaemonCommand(), seed);
  EXPECT_EQ(HeardOf(GetParam().command, seed), expected);
}

TEST_P(RemoteSideExampleTest, AsksTheNextUserInterfaceForItsList) {
  StartUi({"a", "b"});
  StartExample();
  ExpectSaid("2 items\n");
  ui.reset();
  StartUi({"c"});
  ExpectSaidLast("0 items\n1 items\n");
}

// It may have lost a call with the first one.
TEST_P(RemoteSideExampleTest, AsksAgainWhenCallsComeFromAnotherConnection) {
  BusPeer peer(bus.Address());
  peer.Own(kUiCallsName);
  peer.Own(kUiName);
  StartExample();
  const auto announced = [&] {
    peer.ProcessAll();
    return peer.Notifications() == std::deque<std::string>{Frame(APPLIST_LOCAL_CREATED_EVENT)};
  };
  EXPECT_TRUE(WaitOutsideLoop(announced));
  peer.Notifications().clear();
  peer.Release(kUiCallsName);
  tool.Own(kUiCallsName);
  EXPECT_TRUE(WaitOutsideLoop(announced));
}

TEST_P(RemoteSideExampleTest, ComesBackWithTheBus) {
  StartUi({"a", "b"});
  StartExample();
  ExpectSaid("2 items\n");
  ui.reset();
  bus.Stop();
  bus.Start();
  StartUi({"c"});
  ExpectSaidLast("0 items\n1 items\n");
}

TEST_P(RemoteSideExampleTest, HearsItsPartnerAlone) {
  constexpr const char* kDenied = "org.freedesktop.DBus.Error.AccessDenied";
  StartUi({"a", "b"});
  StartExample();
  ExpectSaid("2 items\n");
  WhileLooping([&] {
    const std::string remote = tool.OwnerOf(kRemoteName);
    const std::string partner = tool.OwnerOf(kUiCallsName);
    EXPECT_EQ(tool.Send(kRemoteName, Frame(APPLIST_REMOVE_ALL_ITEMS_FNC)).error, kDenied);
    EXPECT_EQ(tool.Send(kRemoteName, "x").error, kDenied) << "whatever it sends";
    EXPECT_EQ(tool.SendText(kRemoteName, "text").error, kDenied) << "whatever it sends";
    tool.ForgeOwnerChange(remote, kUiCallsName, partner, tool.UniqueName());
    tool.ForgeOwnerChange(remote, kUiName, tool.OwnerOf(kUiName), tool.UniqueName());
    EXPECT_EQ(tool.Send(kRemoteName, Frame(APPLIST_REMOVE_ALL_ITEMS_FNC)).error, kDenied);
  });
  ui->model.AddItemAtEnd(ui->NewItem("c"));
  ExpectSaid("2 items\n3 items\n");
}

TEST_P(LargeFrameTest, IsRefusedWhenItIsTooLarge) {
  constexpr size_t kLargest = 33550336;
  StartExample();
  BusPeer peer(bus.Address());
  ASSERT_EQ(peer.Own(kUiCallsName), applist::NameAnswer::Owner);
  ASSERT_TRUE(WaitOutsideLoop([&] { return !peer.OwnerOf(kRemoteName).empty(); }));
  EXPECT_EQ(peer.Send(kRemoteName, std::string(kLargest + 1, 'x')).error,
            "org.javamw.Link1.Error.TooLarge");
  EXPECT_EQ(peer.Send(kRemoteName, std::string(kLargest, 'x')).error,
            "org.javamw.Link1.Error.UnknownMessage");
}

}  // namespace
}  // namespace applist_test
