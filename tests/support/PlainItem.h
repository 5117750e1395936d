// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// An item as two strings, and its encoding, written a second time and in another way than in the
// code under test.
#ifndef APPLIST_TESTS_SUPPORT_PLAINITEM_H
#define APPLIST_TESTS_SUPPORT_PLAINITEM_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "applist/RemoteAppListItem.h"

namespace applist_test {

struct PlainItem {
  std::string name;
  std::string id;
};

inline bool operator==(const PlainItem& left, const PlainItem& right) {
  return left.name == right.name && left.id == right.id;
}

inline PlainItem Plain(RemoteAppListItem item) {
  return {item.GetVisibleName(), item.GetUnigueId()};
}

inline std::string Encode(const PlainItem& item) {
  std::string encoding;
  for (const std::string* text : {&item.name, &item.id}) {
    for (const char byte : *text) {
      encoding += byte == '\n' ? "\\n" : byte == '\\' ? "\\\\" : std::string(1, byte);
    }
    encoding += "\n";
  }
  return encoding;
}

inline std::string Encode(const std::vector<PlainItem>& items) {
  std::string encoding;
  for (const PlainItem& item : items) {
    encoding += Encode(item);
  }
  return encoding;
}

// The text of a field without its line feed, or nothing when it is malformed.
inline std::optional<std::string> DecodeField(const std::string& field) {
  std::string text;
  bool escaped = false;
  for (const char byte : field) {
    if (!escaped && byte == '\\') {
      escaped = true;
      continue;
    }
    if (escaped && byte != 'n' && byte != '\\') {
      return std::nullopt;
    }
    text += escaped && byte == 'n' ? '\n' : byte;
    escaped = false;
  }
  return escaped ? std::nullopt : std::make_optional(text);
}

// The item that `bytes` start with, or nothing when it is malformed or cut short.
inline std::optional<PlainItem> DecodeFirst(const std::string& bytes) {
  const size_t nameEnd = bytes.find('\n');
  const size_t idEnd = nameEnd == std::string::npos ? nameEnd : bytes.find('\n', nameEnd + 1);
  if (idEnd == std::string::npos) {
    return std::nullopt;
  }
  const std::optional<std::string> name = DecodeField(bytes.substr(0, nameEnd));
  const std::optional<std::string> id = DecodeField(bytes.substr(nameEnd + 1, idEnd - nameEnd - 1));
  return name && id ? std::make_optional(PlainItem{*name, *id}) : std::nullopt;
}

// The items that `bytes` are made of, or nothing when there is anything else in them.
inline std::optional<std::vector<PlainItem>> DecodeAll(const std::string& bytes) {
  std::vector<PlainItem> items;
  for (size_t at = 0; at < bytes.size(); at += Encode(items.back()).size()) {
    const std::optional<PlainItem> item = DecodeFirst(bytes.substr(at));
    if (!item) {
      return std::nullopt;
    }
    items.push_back(*item);
  }
  return items;
}

}  // namespace applist_test

#endif
