// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// An item that lets a test watch its getters.
#ifndef APPLIST_TESTS_SUPPORT_TESTITEM_H
#define APPLIST_TESTS_SUPPORT_TESTITEM_H

#include <atomic>
#include <functional>
#include <string>
#include <utility>

#include "AppList.h"

namespace applist_test {

class TestItem : public AppListItem {
 public:
  TestItem(std::string visibleName, std::string uniqueId)
      : name(std::move(visibleName)), id(std::move(uniqueId)) {}

  ~TestItem() override {
    if (destroyed != nullptr) {
      *destroyed = true;
    }
  }

  std::string GetVisibleName() override { return Asked(nameCalls, onGetVisibleName, name); }
  std::string GetUnigueId() override { return Asked(idCalls, onGetUnigueId, id); }

  std::string name;
  std::string id;

  // Called by the getter of the name; may throw.
  std::function<void()> onGetVisibleName;
  std::function<void()> onGetUnigueId;

  // How often each getter was called.
  std::atomic<int> nameCalls{0};
  std::atomic<int> idCalls{0};

  bool* destroyed = nullptr;

 private:
  static const std::string& Asked(std::atomic<int>& calls, const std::function<void()>& callback,
                                  const std::string& answer) {
    calls.fetch_add(1, std::memory_order_relaxed);
    if (callback) {
      callback();
    }
    return answer;
  }
};

}  // namespace applist_test

#endif
