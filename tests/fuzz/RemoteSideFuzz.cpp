// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The remote side's model, fed messages that a user interface should and should not send, while
// user interfaces come, catch up and go. The input is one step after another.
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "LocalAppListModel.h"
#include "dbus/DbusLink.h"
#include "dbus/LinkRefusal.h"
#include "fuzz/Fuzz.h"
#include "fuzz/LocalTransport.h"
#include "fuzz/RemoteSideReckoning.h"

using applist_fuzz::Answer;
using applist_fuzz::Expect;
using applist_test::PlainItem;

namespace {

std::string Id(int id) {
  const unsigned value = static_cast<unsigned>(id);
  return {static_cast<char>(value & 0xFFU), static_cast<char>(value >> 8 & 0xFFU), 0, 0};
}

std::vector<PlainItem> Plain(const LocalAppListModel::ItemList& items) {
  std::vector<PlainItem> plain;
  for (const RemoteAppListItem& item : items) {
    plain.push_back(applist_test::Plain(item));
  }
  return plain;
}

std::optional<PlainItem> Plain(const std::optional<RemoteAppListItem>& item) {
  return item ? std::make_optional(applist_test::Plain(*item)) : std::nullopt;
}

// Hands a frame to the model, as the link does.
Answer Deliver(const std::string& frame) {
  std::vector<char> data(frame.begin(), frame.end());
  try {
    const std::vector<char> reply = applist_fuzz::LiveTransport().HandleMessage(data);
    return {std::string(reply.begin(), reply.end()), ""};
  } catch (const LinkRefusal& refusal) {
    const std::string prefix = "org.javamw.Link1.Error.";
    Expect(refusal.ErrorName().rfind(prefix, 0) == 0, "a refusal names an error of the link");
    return {"", refusal.ErrorName().substr(prefix.size())};
  }
}

class Session {
 public:
  void Step(applist_fuzz::Input& input) {
    const unsigned what = input.Byte();
    if (what <= 8) {
      Message(input.Piece() + Id(2000 + static_cast<int>(what)));
    } else if (what == 9) {
      Message(input.Piece());
    } else if (what == 10) {
      const std::string id = input.Piece();
      Expect(m_model.Select(id) == m_reckoning.Select(id), "the remote side selects what is there");
    } else if (what == 11) {
      const std::string id = input.Piece();
      Expect(m_model.Click(id) == m_reckoning.Click(id), "the remote side clicks what is there");
    } else if (what == 12) {
      Connect(!m_model.IsConnected());
    } else if (m_model.Link().CatchUp()) {
      m_reckoning.CatchUp();
    }
    ExpectState();
  }

 private:
  void Message(const std::string& frame) {
    Answer expected;
    if (frame.size() >= 4) {
      expected = m_reckoning.Message(IdOf(frame), frame.substr(0, frame.size() - 4));
    }
    Expect(Deliver(frame) == expected, "a message is answered as it should be");
  }

  // The identifier at the end of a frame, or 0 for any that needs more than two bytes.
  static int IdOf(const std::string& frame) {
    for (int id = 2000; id <= 2008; ++id) {
      if (frame.substr(frame.size() - 4) == Id(id)) {
        return id;
      }
    }
    return 0;
  }

  void Connect(bool state) {
    m_model.Link().Lose();
    applist_fuzz::LiveTransport().HandleConnectionReady(state, "org.javamw.Applist.Ui");
    if (state) {
      m_reckoning.Connect();
    }
    Expect(m_model.IsConnected() == state, "the model knows whether a user interface is there");
  }

  void ExpectState() {
    Expect(Plain(m_model.Items()) == m_reckoning.list, "the list is what it should be");
    Expect(Plain(m_model.Selection()) == m_reckoning.selection,
           "the selection is what it should be");
    Expect(Plain(m_model.LastClicked()) == m_reckoning.clicked,
           "the last click is what it should be");
    std::vector<std::string> events;
    for (const int event : std::exchange(m_reckoning.events, {})) {
      events.push_back(Id(event));
    }
    Expect(applist_fuzz::TakeNotifications() == events,
           "the user interface is told what it should");
  }

  LocalAppListModel m_model;
  applist_fuzz::RemoteSideReckoning m_reckoning;
};

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  applist_fuzz::Input input(data, size);
  Session session;
  while (!input.IsEmpty()) {
    session.Step(input);
  }
  return 0;
}
