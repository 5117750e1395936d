// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "common/Log.h"
#include "support/RecordingLog.h"

namespace applist_test {
namespace {

using ::testing::SizeIs;

LogLine TheLine() {
  const std::vector<LogLine> lines = TakeLogLines();
  EXPECT_THAT(lines, SizeIs(1));
  return lines.at(0);
}

TEST(Log, ALineTellsTwiceWhereItWasWritten) {
  TakeLogLines();
  APPLIST_LOG(DLOG_DEBUG, "text");
  const int here = __LINE__ - 1;
  const LogLine line = TheLine();
  EXPECT_EQ(line.logId, LOG_ID_MAIN);
  EXPECT_EQ(line.priority, DLOG_DEBUG);
  EXPECT_EQ(line.tag, "applist");
  EXPECT_EQ(line.format, "%s: %s(%d) > [%s:%d] text\n");
  EXPECT_EQ(line.file, "LogTest.cpp");
  EXPECT_EQ(line.function, "TestBody");
  EXPECT_EQ(line.line, here);
  EXPECT_EQ(line.functionAgain, "TestBody");
  EXPECT_EQ(line.lineAgain, here);
  EXPECT_EQ(line.text, "text");
}

TEST(Log, TheArgumentsOfTheTextFollowThoseOfThePrefix) {
  TakeLogLines();
  const std::string percent = "100%s";
  APPLIST_LOGF(DLOG_ERROR, "number: %d, text: %s", 7, percent.c_str());
  const LogLine line = TheLine();
  EXPECT_EQ(line.priority, DLOG_ERROR);
  EXPECT_EQ(line.format, "%s: %s(%d) > [%s:%d] number: %d, text: %s\n");
  EXPECT_EQ(line.text, "number: 7, text: 100%s");
}

TEST(Log, APriorityIsPassedOn) {
  TakeLogLines();
  APPLIST_LOG(DLOG_INFO, "");
  EXPECT_EQ(TheLine().priority, DLOG_INFO);
}

TEST(Log, TheArgumentsAreEvaluatedOnce) {
  TakeLogLines();
  int count = 0;
  APPLIST_LOGF(DLOG_DEBUG, "%d", ++count);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(TheLine().text, "1");
}

TEST(Log, TheBaseNameIsWhatStandsBehindTheLastSlash) {
  static_assert(*applist::BaseName("/a/b.cpp") == 'b', "known at compile time");
  EXPECT_STREQ(applist::BaseName("b.cpp"), "b.cpp");
  EXPECT_STREQ(applist::BaseName("a/b.cpp"), "b.cpp");
  EXPECT_STREQ(applist::BaseName("/a/long/way/b.cpp"), "b.cpp");
  EXPECT_STREQ(applist::BaseName("a/"), "");
  EXPECT_STREQ(applist::BaseName(""), "");
}

}  // namespace
}  // namespace applist_test
