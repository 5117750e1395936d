// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "BusText.h"
#include "support/Seed.h"

namespace {

using applist::FromBusText;
using applist::ToBusText;

// A string with its zero bytes.
template <size_t Size>
std::string Bytes(const char (&bytes)[Size]) {
  return std::string(bytes, Size - 1);
}

std::string WithBackslashesTwice(const std::string& text) {
  std::string result;
  for (const char byte : text) {
    result.append(byte == '\\' ? 2 : 1, byte);
  }
  return result;
}

TEST(BusTextTest, PlainTextStandsForItself) {
  for (const char* text : {"", "mail", "two words", "line\nfeed\ttab\x01\x7F", "'\"%s"}) {
    EXPECT_EQ(ToBusText(text), text);
    EXPECT_EQ(FromBusText(text), text);
  }
}

TEST(BusTextTest, ValidUtf8StandsForItself) {
  for (const char* text :
       {"\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBF",
        "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF", "a\xC3\xA4z\xE2\x82\xAC"}) {
    EXPECT_EQ(ToBusText(text), text);
    EXPECT_EQ(FromBusText(text), text);
  }
}

TEST(BusTextTest, ABackslashIsWrittenTwice) {
  EXPECT_EQ(ToBusText("a\\b\\\\x41"), "a\\\\b\\\\\\\\x41");
  EXPECT_EQ(FromBusText("a\\\\b\\\\\\\\x41"), "a\\b\\\\x41");
}

TEST(BusTextTest, AZeroByteIsWrittenAsItsNumber) {
  EXPECT_EQ(ToBusText(Bytes("a\0b\0")), "a\\x00b\\x00");
  EXPECT_EQ(FromBusText("a\\x00b\\x00"), Bytes("a\0b\0"));
}

TEST(BusTextTest, BytesThatAreNotUtf8AreWrittenOneByOne) {
  EXPECT_EQ(ToBusText("\xFF"), "\\xff");
  EXPECT_EQ(ToBusText("\x80z"), "\\x80z") << "a second byte without a first";
  EXPECT_EQ(ToBusText("\xC3"), "\\xc3") << "cut short";
  EXPECT_EQ(ToBusText("\xE2\x82"), "\\xe2\\x82");
  EXPECT_EQ(ToBusText("\xF0\x9F\x98"), "\\xf0\\x9f\\x98");
  EXPECT_EQ(ToBusText("\xC3\x28"), "\\xc3(");
  EXPECT_EQ(ToBusText("\xE2\x28\xA1"), "\\xe2(\\xa1");
  EXPECT_EQ(ToBusText("\xF0\x90\x80\x28"), "\\xf0\\x90\\x80(");
}

TEST(BusTextTest, WhatUtf8ForbidsIsWrittenOneByOne) {
  EXPECT_EQ(ToBusText("\xC0\x80"), "\\xc0\\x80") << "two bytes for a zero";
  EXPECT_EQ(ToBusText("\xC1\xBF"), "\\xc1\\xbf");
  EXPECT_EQ(ToBusText("\xE0\x9F\xBF"), "\\xe0\\x9f\\xbf") << "three bytes where two do";
  EXPECT_EQ(ToBusText("\xED\xA0\x80"), "\\xed\\xa0\\x80") << "half of a surrogate pair";
  EXPECT_EQ(ToBusText("\xF0\x8F\xBF\xBF"), "\\xf0\\x8f\\xbf\\xbf") << "four bytes where three do";
  EXPECT_EQ(ToBusText("\xF4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80") << "behind the last character";
  EXPECT_EQ(ToBusText("\xF5\x80\x80\x80"), "\\xf5\\x80\\x80\\x80");
}

TEST(BusTextTest, ValidTextAroundAnOddByteStaysAsItIs) {
  EXPECT_EQ(ToBusText("\xC3\xA4\xC3\xC3\xA4"), "\xC3\xA4\\xc3\xC3\xA4");
}

TEST(BusTextTest, DigitsOfEitherCaseAreRead) {
  EXPECT_EQ(FromBusText("\\xfF\\xAb\\x41\\x5c"), "\xFF\xAB\x41\\");
}

TEST(BusTextTest, MalformedEscapesAreRefused) {
  for (const char* text : {"\\", "a\\", "\\\\\\", "\\n", "\\0", "\\X41", "\\x", "\\x4", "\\x4g",
                           "\\xg4", "\\x 4", "\\x-1", "\\x+1", "fine\\xzz"}) {
    EXPECT_EQ(FromBusText(text), std::nullopt) << text;
  }
}

TEST(BusTextTest, AZeroByteInAnEscapeIsMalformed) {
  EXPECT_EQ(FromBusText(Bytes("\\\0")), std::nullopt);
  EXPECT_EQ(FromBusText(Bytes("\\x4\0")), std::nullopt);
}

TEST(BusTextTest, EveryByteComesBack) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) {
    const std::string one(1, static_cast<char>(byte));
    EXPECT_EQ(FromBusText(ToBusText(one)), one) << byte;
    all += one;
  }
  EXPECT_EQ(FromBusText(ToBusText(all)), all);
}

// Few kinds of bytes, so that whole and broken sequences are frequent.
TEST(BusTextTest, AnyBytesComeBackAndAreFreeOfZeroBytes) {
  std::mt19937 random(applist_test::Seed());
  const std::string kinds = Bytes("\0\\xa4\n\x80\x9F\xA0\xBF\xC3\xE0\xE2\xED\xF0\xF4\xFF");
  std::uniform_int_distribution<size_t> kind(0, kinds.size() - 1);
  std::uniform_int_distribution<size_t> length(0, 12);
  for (int round = 0; round < 20000; ++round) {
    std::string bytes;
    for (size_t count = length(random); count > 0; --count) {
      bytes += kinds[kind(random)];
    }
    const std::string text = ToBusText(bytes);
    ASSERT_EQ(text.find('\0'), std::string::npos);
    ASSERT_EQ(FromBusText(text), bytes);
    ASSERT_EQ(ToBusText(text), WithBackslashesTwice(text)) << "the text is not valid UTF-8";
  }
}

}  // namespace
