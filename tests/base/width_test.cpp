#include "base/width.h"

#include <gtest/gtest.h>

namespace {

TEST(Width, TheWidthOnATerminalIsThatOfItsLetters) {
  EXPECT_EQ(base::DisplayWidth(""), 0u);
  EXPECT_EQ(base::DisplayWidth("Größe ×"), 7u);
  EXPECT_EQ(base::DisplayWidth("│  ├─ "), 6u);
  EXPECT_EQ(base::DisplayWidth("게임 모드"), 9u);
  EXPECT_EQ(base::DisplayWidth("وضع"), 3u);
  EXPECT_EQ(base::DisplayWidth("مُ"), 1u) << "a letter with a mark above it";
  EXPECT_EQ(base::DisplayWidth("a\xff"), 2u);
}

TEST(Width, WhatDoesNotFitIsCutBetweenLetters) {
  EXPECT_EQ(base::FitWidth("게임 모드", 9), "게임 모드");
  EXPECT_EQ(base::FitWidth("게임 모드", 8), "게임 모…");
  EXPECT_EQ(base::FitWidth("게임 모드", 7), "게임 …") << "half a letter is none";
  EXPECT_EQ(base::FitWidth("مُوضع", 2), "مُ…") << "a mark stays with its letter";
  EXPECT_EQ(base::FitWidth("abc", 1), "…");
  EXPECT_EQ(base::FitWidth("abc", 0), "");
  EXPECT_EQ(base::FitWidth("", 0), "");
  EXPECT_EQ(base::FitWidth("a\xff\xff\xff", 3), "a\xff…");
}

}  // namespace
