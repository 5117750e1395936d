// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Frames and payloads of the link in words.
#ifndef APPLIST_APPLISTCTL_FRAMETEXT_H
#define APPLIST_APPLISTCTL_FRAMETEXT_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "applist/RemoteAppListItem.h"

// What bytes of the link turned out to be.
struct DecodedBytes {
  // Of a frame; a payload has none.
  std::optional<int> identifier;
  // Those before the first malformed one.
  std::vector<RemoteAppListItem> items;
  // What is wrong and where, in words; empty when nothing is.
  std::string trouble;
};

// The bytes that a text in hexadecimal stands for: digits in pairs, upper or lower case, together
// or apart, with white space, commas, colons or dashes between them and 0x or \x before them.
// Throws std::invalid_argument, which says where the text is anything else.
std::string BytesFromHex(const std::string& text);

// A payload is items and nothing else.
DecodedBytes DecodePayload(const std::string& bytes);

// A frame is a payload and an identifier. One that its receiver would refuse has its trouble named:
// an unknown identifier, or more or fewer items than the message takes.
DecodedBytes DecodeFrame(const std::string& bytes);

// Bytes that end with the identifier of a message are a frame, and all others a payload. No payload
// without trouble ends like that.
DecodedBytes DecodeFrameOrPayload(const std::string& bytes);

// The message by name and number, or that there is none of this number.
std::string MessageText(int identifier);

// The name of the message, or null where there is none of this number.
nlohmann::ordered_json MessageName(int identifier);

// The items, with the texts that are shown.
nlohmann::ordered_json ItemsJson(const std::vector<RemoteAppListItem>& items);

#endif
