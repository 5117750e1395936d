// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "FrameText.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <sstream>
#include <stdexcept>

#include "ShownText.h"
#include "common/AppListRemoteControl.h"

namespace {

constexpr size_t kIdentifierSize = 4;
constexpr size_t kAnyNumber = SIZE_MAX;

struct Message {
  int identifier;
  const char* name;
  size_t fewestItems;
  size_t mostItems;
};

// What a notification carries is ignored by its receiver.
constexpr std::array<Message, 13> kMessages = {{
    {APPLIST_ITEM_CHANGE_EVENT, "APPLIST_ITEM_CHANGE_EVENT", 0, kAnyNumber},
    {APPLIST_ITEM_SELECTION_EVENT, "APPLIST_ITEM_SELECTION_EVENT", 0, kAnyNumber},
    {APPLIST_ITEM_CLICKED_EVENT, "APPLIST_ITEM_CLICKED_EVENT", 0, kAnyNumber},
    {APPLIST_LOCAL_CREATED_EVENT, "APPLIST_LOCAL_CREATED_EVENT", 0, kAnyNumber},
    {APPLIST_SET_SELECTION_FNC, "APPLIST_SET_SELECTION_FNC", 1, 1},
    {APPLIST_GET_SELECTION_FNC, "APPLIST_GET_SELECTION_FNC", 0, 0},
    {APPLIST_GET_ALL_ITEMS_FNC, "APPLIST_GET_ALL_ITEMS_FNC", 0, 0},
    {APPLIST_REMOVE_ALL_ITEMS_FNC, "APPLIST_REMOVE_ALL_ITEMS_FNC", 0, 0},
    {APPLIST_ADD_ITEMS_FNC, "APPLIST_ADD_ITEMS_FNC", 1, kAnyNumber},
    {APPLIST_ADD_ITEM_AT_END_FNC, "APPLIST_ADD_ITEM_AT_END_FNC", 1, 1},
    {APPLIST_SET_CLICKED_FNC, "APPLIST_SET_CLICKED_FNC", 1, 1},
    {APPLIST_REMOVE_ITEM_FNC, "APPLIST_REMOVE_ITEM_FNC", 1, 1},
    {APPLIST_MODIFY_ITEM_FNC, "APPLIST_MODIFY_ITEM_FNC", 2, 2},
}};

const Message* Find(int identifier) {
  const auto* const found = std::find_if(
      kMessages.begin(), kMessages.end(),
      [identifier](const Message& message) { return message.identifier == identifier; });
  return found == kMessages.end() ? nullptr : found;
}

int IdentifierAtEnd(const std::string& bytes) {
  uint32_t identifier = 0;
  for (size_t k = 0; k < kIdentifierSize; ++k) {
    identifier = identifier << 8 | static_cast<unsigned char>(bytes[bytes.size() - 1 - k]);
  }
  return static_cast<int>(identifier);
}

std::string At(size_t offset) {
  return "at offset " + std::to_string(offset);
}

// Why the item that starts at `at` cannot be read: its name and its identifier each end with a line
// feed, and hold no backslash but in an escape.
std::string TroubleOfItem(const std::string& bytes, size_t at) {
  for (const char* field : {"name", "identifier"}) {
    for (; at < bytes.size() && bytes[at] != '\n'; ++at) {
      if (bytes[at] != '\\') {
        continue;
      }
      ++at;
      if (at == bytes.size() || (bytes[at] != '\\' && bytes[at] != 'n')) {
        return At(at - 1) + ", a backslash is not followed by a backslash or an n";
      }
    }
    if (at == bytes.size()) {
      return At(at) + ", the bytes end in the " + std::string(field) +
             " of an item, without its line feed";
    }
    ++at;
  }
  return {};
}

std::string Number(size_t number, const char* what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

// Why a receiver would refuse a message with so many items.
std::string TroubleOfMessage(int identifier, size_t items) {
  const Message* const message = Find(identifier);
  if (message == nullptr) {
    return "there is no message " + std::to_string(identifier);
  }
  if (items < message->fewestItems || items > message->mostItems) {
    const std::string most = message->mostItems == kAnyNumber ? " or more" : "";
    return std::string(message->name) + " takes " + std::to_string(message->fewestItems) + most +
           (message->fewestItems == 1 && most.empty() ? " item" : " items") + ", and here " +
           (items == 1 ? "is " : "are ") + std::to_string(items);
  }
  return {};
}

}  // namespace

std::string BytesFromHex(const std::string& text) {
  std::string bytes;
  size_t digits = 0;
  unsigned value = 0;
  for (size_t at = 0; at < text.size(); ++at) {
    const auto character = static_cast<unsigned char>(text[at]);
    const bool prefix = digits == 0 && (character == '0' || character == '\\') &&
                        at + 1 < text.size() && (text[at + 1] == 'x' || text[at + 1] == 'X');
    if (prefix) {
      ++at;
    } else if (std::isxdigit(character) != 0) {
      const int lower = std::tolower(character);
      value = value * 16 + static_cast<unsigned>(lower <= '9' ? lower - '0' : lower - 'a' + 10);
      if (++digits == 2) {
        bytes += static_cast<char>(value);
        digits = 0;
        value = 0;
      }
    } else if (digits != 0) {
      break;
    } else if (std::isspace(character) == 0 && character != ',' && character != ':' &&
               character != '-') {
      throw std::invalid_argument("character " + std::to_string(at + 1) +
                                  " is no hexadecimal digit");
    }
  }
  if (digits != 0) {
    throw std::invalid_argument("byte " + std::to_string(bytes.size() + 1) +
                                " has one hexadecimal digit instead of two");
  }
  return bytes;
}

DecodedBytes DecodePayload(const std::string& bytes) {
  DecodedBytes decoded;
  std::istringstream in(bytes);
  size_t at = 0;
  RemoteAppListItem item;
  while (at < bytes.size() && in >> item) {
    decoded.items.push_back(item);
    at = static_cast<size_t>(in.tellg());
  }
  if (at < bytes.size()) {
    decoded.trouble = TroubleOfItem(bytes, at);
  }
  return decoded;
}

DecodedBytes DecodeFrame(const std::string& bytes) {
  if (bytes.size() < kIdentifierSize) {
    DecodedBytes decoded;
    decoded.trouble = Number(bytes.size(), "byte") + " cannot hold the four of an identifier";
    return decoded;
  }
  DecodedBytes decoded = DecodePayload(bytes.substr(0, bytes.size() - kIdentifierSize));
  decoded.identifier = IdentifierAtEnd(bytes);
  if (decoded.trouble.empty()) {
    decoded.trouble = TroubleOfMessage(*decoded.identifier, decoded.items.size());
  }
  return decoded;
}

DecodedBytes DecodeFrameOrPayload(const std::string& bytes) {
  const bool frame = bytes.size() >= kIdentifierSize && Find(IdentifierAtEnd(bytes)) != nullptr;
  DecodedBytes decoded = frame ? DecodeFrame(bytes) : DecodePayload(bytes);
  if (!frame && !decoded.trouble.empty() && bytes.size() >= kIdentifierSize) {
    decoded.trouble +=
        ", and as a frame: there is no message " + std::to_string(IdentifierAtEnd(bytes));
  }
  return decoded;
}

std::string MessageText(int identifier) {
  const Message* const message = Find(identifier);
  return std::string(message != nullptr ? message->name : "unknown message") + " (" +
         std::to_string(identifier) + ")";
}

nlohmann::ordered_json MessageName(int identifier) {
  const Message* const message = Find(identifier);
  return message != nullptr ? nlohmann::ordered_json(message->name) : nlohmann::ordered_json();
}

nlohmann::ordered_json ItemsJson(const std::vector<RemoteAppListItem>& items) {
  auto json = nlohmann::ordered_json::array();
  for (RemoteAppListItem item : items) {
    json.push_back({{"id", Shown(item.GetUnigueId())}, {"name", Shown(item.GetVisibleName())}});
  }
  return json;
}
