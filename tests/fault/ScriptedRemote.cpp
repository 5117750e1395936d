// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "fault/ScriptedRemote.h"

#include <systemd/sd-event.h>

#include <cstring>
#include <stdexcept>
#include <utility>

#include "bus/BusFixture.h"
#include "dbus/LinkNames.h"

namespace applist_test {

namespace {

// The identifier at the end of a frame.
int IdentifierOf(const unsigned char* bytes, size_t size) {
  int identifier = 0;
  if (size >= sizeof(identifier)) {
    std::memcpy(&identifier, bytes + size - sizeof(identifier), sizeof(identifier));
  }
  return identifier;
}

}  // namespace

ScriptedRemote::ScriptedRemote(const std::string& address, Names names) {
  m_thread.Run([&] {
    m_peer = std::make_unique<BusPeer>(address);
    sd_bus_add_filter(m_peer->Bus(), nullptr, OnMessage, this);
    for (const char* name : {kRemoteCallsName, kRemoteName}) {
      const uint64_t flags = names == Names::Queued ? SD_BUS_NAME_QUEUE : 0;
      if (sd_bus_request_name(m_peer->Bus(), name, flags) < 0) {
        throw std::runtime_error(std::string("No name for a scripted remote side: ") + name);
      }
    }
    sd_event* event = nullptr;
    sd_event_default(&event);
    sd_bus_attach_event(m_peer->Bus(), event, 0);
    sd_event_unref(event);
  });
}

ScriptedRemote::~ScriptedRemote() {
  m_thread.Run([&] {
    m_held.reset();
    m_peer.reset();
  });
}

void ScriptedRemote::AnswerWith(Answer answer) {
  m_thread.Run([&] { m_answer = std::move(answer); });
}

void ScriptedRemote::HoldOne() {
  AnswerWith([this](sd_bus_message* call) {
    m_held.reset(sd_bus_message_ref(call));
    m_answer = nullptr;
  });
}

void ScriptedRemote::AnswerHeld(const std::string& reply) {
  m_thread.Run([&] { Reply(m_held.get(), reply); });
}

// The bus passes each name on when its owner goes, and both before it answers any question.
void ScriptedRemote::WaitForNames() {
  m_thread.Run([&] {
    while (m_peer->OwnerOf(kRemoteName) != m_peer->UniqueName() ||
           m_peer->OwnerOf(kRemoteCallsName) != m_peer->UniqueName()) {
    }
  });
}

void ScriptedRemote::Notify(int event, size_t count) {
  m_thread.Run([&] {
    for (size_t k = 0; k < count; ++k) {
      m_peer->Notify(kUiName, Frame(event));
      if (k % 64 == 0) {
        sd_bus_flush(m_peer->Bus());
      }
    }
  });
}

void ScriptedRemote::NotifyBytes(const std::string& bytes) {
  m_thread.Run([&] { m_peer->Notify(kUiName, bytes); });
}

size_t ScriptedRemote::Heard(int messageId) {
  size_t heard = 0;
  m_thread.Run([&] { heard = m_heard[messageId]; });
  return heard;
}

void ScriptedRemote::Reply(sd_bus_message* call, const std::string& bytes) {
  sd_bus_message* created = nullptr;
  sd_bus_message_new_method_return(call, &created);
  const applist::MessagePtr reply(created);
  sd_bus_message_append_array(created, 'y', bytes.data(), bytes.size());
  sd_bus_send(nullptr, created, nullptr);
}

void ScriptedRemote::Take(sd_bus_message* call) {
  const void* bytes = nullptr;
  size_t size = 0;
  if (sd_bus_message_read_array(call, 'y', &bytes, &size) > 0) {
    ++m_heard[IdentifierOf(static_cast<const unsigned char*>(bytes), size)];
  }
  const Answer answer = m_answer;
  if (answer) {
    answer(call);
  } else {
    Reply(call, "");
  }
}

int ScriptedRemote::OnMessage(sd_bus_message* message, void* remote, sd_bus_error* /*error*/) {
  if (sd_bus_message_is_method_call(message, applist::kLinkInterface, "Send") <= 0) {
    return 0;
  }
  static_cast<ScriptedRemote*>(remote)->Take(message);
  return 1;
}

}  // namespace applist_test
