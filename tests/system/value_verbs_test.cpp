// The verbs of settingsctl that set values, on a set.

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "system_test.h"

namespace {

using support::Outcome;
using testing::HasSubstr;

class ValueVerbs : public SystemTest {
 protected:
  Outcome Run(std::vector<std::string> words, const std::string& input = "") {
    words.insert(words.begin(), "settingsctl");
    return m_Set.Run(words, input);
  }

  std::string Value(const std::string& item) { return Run({"get", "--raw", item}).out; }

  void ExpectDone(const std::vector<std::string>& words, const std::string& out) {
    SCOPED_TRACE(testing::PrintToString(words));
    const Outcome outcome = Run(words);
    EXPECT_EQ(outcome.out, out);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
  }

  void ExpectFailure(const std::vector<std::string>& words, int status, const std::string& err) {
    SCOPED_TRACE(testing::PrintToString(words));
    const Outcome outcome = Run(words);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr(err));
    EXPECT_EQ(outcome.status, status);
  }
};

TEST_F(ValueVerbs, ToggleTurnsASwitchOnAndOff) {
  ExpectDone({"toggle", "gamemode"}, "on (On)\n");
  EXPECT_EQ(Value("gamemode"), "on\n");
  ExpectDone({"toggle", "gamemode", "--json"}, R"({"item":"gamemode","value":"off","name":"Off"})"
                                               "\n");
  EXPECT_EQ(Value("gamemode"), "off\n");
}

TEST_F(ValueVerbs, ToggleIsForSwitches) {
  ExpectFailure({"toggle", "brightness"}, 2,
                "\"brightness\" is no switch, it takes 0 to 50, step 1");
  ExpectFailure({"toggle", "audioreturn"}, 2, "\"audioreturn\" is no switch, it takes off, auto");
  ExpectFailure({"toggle", "picture"}, 2, "\"picture\" is no switch, it is a group");
  ExpectFailure({"toggle", "gamemod"}, 10, "no item \"gamemod\"; nearest: gamemode");
  EXPECT_EQ(Value("brightness"), "25\n");
}

TEST_F(ValueVerbs, StepGoesThroughTheNumbersOfARange) {
  ExpectDone({"step", "brightness"}, "26\n");
  ExpectDone({"step", "brightness", "-3"}, "23\n");
  ExpectDone({"step", "brightness", "27"}, "50\n");
  ExpectDone({"step", "sounddelay", "25"}, "250 (250 ms)\n");
  for (const char* number : {"0.3", "0.4", "0.5", "0.6"}) {
    ExpectDone({"step", "menutransparency"}, std::string(number) + "\n");
  }
}

TEST_F(ValueVerbs, StepGoesThroughAListInTheOrderOfTheMenu) {
  while (Run({"step", "picturemode", "-1"}).status == 0) {
  }
  ExpectFailure({"step", "picturemode", "-1"}, 1,
                "\"picturemode\" is dynamic and its first value is dynamic");
  std::string seen = Value("picturemode");
  for (Outcome outcome; (outcome = Run({"step", "picturemode"})).status == 0;) {
    seen += Value("picturemode");
  }
  EXPECT_EQ(seen, Run({"values", "picturemode"}).out);
}

TEST_F(ValueVerbs, StepDoesNotGoBeyondTheBounds) {
  ExpectFailure({"step", "brightness", "26"}, 1,
                "\"brightness\" is 25 and its highest value is 50");
  ExpectFailure({"step", "brightness", "-26"}, 1, "\"brightness\" is 25 and its lowest value is 0");
  ExpectFailure({"step", "brightness", "2147483647"}, 1, "its highest value is 50");
  ExpectFailure({"step", "picturemode", "100"}, 1, "its last value is filmmaker");
  EXPECT_EQ(Value("brightness"), "25\n");
  EXPECT_EQ(Value("picturemode"), "standard\n");
}

TEST_F(ValueVerbs, StepNeedsAValueAndAWholeNumberOfSteps) {
  ExpectFailure({"step", "picture"}, 2, "\"picture\" is a group, it has no value");
  ExpectFailure({"step", "picturereset"}, 2, "\"picturereset\" is an action, it has no value");
  ExpectFailure({"step", "brightness", "0"}, 2, "0 steps");
  ExpectFailure({"step", "brightness", "much"}, 2, "much");
  ExpectFailure({"step", "brightnes"}, 10, "nearest: brightness");
}

}  // namespace
