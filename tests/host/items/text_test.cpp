#include "items/text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using host::CopyCut;
using host::IsPlainText;

std::string Cut(std::string_view text, std::size_t size) {
  std::string buffer(size, '#');
  CopyCut(text, buffer.data(), size);
  return buffer.c_str();
}

TEST(Text, ATextThatFitsIsCopiedWhole) {
  EXPECT_EQ(Cut("abc", 4), "abc");
  EXPECT_EQ(Cut("", 1), "");
}

TEST(Text, ALongTextIsCutToTheBuffer) {
  EXPECT_EQ(Cut("abcd", 4), "abc");
  EXPECT_EQ(Cut("abcd", 1), "");
}

TEST(Text, ACutNeverSplitsACharacter) {
  EXPECT_EQ(Cut("a\u00e9\u00e9", 5), "a\u00e9");
  EXPECT_EQ(Cut("a\u00e9\u00e9", 4), "a\u00e9");
  EXPECT_EQ(Cut("\u97f3\u97f3", 6), "\u97f3");
  EXPECT_EQ(Cut("\u97f3\u97f3", 7), "\u97f3\u97f3");
  EXPECT_EQ(Cut("\U0001F50A", 4), "");
}

TEST(Text, PlainTextIsUtf8WithoutControlCharacters) {
  for (const char* text :
       {"", "Auto Power Off", "Fran\u00e7ais", "\ud55c\uad6d\uc5b4", "\U0001F50A", "\u00a0"}) {
    EXPECT_TRUE(IsPlainText(text)) << text;
  }
}

TEST(Text, WhatIsNotPlainTextIsFound) {
  for (const std::string_view text :
       {std::string_view("\0", 1), std::string_view("a\nb"), std::string_view("\x7f"),
        std::string_view("\xc2\x80"),             // a control character of two bytes
        std::string_view("\xff"),                 // no first byte
        std::string_view("\x80"),                 // a continuation without a first byte
        std::string_view("\xc3"),                 // a character that breaks off
        std::string_view("\xc3z"),                // a continuation that is none
        std::string_view("\xc1\xa1"),             // longer than need be
        std::string_view("\xe0\x82\xa1"),         // longer than need be
        std::string_view("\xed\xa0\x80"),         // half of a surrogate pair
        std::string_view("\xf5\x80\x80\x80")}) {  // beyond the last character
    EXPECT_FALSE(IsPlainText(text)) << testing::PrintToString(text);
  }
}

}  // namespace
