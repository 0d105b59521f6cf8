#include "nearest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using tools::Nearest;
using tools::NoSuch;

const std::vector<std::string> kItems = {"picture",     "picturemode",  "brightness",
                                         "gamemode",    "autogamemode", "gamepicture",
                                         "soundoutput", "tint",         "밝기"};

TEST(Nearest, FindsWhatWasMistyped) {
  EXPECT_THAT(Nearest("brigthness", kItems), ElementsAre("brightness"));   // exchanged
  EXPECT_THAT(Nearest("brihtness", kItems), ElementsAre("brightness"));    // left out
  EXPECT_THAT(Nearest("brighttness", kItems), ElementsAre("brightness"));  // added
  EXPECT_THAT(Nearest("brightmess", kItems), ElementsAre("brightness"));   // replaced
  EXPECT_THAT(Nearest("tnit", kItems), ElementsAre("tint"));
}

TEST(Nearest, IgnoresCase) {
  EXPECT_THAT(Nearest("Brightness", kItems), ElementsAre("brightness"));
  EXPECT_THAT(Nearest("tint", {"TINT"}), ElementsAre("TINT"));
}

TEST(Nearest, PutsTheFewestMistakesFirstThenBeginningsThenParts) {
  EXPECT_THAT(Nearest("gamemod", kItems), ElementsAre("gamemode", "autogamemode"));
  EXPECT_THAT(Nearest("game", kItems), ElementsAre("gamemode", "gamepicture", "autogamemode"));
  EXPECT_THAT(Nearest("output", kItems), ElementsAre("soundoutput"));
}

TEST(Nearest, KeepsTheGivenOrderAmongEqualsAndEndsAfterThree) {
  EXPECT_THAT(Nearest("hdmi9", {"hdmi4", "hdmi2", "hdmi1", "hdmi3"}),
              ElementsAre("hdmi4", "hdmi2", "hdmi1"));
}

TEST(Nearest, FindsNothingForAWordThatIsFarFromAll) {
  EXPECT_THAT(Nearest("volume", kItems), IsEmpty());
  EXPECT_THAT(Nearest("", kItems), IsEmpty());
  EXPECT_THAT(Nearest("t", kItems), IsEmpty());
  EXPECT_THAT(Nearest("in", kItems), IsEmpty());
  EXPECT_THAT(Nearest("brightness", {}), IsEmpty());
}

TEST(Nearest, CountsLettersAndNotBytes) {
  EXPECT_THAT(Nearest("밝가", kItems), ElementsAre("밝기"));
  EXPECT_THAT(Nearest("\xff\xfe", kItems), IsEmpty());
}

TEST(Nearest, SurvivesAWordOfAnyLength) {
  EXPECT_THAT(Nearest(std::string(10'000'000, 'x'), kItems), IsEmpty());
  EXPECT_THAT(Nearest(std::string(254, 'x'), {std::string(255, 'x')}),
              ElementsAre(std::string(255, 'x')));
}

TEST(Nearest, SaysWhatComesNearestOrElseWhatToDo) {
  EXPECT_EQ(NoSuch("item", "brigthness", kItems, "see all"),
            "no item \"brigthness\"; nearest: brightness");
  EXPECT_EQ(NoSuch("item", "game", kItems, "see all"),
            "no item \"game\"; nearest: gamemode, gamepicture, autogamemode");
  EXPECT_EQ(NoSuch("item", "a\nb", kItems, "see all"), "no item \"a\\nb\"; see all");
  EXPECT_EQ(NoSuch("app", "evi", {"evil\x1b[2J"}, "see all"),
            "no app \"evi\"; nearest: evil\\x1b[2J");
}

}  // namespace
