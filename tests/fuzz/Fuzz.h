// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What the fuzz targets share. A target is a program that defines LLVMFuzzerTestOneInput and ends
// with Expect where the code under test does something else than it should.
#ifndef APPLIST_TESTS_FUZZ_FUZZ_H
#define APPLIST_TESTS_FUZZ_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// Runs the target on one input.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace applist_fuzz {

// Ends the program with `sentence` unless it holds.
inline void Expect(bool holds, const char* sentence) {
  if (!holds) {
    std::fprintf(stderr, "This does not hold: %s\n", sentence);
    std::abort();
  }
}

inline std::string Text(const uint8_t* data, size_t size) {
  return std::string(reinterpret_cast<const char*>(data), size);
}

// An input that is cut into pieces from the front.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : m_bytes(Text(data, size)) {}

  bool IsEmpty() const { return m_at == m_bytes.size(); }

  // The next byte, or 0 behind the last one.
  unsigned Byte() { return IsEmpty() ? 0 : static_cast<unsigned char>(m_bytes[m_at++]); }

  // A byte that says how many bytes follow, and these, or as many as there are.
  std::string Piece() {
    const size_t length = Byte();
    std::string piece = m_bytes.substr(m_at, length);
    m_at += piece.size();
    return piece;
  }

 private:
  std::string m_bytes;
  size_t m_at = 0;
};

}  // namespace applist_fuzz

#endif
