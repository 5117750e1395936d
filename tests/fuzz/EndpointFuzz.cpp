// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The endpoint over a transport that keeps what it is given: arbitrary bytes as a message and as a
// notification, with handlers and without, and back onto the wire.
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/Fuzz.h"
#include "ipc/IPCApplist.h"

using applist_fuzz::Expect;

namespace {

using Bytes = std::vector<char>;

class Transport {
 public:
  explicit Transport(const std::string& /*serviceName*/) {}
  virtual ~Transport() = default;

  Bytes SendMessage(Bytes& frame) {
    sent = frame;
    return frame;
  }
  void SendNotification(Bytes& frame) { sent = frame; }

  Bytes sent;
};

// A call of a handler.
struct Call {
  int id;
  Bytes payload;
};

struct Handler {
  Bytes OnMessage(int id, const Bytes& payload) {
    OnNotification(id, payload);
    return Bytes(payload.rbegin(), payload.rend());
  }
  void OnNotification(int id, const Bytes& payload) { calls.push_back({id, payload}); }

  std::vector<Call> calls;
};

using Endpoint = IPCApplist<Transport, Handler>;

// The last four bytes as a number, the first of them the least significant.
int IdOf(const Bytes& frame) {
  uint32_t id = 0;
  for (size_t k = 1; k <= 4; ++k) {
    id = id * 256 + static_cast<unsigned char>(frame[frame.size() - k]);
  }
  return static_cast<int>(id);
}

void ExpectCall(const std::vector<Call>& calls, const Bytes& frame, const Bytes& left) {
  if (frame.size() < 4) {
    Expect(calls.empty(), "a frame that is too short is not handled");
    Expect(left == frame, "a frame that is too short stays as it is");
    return;
  }
  const Bytes payload(frame.begin(), frame.end() - 4);
  Expect(calls.size() == 1, "a frame is handled once");
  Expect(calls[0].id == IdOf(frame), "the identifier is the last four bytes");
  Expect(calls[0].payload == payload, "the payload is everything before them");
  Expect(left == payload, "the identifier is cut off the frame");
}

void HandleWithHandlers(Endpoint& endpoint, const Bytes& frame) {
  Handler handler;
  endpoint.RegisterOnMessage(&handler, &Handler::OnMessage);
  endpoint.RegisterOnNotification(&handler, &Handler::OnNotification);
  Bytes message = frame;
  const Bytes reply = endpoint.HandleMessage(message);
  ExpectCall(std::exchange(handler.calls, {}), frame, message);
  Expect(frame.size() < 4 ? reply.empty() : reply == Bytes(message.rbegin(), message.rend()),
         "the reply is the handler's");
  Bytes notification = frame;
  endpoint.HandleNotification(notification);
  ExpectCall(handler.calls, frame, notification);
  endpoint.UnregisterOnMessage(&handler);
  endpoint.UnregisterOnNotification(&handler);
}

void HandleWithoutHandlers(Endpoint& endpoint, const Bytes& frame) {
  const Bytes left(frame.begin(), frame.end() - (frame.size() < 4 ? 0 : 4));
  Bytes message = frame;
  Expect(endpoint.HandleMessage(message).empty(), "nobody replies nothing");
  Bytes notification = frame;
  endpoint.HandleNotification(notification);
  Expect(message == left && notification == left, "the identifier is cut off for nobody as well");
}

void SendAgain(Endpoint& endpoint, const Bytes& frame) {
  const size_t length = frame.size() - 4;
  Expect(endpoint.SendMessage(IdOf(frame), frame.data(), length) == frame,
         "the reply is the transport's");
  Expect(std::exchange(endpoint.sent, {}) == frame, "a message goes out as it came in");
  endpoint.SendNotification(IdOf(frame), std::string(frame.data(), length));
  Expect(endpoint.sent == frame, "a notification goes out as it came in");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Bytes frame(data, data + size);
  Endpoint endpoint;
  HandleWithHandlers(endpoint, frame);
  HandleWithoutHandlers(endpoint, frame);
  if (size >= 4) {
    SendAgain(endpoint, frame);
  }
  return 0;
}
