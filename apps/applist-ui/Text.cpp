// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "Text.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cwchar>

namespace applist_ui {

namespace {

constexpr wchar_t kReplacement = 0xFFFD;
constexpr wchar_t kDottedCircle = 0x25CC;
constexpr wchar_t kEllipsis = 0x2026;
// More marks on one character than this are dropped: curses keeps no more in a cell.
constexpr int kMostMarks = 4;

struct Range {
  wchar_t first;
  wchar_t last;
};

// What turns the direction of text, and what ends a line or a paragraph for some.
constexpr Range kActing[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0x061C, 0x061C},
                             {0x200E, 0x200F}, {0x2028, 0x202E}, {0x2066, 0x2069}};
// What joins or varies its neighbours, and what nobody sees.
constexpr Range kJoining[] = {{0x034F, 0x034F},  {0x200B, 0x200D}, {0x2060, 0x2064},
                              {0xFE00, 0xFE0F},  {0xFEFF, 0xFEFF}, {0x1F3FB, 0x1F3FF},
                              {0xE0000, 0xE0FFF}};

template <size_t N>
bool IsIn(const Range (&ranges)[N], wchar_t c) {
  return std::any_of(std::begin(ranges), std::end(ranges),
                     [c](const Range& range) { return c >= range.first && c <= range.last; });
}

std::wstring Escape(wchar_t c) {
  wchar_t text[16];
  const int length = std::swprintf(text, std::size(text), c < 0x100 ? L"\\x%02x" : L"\\u%04x",
                                   static_cast<unsigned>(c));
  return std::wstring(text, static_cast<size_t>(std::max(length, 0)));
}

int WidthOf(wchar_t c) {
  return std::max(wcwidth(c), 0);
}

wchar_t OrAscii(wchar_t c, wchar_t ascii) {
  return IsInCharset(c) ? c : ascii;
}

// The length of the character at `at` by its first byte, 0 where that cannot be one.
size_t LengthFrom(unsigned char first) {
  if (first < 0x80) {
    return 1;
  }
  if (first < 0xC2 || first > 0xF4) {
    return 0;
  }
  return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

bool IsCharacter(uint32_t code, size_t length) {
  constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  return code >= kSmallest[length] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

// Reads the character at `at` and moves on behind it.
wchar_t Next(const std::string& bytes, size_t& at) {
  const auto byte = [&](size_t k) { return static_cast<unsigned char>(bytes[k]); };
  const size_t start = at++;
  const size_t length = LengthFrom(byte(start));
  if (length == 0 || bytes.size() - start < length) {
    return kReplacement;
  }
  uint32_t code = length == 1 ? byte(start) : byte(start) & (0x7Fu >> length);
  for (size_t k = start + 1; k < start + length; ++k) {
    if ((byte(k) & 0xC0u) != 0x80) {
      return kReplacement;
    }
    code = code << 6 | (byte(k) & 0x3Fu);
  }
  if (!IsCharacter(code, length)) {
    return kReplacement;
  }
  at = start + length;
  return static_cast<wchar_t>(code);
}

// Where to break a text that is too long: at the last blank that fits, or else within the word.
// Always behind one character at least.
size_t EndOfPiece(const std::wstring& text, size_t start, int cells) {
  size_t end = start;
  for (int used = WidthOf(text[start]); used <= cells; used += WidthOf(text[end])) {
    ++end;
  }
  const size_t blank = text.rfind(L' ', end);
  const size_t word = text.find_first_not_of(L' ', start);
  return blank != std::wstring::npos && blank > word ? blank : std::max(end, start + 1);
}

}  // namespace

bool IsInCharset(wchar_t character) {
  char bytes[MB_LEN_MAX];
  std::mbstate_t state = {};
  return std::wcrtomb(bytes, character, &state) != static_cast<size_t>(-1);
}

std::wstring Decode(const std::string& bytes) {
  std::wstring text;
  for (size_t at = 0; at < bytes.size();) {
    text += Next(bytes, at);
  }
  return text;
}

std::string Encode(const std::wstring& text) {
  std::string bytes;
  for (const wchar_t c : text) {
    const char32_t code = static_cast<char32_t>(c);
    const auto tail = [&](int shift) { bytes += static_cast<char>(0x80 | (code >> shift & 0x3F)); };
    if (code < 0x80) {
      bytes += static_cast<char>(code);
    } else if (code < 0x800) {
      bytes += static_cast<char>(0xC0 | code >> 6);
      tail(0);
    } else if (code < 0x10000) {
      bytes += static_cast<char>(0xE0 | code >> 12);
      tail(6);
      tail(0);
    } else {
      bytes += static_cast<char>(0xF0 | code >> 18);
      tail(12);
      tail(6);
      tail(0);
    }
  }
  return bytes;
}

std::wstring Printable(const std::wstring& text) {
  std::wstring shown;
  int marks = kMostMarks;  // none without a character to carry them
  for (const wchar_t c : text) {
    if (IsIn(kActing, c)) {
      shown += Escape(c);
      marks = 0;
    } else if (IsIn(kJoining, c)) {
      continue;
    } else if (!IsInCharset(c) || wcwidth(c) < 0) {
      shown += L'?';
      marks = 0;
    } else if (WidthOf(c) > 0) {
      shown += c;
      marks = 0;
    } else if (shown.empty()) {
      shown += {OrAscii(kDottedCircle, L'?'), c};
      marks = 1;
    } else if (marks++ < kMostMarks) {
      shown += c;
    }
  }
  return shown;
}

int CellsOf(const std::wstring& text) {
  int cells = 0;
  for (const wchar_t c : text) {
    cells += WidthOf(c);
  }
  return cells;
}

std::wstring FirstCells(const std::wstring& text, int cells) {
  if (CellsOf(text) <= cells) {
    return text;
  }
  if (cells <= 0) {
    return std::wstring();
  }
  int used = 1;
  size_t end = 0;
  while (used + WidthOf(text[end]) <= cells) {
    used += WidthOf(text[end++]);
  }
  return text.substr(0, end) + OrAscii(kEllipsis, L'~');
}

std::wstring LastCells(const std::wstring& text, int cells) {
  int used = 0;
  size_t start = text.size();
  while (start > 0 && used + WidthOf(text[start - 1]) <= cells) {
    used += WidthOf(text[--start]);
  }
  while (start > 0 && start < text.size() && WidthOf(text[start]) == 0) {
    ++start;
  }
  return text.substr(start);
}

std::vector<std::wstring> Wrapped(const std::wstring& text, int cells) {
  std::vector<std::wstring> pieces;
  size_t start = 0;
  while (CellsOf(text.substr(start)) > cells && cells > 0) {
    const size_t end = EndOfPiece(text, start, cells);
    pieces.push_back(text.substr(start, end - start));
    start = text.find_first_not_of(L' ', end);
    start = std::min(start, text.size());
  }
  if (start < text.size() || pieces.empty()) {
    pieces.push_back(text.substr(start));
  }
  return pieces;
}

}  // namespace applist_ui
