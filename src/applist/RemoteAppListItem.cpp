// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "applist/RemoteAppListItem.h"

#include <utility>

namespace {

void AppendField(std::string& encoding, const std::string& text) {
  if (text.find('\\') == std::string::npos && text.find('\n') == std::string::npos) {
    encoding += text;
  } else {
    for (const char byte : text) {
      if (byte == '\\') {
        encoding += "\\\\";
      } else if (byte == '\n') {
        encoding += "\\n";
      } else {
        encoding += byte;
      }
    }
  }
  encoding += '\n';
}

// Turns the bytes of a field, without its line feed, back into the text that they stand for.
// Returns false at a malformed escape.
bool DecodeField(std::string& field) {
  size_t end = field.find('\\');
  if (end == std::string::npos) {
    return true;
  }
  for (size_t at = end; at < field.size(); ++at) {
    char byte = field[at];
    if (byte == '\\') {
      ++at;
      if (at == field.size() || (field[at] != '\\' && field[at] != 'n')) {
        return false;
      }
      byte = field[at] == 'n' ? '\n' : '\\';
    }
    field[end++] = byte;
  }
  field.resize(end);
  return true;
}

// Reads one field and the line feed that ends it. An end of data before the line feed is a failure
// as well: std::getline alone would take what it has got for a whole line.
bool ReadField(std::istream& in, std::string& field) {
  if (!std::getline(in, field)) {
    return false;
  }
  if (in.eof() || !DecodeField(field)) {
    in.setstate(std::ios_base::failbit);
    return false;
  }
  return true;
}

}  // namespace

RemoteAppListItem::RemoteAppListItem(AppListItem& item)
    : m_visibleName(item.GetVisibleName()), m_uniqueId(item.GetUnigueId()) {}

std::string RemoteAppListItem::GetVisibleName() {
  return m_visibleName;
}

std::string RemoteAppListItem::GetUnigueId() {
  return m_uniqueId;
}

std::ostream& operator<<(std::ostream& out, const RemoteAppListItem& item) {
  std::string encoding;
  encoding.reserve(item.m_visibleName.size() + item.m_uniqueId.size() + 2);
  AppendField(encoding, item.m_visibleName);
  AppendField(encoding, item.m_uniqueId);
  return out.write(encoding.data(), static_cast<std::streamsize>(encoding.size()));
}

std::istream& operator>>(std::istream& in, RemoteAppListItem& item) {
  std::string visibleName;
  std::string uniqueId;
  if (ReadField(in, visibleName) && ReadField(in, uniqueId)) {
    item.m_visibleName = std::move(visibleName);
    item.m_uniqueId = std::move(uniqueId);
  }
  return in;
}
