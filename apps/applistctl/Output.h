// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Standard output.
#ifndef APPLIST_APPLISTCTL_OUTPUT_H
#define APPLIST_APPLISTCTL_OUTPUT_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

// Writes one line. What cannot be written is found by FinishOutput.
void PrintLine(const std::string& line);
void PrintLine(const nlohmann::ordered_json& object);

// Writes out what was printed. Throws Failure when it could not all be written.
void FinishOutput();

// Whether standard output is a terminal, and whether it is one that colour is wanted on: not with
// NO_COLOR, and not on a terminal that has none.
bool IsTerminal();
bool WantsColour();

// The text in bold, or dim, where colour is wanted.
std::string Bold(const std::string& text);
std::string Dim(const std::string& text);

// Microseconds since 1970, and that time as it is shown: the local time of the day for people, with
// so many digits behind the second, or date and time in UTC for programs.
uint64_t NowMicroseconds();
std::string TimeOfDay(uint64_t microseconds, int digits);
std::string Timestamp(uint64_t microseconds);

#endif
