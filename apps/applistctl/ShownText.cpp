// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "ShownText.h"

#include <algorithm>
#include <cwchar>

#include "BusText.h"

namespace {

struct Character {
  char32_t code;
  size_t size;
};

// The character at `at` of valid UTF-8.
Character CharacterAt(const std::string& text, size_t at) {
  const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[at + k]); };
  const unsigned char first = byte(0);
  if (first < 0x80) {
    return {first, 1};
  }
  const size_t size = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  char32_t code = first & (0x7Fu >> size);
  for (size_t k = 1; k < size; ++k) {
    code = code << 6 | (byte(k) & 0x3Fu);
  }
  return {code, size};
}

// Whether a character acts on the terminal, ends a line for some reader, or turns the direction of
// the text behind it, instead of showing itself.
bool IsControl(char32_t code) {
  return code < 0x20 || (code >= 0x7F && code <= 0x9F) || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

void AppendEscaped(std::string& shown, const std::string& text, size_t at, size_t size) {
  constexpr const char* kDigits = "0123456789abcdef";
  for (size_t k = at; k < at + size; ++k) {
    const auto byte = static_cast<unsigned char>(text[k]);
    shown += "\\x";
    shown += kDigits[byte >> 4];
    shown += kDigits[byte & 0xF];
  }
}

// Valid UTF-8 with its control characters as escapes.
std::string WithoutControl(const std::string& text) {
  std::string shown;
  shown.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    const Character character = CharacterAt(text, at);
    if (IsControl(character.code)) {
      AppendEscaped(shown, text, at, character.size);
    } else {
      shown.append(text, at, character.size);
    }
    at += character.size;
  }
  return shown;
}

}  // namespace

std::string Shown(const std::string& bytes) {
  return WithoutControl(applist::ToBusText(bytes));
}

// The backslashes are kept out of what would double them.
std::string Harmless(const std::string& text) {
  std::string harmless;
  for (size_t at = 0; at <= text.size();) {
    const size_t end = std::min(text.find('\\', at), text.size());
    harmless += Shown(text.substr(at, end - at));
    if (end < text.size()) {
      harmless += '\\';
    }
    at = end + 1;
  }
  return harmless;
}

size_t Width(const std::string& shown) {
  size_t width = 0;
  for (size_t at = 0; at < shown.size();) {
    const Character character = CharacterAt(shown, at);
    // A character that the system does not know takes one column, as most terminals have it.
    const int columns = wcwidth(static_cast<wchar_t>(character.code));
    width += columns < 0 ? 1 : static_cast<size_t>(columns);
    at += character.size;
  }
  return width;
}

std::vector<std::string> Aligned(const std::vector<std::vector<std::string>>& rows) {
  std::vector<size_t> widths;
  for (const std::vector<std::string>& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t column = 0; column < row.size(); ++column) {
      const size_t width = Width(row[column]);
      widths[column] = std::max(widths[column], width > kWidestColumn ? 0 : width);
    }
  }
  std::vector<std::string> lines;
  lines.reserve(rows.size());
  for (const std::vector<std::string>& row : rows) {
    std::string& line = lines.emplace_back();
    for (size_t column = 0; column < row.size(); ++column) {
      line += row[column];
      if (column + 1 < row.size()) {
        const size_t width = Width(row[column]);
        line.append(std::max(widths[column], width) - width + 2, ' ');
      }
    }
  }
  return lines;
}
