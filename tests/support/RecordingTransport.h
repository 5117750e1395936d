// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A JavaMWDbusRemote without a bus. Its entries in the record are "connect NAME", "disconnect",
// for each message what Sent() gives, and "notify FRAME" for each notification.
#ifndef APPLIST_TESTS_SUPPORT_RECORDINGTRANSPORT_H
#define APPLIST_TESTS_SUPPORT_RECORDINGTRANSPORT_H

#include <functional>
#include <string>
#include <vector>

#include "ipc/javamw-dbus-remote.h"

namespace applist_test {

// The transports alive now, in the order of their construction. A test makes the upcalls itself.
std::vector<JavaMWDbusRemote*> LiveTransports();

// Called with the bytes of each frame sent; returns the reply, or throws. Null for empty replies.
void AnswerWith(std::function<std::string(const std::string& frame)> answer);

// Called by each constructor, before the transport is alive; may throw. Null for nothing.
void ConnectWith(std::function<void()> connect);

// A payload with the identifier behind it, least significant byte first.
std::string Frame(const std::string& payload, int messageId);

// The entry that a message makes in the record.
std::string Sent(const std::string& payload, int messageId);

// Bytes as the transport carries them, and back.
std::vector<char> Bytes(const std::string& text);
std::string Text(const std::vector<char>& bytes);

}  // namespace applist_test

#endif
