// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "FrameText.h"

namespace {

using testing::HasSubstr;

std::string Hex(const std::string& text) {
  return BytesFromHex(text);
}

std::string WhyNoHex(const std::string& text) {
  try {
    BytesFromHex(text);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "";
}

TEST(BytesFromHexTest, TakesEveryUsualForm) {
  const std::string bytes = "M\n\xD4\x07";
  for (const char* text :
       {"4d0ad407", "4D 0A D4 07", "4d:0a:d4:07", "0x4d, 0x0a, 0xD4, 0X07", "\\x4d\\x0a\\xd4\\x07",
        "4d-0a-d4-07", " 4d0a\n\td407\r\n", "0x4d0ad407"}) {
    EXPECT_EQ(Hex(text), bytes) << text;
  }
  EXPECT_EQ(Hex(""), "");
  EXPECT_EQ(Hex(" : "), "");
  EXPECT_EQ(Hex("00"), std::string(1, '\0'));
}

TEST(BytesFromHexTest, SaysWhatIsWrongAndWhere) {
  EXPECT_EQ(WhyNoHex("4d zz"), "character 4 is no hexadecimal digit");
  EXPECT_EQ(WhyNoHex("\\4d"), "character 1 is no hexadecimal digit");
  EXPECT_EQ(WhyNoHex("4d 0"), "byte 2 has one hexadecimal digit instead of two");
  EXPECT_EQ(WhyNoHex("4 d"), "byte 1 has one hexadecimal digit instead of two");
  EXPECT_EQ(WhyNoHex("4dg"), "character 3 is no hexadecimal digit");
}

TEST(DecodePayloadTest, ReadsItems) {
  DecodedBytes decoded = DecodePayload("Mail\nmail\nW\\nb\nw\\\\b\n");
  EXPECT_EQ(decoded.trouble, "");
  EXPECT_FALSE(decoded.identifier);
  ASSERT_EQ(decoded.items.size(), 2u);
  EXPECT_EQ(decoded.items[0].GetVisibleName(), "Mail");
  EXPECT_EQ(decoded.items[0].GetUnigueId(), "mail");
  EXPECT_EQ(decoded.items[1].GetVisibleName(), "W\nb");
  EXPECT_EQ(decoded.items[1].GetUnigueId(), "w\\b");
}

TEST(DecodePayloadTest, NoBytesAreTheEmptyList) {
  const DecodedBytes decoded = DecodePayload("");
  EXPECT_EQ(decoded.trouble, "");
  EXPECT_TRUE(decoded.items.empty());
}

TEST(DecodePayloadTest, SaysWhereItIsMalformed) {
  const auto trouble = [](const std::string& bytes) { return DecodePayload(bytes).trouble; };
  EXPECT_THAT(trouble("M\nm"), HasSubstr("at offset 3, the bytes end in the identifier"));
  EXPECT_THAT(trouble("M\n"), HasSubstr("at offset 2, the bytes end in the identifier"));
  EXPECT_THAT(trouble("M"), HasSubstr("at offset 1, the bytes end in the name"));
  EXPECT_THAT(trouble("\\t\nm\n"), HasSubstr("at offset 0, a backslash"));
  EXPECT_THAT(trouble("M\\\nm\n"), HasSubstr("at offset 1, a backslash"));
  EXPECT_THAT(trouble("M\\\\\\"), HasSubstr("at offset 3, a backslash"));
  EXPECT_THAT(trouble("M\nm\nW"), HasSubstr("at offset 5, the bytes end in the name"));
  EXPECT_EQ(DecodePayload("M\nm\nW").items.size(), 1u);
}

TEST(DecodeFrameTest, TheIdentifierIsBehindThePayload) {
  const DecodedBytes decoded = DecodeFrame(Hex("4d 0a 6d 0a d0 07 00 00"));
  EXPECT_EQ(decoded.identifier, 2000);
  EXPECT_EQ(decoded.items.size(), 1u);
  EXPECT_EQ(decoded.trouble, "");
  EXPECT_EQ(DecodeFrame(Hex("fe ff ff ff")).identifier, -2);
}

TEST(DecodeFrameTest, SaysWhatAReceiverWouldRefuse) {
  const auto trouble = [](const std::string& hex) { return DecodeFrame(Hex(hex)).trouble; };
  EXPECT_EQ(trouble("d3 07 00"), "3 bytes cannot hold the four of an identifier");
  EXPECT_EQ(trouble("d9 07 00 00"), "there is no message 2009");
  EXPECT_EQ(trouble("d0 07 00 00"), "APPLIST_SET_SELECTION_FNC takes 1 item, and here are 0");
  EXPECT_EQ(trouble("4d 0a 6d 0a d8 07 00 00"),
            "APPLIST_MODIFY_ITEM_FNC takes 2 items, and here is 1");
  EXPECT_EQ(trouble("d4 07 00 00"), "APPLIST_ADD_ITEMS_FNC takes 1 or more items, and here are 0");
  EXPECT_EQ(trouble("4d 0a 6d 0a d3 07 00 00"),
            "APPLIST_REMOVE_ALL_ITEMS_FNC takes 0 items, and here is 1");
  EXPECT_THAT(trouble("00 d3 07 00 00"), HasSubstr("at offset 1"));
  EXPECT_EQ(trouble("04 00 00 00"), "");
}

TEST(DecodeFrameOrPayloadTest, TellsThemApart) {
  EXPECT_EQ(DecodeFrameOrPayload("M\nm\n").identifier, std::nullopt);
  EXPECT_EQ(DecodeFrameOrPayload(Hex("04 00 00 00")).identifier, 4);
  EXPECT_EQ(DecodeFrameOrPayload(Hex("4d 0a 6d 0a d0 07 00 00")).identifier, 2000);
  EXPECT_THAT(DecodeFrameOrPayload(Hex("d9 07 00 00")).trouble,
              HasSubstr("as a frame: there is no message 2009"));
}

TEST(MessageTextTest, NameAndNumber) {
  EXPECT_EQ(MessageText(1), "APPLIST_ITEM_CHANGE_EVENT (1)");
  EXPECT_EQ(MessageText(2008), "APPLIST_MODIFY_ITEM_FNC (2008)");
  EXPECT_EQ(MessageText(7), "unknown message (7)");
  EXPECT_EQ(MessageName(4), "APPLIST_LOCAL_CREATED_EVENT");
  EXPECT_TRUE(MessageName(7).is_null());
}

}  // namespace
