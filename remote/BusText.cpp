// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "BusText.h"

#include <cstddef>

namespace applist {

namespace {

constexpr const char* kDigits = "0123456789abcdef";

unsigned char ByteAt(const std::string& bytes, size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}

// The smallest and the largest second byte, and the length, of a UTF-8 sequence by its first byte.
struct Sequence {
  size_t length;
  unsigned char lowest;
  unsigned char highest;
};

Sequence SequenceFrom(unsigned char first) {
  if (first < 0x80) {
    return {1, 0, 0};
  }
  if (first < 0xC2 || first > 0xF4) {
    return {0, 0, 0};
  }
  if (first < 0xE0) {
    return {2, 0x80, 0xBF};
  }
  if (first < 0xF0) {
    const unsigned char lowest = first == 0xE0 ? 0xA0 : 0x80;
    const unsigned char highest = first == 0xED ? 0x9F : 0xBF;
    return {3, lowest, highest};
  }
  const unsigned char lowest = first == 0xF0 ? 0x90 : 0x80;
  const unsigned char highest = first == 0xF4 ? 0x8F : 0xBF;
  return {4, lowest, highest};
}

// The length of the valid UTF-8 sequence at `at`, or 0 when there is none.
size_t ValidLength(const std::string& bytes, size_t at) {
  const Sequence sequence = SequenceFrom(ByteAt(bytes, at));
  if (sequence.length == 0 || bytes.size() - at < sequence.length) {
    return 0;
  }
  for (size_t k = 1; k < sequence.length; ++k) {
    const unsigned char byte = ByteAt(bytes, at + k);
    const unsigned char lowest = k == 1 ? sequence.lowest : 0x80;
    const unsigned char highest = k == 1 ? sequence.highest : 0xBF;
    if (byte < lowest || byte > highest) {
      return 0;
    }
  }
  return sequence.length;
}

int DigitAt(const std::string& text, size_t at) {
  const char digit = at < text.size() ? text[at] : '\0';
  if (digit >= '0' && digit <= '9') {
    return digit - '0';
  }
  if (digit >= 'a' && digit <= 'f') {
    return digit - 'a' + 10;
  }
  if (digit >= 'A' && digit <= 'F') {
    return digit - 'A' + 10;
  }
  return -1;
}

}  // namespace

std::string ToBusText(const std::string& bytes) {
  std::string text;
  text.reserve(bytes.size());
  for (size_t at = 0; at < bytes.size();) {
    const size_t length = ValidLength(bytes, at);
    if (length == 0 || bytes[at] == '\0') {
      text += "\\x";
      text += kDigits[ByteAt(bytes, at) >> 4];
      text += kDigits[ByteAt(bytes, at) & 0xF];
      ++at;
    } else if (bytes[at] == '\\') {
      text += "\\\\";
      ++at;
    } else {
      text.append(bytes, at, length);
      at += length;
    }
  }
  return text;
}

std::optional<std::string> FromBusText(const std::string& text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '\\') {
      bytes += text[at];
      continue;
    }
    const char kind = at + 1 < text.size() ? text[at + 1] : '\0';
    if (kind == '\\') {
      bytes += '\\';
      at += 1;
    } else if (kind == 'x' && DigitAt(text, at + 2) >= 0 && DigitAt(text, at + 3) >= 0) {
      bytes += static_cast<char>(DigitAt(text, at + 2) * 16 + DigitAt(text, at + 3));
      at += 3;
    } else {
      return std::nullopt;
    }
  }
  return bytes;
}

}  // namespace applist
