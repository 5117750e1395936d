// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Tells the second click of a double click from one that means to start something again.
#ifndef APPLIST_APPLISTD_REPEATEDCLICKS_H
#define APPLIST_APPLISTD_REPEATEDCLICKS_H

#include <chrono>
#include <iterator>
#include <map>
#include <string>

class RepeatedClicks {
 public:
  using Clock = std::chrono::steady_clock;

  // How long after a start a click on the same item does not start it again.
  static constexpr std::chrono::milliseconds kWindow{500};

  // Whether a click at `now` repeats an earlier one. If not, it opens the window anew. `now` must
  // not go backwards from call to call.
  bool IsRepeat(const std::string& id, Clock::time_point now) {
    for (auto start = m_starts.begin(); start != m_starts.end();) {
      start = now - start->second < kWindow ? std::next(start) : m_starts.erase(start);
    }
    return !m_starts.emplace(id, now).second;
  }

 private:
  // When what was started in the last half second was started.
  std::map<std::string, Clock::time_point> m_starts;
};

#endif
