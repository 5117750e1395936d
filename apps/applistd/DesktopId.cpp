// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "DesktopId.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr const char kSuffix[] = ".desktop";
constexpr size_t kSuffixLength = sizeof(kSuffix) - 1;
// As long as a file name can be.
constexpr size_t kLongest = 255;

bool IsRefused(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F || byte == '/';
}

}  // namespace

bool IsDesktopId(const std::string& id) {
  return id.size() > kSuffixLength && id.size() <= kLongest && id.front() != '-' &&
         id.front() != '.' && id.compare(id.size() - kSuffixLength, kSuffixLength, kSuffix) == 0 &&
         std::none_of(id.begin(), id.end(), IsRefused);
}
