// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "RepeatedClicks.h"

namespace applist_test {
namespace {

using std::chrono::milliseconds;

class RepeatedClicksTest : public ::testing::Test {
 protected:
  bool IsRepeat(const char* id, int time) {
    return m_clicks.IsRepeat(id, RepeatedClicks::Clock::time_point(milliseconds(time)));
  }

 private:
  RepeatedClicks m_clicks;
};

TEST_F(RepeatedClicksTest, AClickWithinTheWindowIsARepeat) {
  EXPECT_FALSE(IsRepeat("a", 1000));
  EXPECT_TRUE(IsRepeat("a", 1000));
  EXPECT_TRUE(IsRepeat("a", 1499));
  EXPECT_FALSE(IsRepeat("a", 1500));
}

TEST_F(RepeatedClicksTest, ARepeatDoesNotMoveTheWindow) {
  EXPECT_FALSE(IsRepeat("a", 0));
  EXPECT_TRUE(IsRepeat("a", 400));
  EXPECT_FALSE(IsRepeat("a", 800));
  EXPECT_TRUE(IsRepeat("a", 1200));
}

TEST_F(RepeatedClicksTest, EachItemHasAWindowOfItsOwn) {
  EXPECT_FALSE(IsRepeat("a", 0));
  EXPECT_FALSE(IsRepeat("b", 100));
  EXPECT_TRUE(IsRepeat("a", 499));
  EXPECT_FALSE(IsRepeat("a", 550));
  EXPECT_TRUE(IsRepeat("b", 599));
  EXPECT_FALSE(IsRepeat("b", 600));
}

}  // namespace
}  // namespace applist_test
