// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Names and identifiers as D-Bus strings, which hold only UTF-8 without zero bytes.
#ifndef APPLIST_BUSTEXT_H
#define APPLIST_BUSTEXT_H

#include <optional>
#include <string>

namespace applist {

// Any bytes as a D-Bus string: a backslash as two, a zero byte and each byte that is not part of
// valid UTF-8 as \xNN.
std::string ToBusText(const std::string& bytes);

// The bytes that a D-Bus string stands for; nothing when a backslash in it is followed by anything
// but a backslash or x and two hexadecimal digits.
std::optional<std::string> FromBusText(const std::string& text);

}  // namespace applist

#endif
