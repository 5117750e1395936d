// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "Output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "Failure.h"

namespace {

constexpr uint64_t kMicroseconds = 1000000;

std::string Formatted(const tm& time, const char* format) {
  char text[64];
  return std::string(text, std::strftime(text, sizeof(text), format, &time));
}

std::string Fraction(uint64_t microseconds, int digits) {
  char text[16];
  std::snprintf(text, sizeof(text), "%06u", static_cast<unsigned>(microseconds % kMicroseconds));
  return "." + std::string(text, static_cast<size_t>(digits));
}

bool IsSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

std::string Styled(const char* start, const std::string& text) {
  return WantsColour() ? start + text + "\x1b[0m" : text;
}

}  // namespace

void PrintLine(const std::string& line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
}

void PrintLine(const nlohmann::ordered_json& object) {
  PrintLine(object.dump());
}

void FinishOutput() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw Failure(Status::Refused, std::string("cannot write to standard output: ") +
                                       std::strerror(errno) + "; see where it goes to");
  }
}

bool IsTerminal() {
  return isatty(STDOUT_FILENO) != 0;
}

bool WantsColour() {
  const char* terminal = std::getenv("TERM");
  return IsTerminal() && !IsSet("NO_COLOR") && terminal != nullptr &&
         std::strcmp(terminal, "dumb") != 0;
}

std::string Bold(const std::string& text) {
  return Styled("\x1b[1m", text);
}

std::string Dim(const std::string& text) {
  return Styled("\x1b[2m", text);
}

uint64_t NowMicroseconds() {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<uint64_t>(now.tv_sec) * kMicroseconds +
         static_cast<uint64_t>(now.tv_nsec) / 1000;
}

std::string TimeOfDay(uint64_t microseconds, int digits) {
  const auto seconds = static_cast<time_t>(microseconds / kMicroseconds);
  tm local = {};
  localtime_r(&seconds, &local);
  return Formatted(local, "%H:%M:%S") + Fraction(microseconds, digits);
}

std::string Timestamp(uint64_t microseconds) {
  const auto seconds = static_cast<time_t>(microseconds / kMicroseconds);
  tm utc = {};
  gmtime_r(&seconds, &utc);
  return Formatted(utc, "%Y-%m-%dT%H:%M:%S") + Fraction(microseconds, 6) + "Z";
}
