#include "system/utf8.h"

#include <gtest/gtest.h>

namespace {

using host::CutSize;
using host::OneLine;
using host::PrintableCharacterSize;
using host::Utf8CharacterSize;
using host::ValidUtf8;

TEST(Utf8, TheSizeOfACharacterIsKnownAtEachEndOfEachRange) {
  EXPECT_EQ(Utf8CharacterSize(std::string_view("\0", 1)), 1u);
  EXPECT_EQ(Utf8CharacterSize("\x7F"), 1u);
  EXPECT_EQ(Utf8CharacterSize("\xC2\x80"), 2u);
  EXPECT_EQ(Utf8CharacterSize("\xDF\xBF"), 2u);
  EXPECT_EQ(Utf8CharacterSize("\xE0\xA0\x80"), 3u);
  EXPECT_EQ(Utf8CharacterSize("\xED\x9F\xBF"), 3u);
  EXPECT_EQ(Utf8CharacterSize("\xEE\x80\x80"), 3u);
  EXPECT_EQ(Utf8CharacterSize("\xEF\xBF\xBF"), 3u);
  EXPECT_EQ(Utf8CharacterSize("\xF0\x90\x80\x80"), 4u);
  EXPECT_EQ(Utf8CharacterSize("\xF4\x8F\xBF\xBF"), 4u);
  EXPECT_EQ(Utf8CharacterSize("\xC3\xA4 and more"), 2u);
}

TEST(Utf8, WhatIsNoCharacterHasNoSize) {
  for (const char* text : {
           "\x80",              // the rest of a character
           "\xC0\x80",          // overlong
           "\xC1\xBF",          // overlong
           "\xE0\x9F\xBF",      // overlong
           "\xF0\x8F\xBF\xBF",  // overlong
           "\xED\xA0\x80",      // half a surrogate pair
           "\xED\xBF\xBF",      // the other half
           "\xF4\x90\x80\x80",  // beyond the last character
           "\xF5\x80\x80\x80",  // far beyond
           "\xFF",              // never used
           "\xC3",              // cut
           "\xE2\x82",          // cut
           "\xF0\x9F\x98",      // cut
           "\xC3z",             // no rest
           "\xE2\x82z",         // half a rest
           "\xF0\x9F\x98z",     // not enough of a rest
       }) {
    EXPECT_EQ(Utf8CharacterSize(text), 0u) << testing::PrintToString(text);
  }
}

TEST(Utf8, AControlCharacterIsNotPrintable) {
  for (const char* text : {"\x01", "\n", "\x1F", "\x7F", "\xC2\x80", "\xC2\x9F", "\xFF"}) {
    EXPECT_EQ(PrintableCharacterSize(text), 0u) << testing::PrintToString(text);
  }
  EXPECT_EQ(PrintableCharacterSize(" "), 1u);
  EXPECT_EQ(PrintableCharacterSize("~"), 1u);
  EXPECT_EQ(PrintableCharacterSize("\xC2\xA0"), 2u);
  EXPECT_EQ(PrintableCharacterSize("\xC3\x80"), 2u);
  EXPECT_EQ(PrintableCharacterSize("\xE2\x82\xAC"), 3u);
}

TEST(Utf8, ACutNeverSplitsACharacter) {
  EXPECT_EQ(CutSize("ab\xC3\xA4", 5), 4u);
  EXPECT_EQ(CutSize("ab\xC3\xA4", 4), 4u);
  EXPECT_EQ(CutSize("ab\xC3\xA4", 3), 2u);
  EXPECT_EQ(CutSize("\xF0\x9F\x98\x80", 3), 0u);
}

TEST(Utf8, ValidTextStaysAsItIs) {
  const std::string text = "plain, \xC3\xA4, \xE2\x82\xAC, \xF0\x9F\x98\x80";
  EXPECT_EQ(ValidUtf8(text), text);
  EXPECT_EQ(ValidUtf8(""), "");
}

TEST(Utf8, EachByteThatBelongsToNoCharacterIsReplaced) {
  EXPECT_EQ(ValidUtf8("a\xFFz"), "a\xEF\xBF\xBDz");
  EXPECT_EQ(ValidUtf8("\xFF"), "\xEF\xBF\xBD");
  EXPECT_EQ(ValidUtf8("\xC3\xA4\xC3"), "\xC3\xA4\xEF\xBF\xBD");
  EXPECT_EQ(ValidUtf8("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(Utf8, CodePointsThatAreNeverCharactersAreReplaced) {
  const std::string three = "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD";
  for (const char* text : {"\xEF\xB7\x90", "\xEF\xB7\xAF", "\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
    EXPECT_EQ(ValidUtf8(text), three) << testing::PrintToString(text);
  }
  for (const char* text : {"\xF0\x9F\xBF\xBE", "\xF0\x9F\xBF\xBF", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_EQ(ValidUtf8(text), three + "\xEF\xBF\xBD") << testing::PrintToString(text);
  }
  for (const char* text : {"\xEF\xB7\x8F", "\xEF\xB7\xB0", "\xEF\xBF\xBD", "\xEE\xBF\xBF",
                           "\xF0\x9F\xBF\xBD", "\xF0\x90\xBF\xBF", "\xF0\x9F\xBE\xBF"}) {
    EXPECT_EQ(ValidUtf8(text), text) << testing::PrintToString(text);
  }
}

TEST(Utf8, OneLineHasNoControlCharacters) {
  EXPECT_EQ(OneLine("two\nlines\tand\x7F more\x01", 100), "two lines and  more ");
}

TEST(Utf8, OneLineIsCutBetweenCharacters) {
  EXPECT_EQ(OneLine("abc", 3), "abc");
  EXPECT_EQ(OneLine("abcd", 3), "abc");
  EXPECT_EQ(OneLine("ab\xC3\xA4", 3), "ab");
  EXPECT_EQ(OneLine("ab\xC3\xA4", 4), "ab\xC3\xA4");
  EXPECT_EQ(OneLine("a\xFF\xFF", 4), "a\xEF\xBF\xBD");
}

}  // namespace
