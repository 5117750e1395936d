// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Any bytes as a D-Bus string, and any bytes read back as one.
#include <array>
#include <optional>
#include <string>

#include "BusText.h"
#include "fuzz/Fuzz.h"

using applist::FromBusText;
using applist::ToBusText;
using applist_fuzz::Expect;

namespace {

// The least character that needs so many bytes.
constexpr std::array<unsigned, 5> kLeast = {0, 0x01, 0x80, 0x800, 0x10000};

// How many bytes the character at `at` has, or 0 when a D-Bus string may not hold it there.
size_t CharacterAt(const std::string& text, size_t at) {
  unsigned code = static_cast<unsigned char>(text[at]);
  size_t length = 1;
  if (code >= 0x80) {
    length = code < 0xC0 ? 0 : code < 0xE0 ? 2 : code < 0xF0 ? 3 : code < 0xF8 ? 4 : 0;
    code &= 0x7FU >> length;
  }
  for (size_t k = 1; k < length; ++k) {
    const unsigned byte = at + k < text.size() ? static_cast<unsigned char>(text[at + k]) : 0;
    if ((byte & 0xC0U) != 0x80) {
      return 0;
    }
    code = code << 6 | (byte & 0x3FU);
  }
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  return code < kLeast.at(length) || code > 0x10FFFF || surrogate ? 0 : length;
}

bool IsBusString(const std::string& text) {
  size_t at = 0;
  while (at < text.size()) {
    const size_t length = CharacterAt(text, at);
    if (length == 0) {
      return false;
    }
    at += length;
  }
  return true;
}

void ExpectRoundTrip(const std::string& bytes) {
  const std::string text = ToBusText(bytes);
  Expect(IsBusString(text), "the text is valid UTF-8 without zero bytes");
  Expect(FromBusText(text) == bytes, "the bytes come back");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes = applist_fuzz::Text(data, size);
  const bool plain = bytes.find('\\') == std::string::npos;
  ExpectRoundTrip(bytes);
  Expect((ToBusText(bytes) == bytes) == (plain && IsBusString(bytes)),
         "what may stand for itself does, and nothing else");
  const std::optional<std::string> read = FromBusText(bytes);
  Expect(!plain || read == bytes, "text without a backslash stands for itself");
  if (read) {
    ExpectRoundTrip(*read);
  }
  return 0;
}
