#include "base/utf8.h"

#include <gtest/gtest.h>

namespace {

using base::CutSize;
using base::IsPlainText;
using base::OneLine;
using base::PrintableCharacterSize;
using base::Utf8CharacterSize;
using base::ValidUtf8;

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

TEST(Utf8, PlainTextIsUtf8WithoutControlCharacters) {
  for (const char* text :
       {"", "Auto Power Off", "Fran\u00e7ais", "\ud55c\uad6d\uc5b4", "\U0001F50A", "\u00a0"}) {
    EXPECT_TRUE(IsPlainText(text)) << text;
  }
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

TEST(Utf8, ACharacterHasItsCodePoint) {
  EXPECT_EQ(base::CodePointOf("A"), U'A');
  EXPECT_EQ(base::CodePointOf("\u0080"), U'\u0080');
  EXPECT_EQ(base::CodePointOf("\u07FF"), U'\u07FF');
  EXPECT_EQ(base::CodePointOf("\u0800"), U'\u0800');
  EXPECT_EQ(base::CodePointOf("\uFFFF"), U'\uFFFF');
  EXPECT_EQ(base::CodePointOf("\U00010000"), U'\U00010000');
  EXPECT_EQ(base::CodePointOf("\U0010FFFF"), U'\U0010FFFF');
}

std::string Visible(std::string_view text) {
  std::string visible = "> ";
  base::AppendVisible(visible, text);
  EXPECT_EQ(visible.substr(0, 2), "> ");
  return visible.substr(2);
}

TEST(Utf8, WhatHidesOrTurnsTextIsVisible) {
  EXPECT_EQ(Visible("a\u202Eb\u2066c\u2069"), "a\\u202eb\\u2066c\\u2069");
  EXPECT_EQ(Visible("one\u2028two\u2029three"), "one\\u2028two\\u2029three");
  EXPECT_EQ(Visible("\uFEFFa\u200Bb\u2060c\u00ADd\u180E"),
            "\\ufeffa\\u200bb\\u2060c\\u00add\\u180e");
  EXPECT_EQ(Visible("\uFFF9a\uFFFB \U0001BCA0\U0001D17A"),
            "\\ufff9a\\ufffb \\ud82f\\udca0\\ud834\\udd7a");
  EXPECT_EQ(Visible("\U000E0001\U000E007F"), "\\udb40\\udc01\\udb40\\udc7f");
  EXPECT_EQ(Visible("\uFFFF\uFFFE\uFDD0\U0010FFFF"), "\\uffff\\ufffe\\ufdd0\\udbff\\udfff");
  EXPECT_EQ(Visible("\u115Fa\u1160b\u3164c\uFFA0"), "\\u115fa\\u1160b\\u3164c\\uffa0");
  EXPECT_EQ(Visible("\u2800a\u034Fb\u17B4\u17B5"), "\\u2800a\\u034fb\\u17b4\\u17b5");
}

TEST(Utf8, TextOfEveryLanguageStaysVisibleAsItIs) {
  for (const char* text :
       {"a\\b ~", "\u00A0\u00AC\u00AE", "게임 모드", "日本", "وضع الألعاب", "می\u200Cخواهم",
        "\U0001F468\u200D\U0001F469", "HDMI\u200F 1\u200E", "\u061C\u0600\u06DD", "\u180B\u180F",
        "\uFE00\uFE0F", "\u2027\u202F\u205F\u2070", "\uFFFC\uFFFD", "\U000E0100\U000E01EF",
        "\u115E\u1161\u27FF\u2801\u3163\u3165\uFF9F\uFFA1", "\U0010FFFD"}) {
    EXPECT_EQ(Visible(text), text);
  }
}

TEST(Utf8, ACutNeverSplitsACharacter) {
  EXPECT_EQ(CutSize("ab\xC3\xA4", 5), 4u);
  EXPECT_EQ(CutSize("ab\xC3\xA4", 4), 4u);
  EXPECT_EQ(CutSize("ab\xC3\xA4", 3), 2u);
  EXPECT_EQ(CutSize("\xF0\x9F\x98\x80", 3), 0u);
}

std::string CopiedInto(std::size_t size, std::string_view text) {
  std::string buffer(size, '#');
  base::CopyCut(text, buffer.data(), size);
  return buffer.c_str();
}

TEST(Utf8, ACopyIsCutToTheBufferBetweenCharacters) {
  EXPECT_EQ(CopiedInto(4, "abc"), "abc");
  EXPECT_EQ(CopiedInto(1, ""), "");
  EXPECT_EQ(CopiedInto(4, "abcd"), "abc");
  EXPECT_EQ(CopiedInto(1, "abcd"), "");
  EXPECT_EQ(CopiedInto(5, "a\u00e9\u00e9"), "a\u00e9");
  EXPECT_EQ(CopiedInto(4, "a\u00e9\u00e9"), "a\u00e9");
  EXPECT_EQ(CopiedInto(6, "\u97f3\u97f3"), "\u97f3");
  EXPECT_EQ(CopiedInto(7, "\u97f3\u97f3"), "\u97f3\u97f3");
  EXPECT_EQ(CopiedInto(4, "\U0001F50A"), "");
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

TEST(Utf8, AByteIsFoundWhereverItStands) {
  for (std::size_t at = 0; at < 40; ++at) {
    const std::string before(at, 'x');
    const std::string behind(40 - at, 'y');
    EXPECT_EQ(ValidUtf8(before + "\xFF" + behind), before + "\xEF\xBF\xBD" + behind);
    const std::string text = before + "\xC3\xA4" + behind;
    EXPECT_EQ(ValidUtf8(text), text);
  }
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
