#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <functional>

#include "items_test.h"
#include "menu_audio_util.h"

namespace {

using Api = CSettingsItemInfoAPI;

constexpr char kItems[] = R"(
  {"id": "gamemode", "kind": "switch", "name": "Game Mode", "displayId": "GAME_MODE",
   "default": "off"},
  {"id": "picturemode", "kind": "list", "name": "Picture Mode", "displayId": "PICTURE_MODE",
   "default": "standard",
   "options": [{"value": "dynamic", "name": "Dynamic"}, {"value": "standard", "name": "Standard"},
               {"value": "movie", "name": "Movie"}]},
  {"id": "poweroff", "kind": "list", "name": "Power Off", "displayId": "POWER_OFF",
   "default": "0", "storage": "int",
   "options": [{"value": "0", "name": "Off"}, {"value": "4", "name": "4 hours"}]},
  {"id": "brightness", "kind": "range", "name": "Brightness", "displayId": "BRIGHTNESS",
   "min": 0, "max": 50, "step": 5, "default": 25},
  {"id": "gamma", "kind": "range", "name": "Gamma", "displayId": "GAMMA",
   "min": 1.8, "max": 2.8, "step": 0.1, "default": 2.2},
  {"id": "delay", "kind": "range", "name": "Delay", "displayId": "DELAY",
   "min": 0, "max": 250, "step": 10, "default": 0, "kept": {"min": 0, "step": 1}},
  {"id": "soundoutput", "kind": "list", "name": "Sound Output", "displayId": "SOUND_OUTPUT",
   "default": "tvspeaker", "follows": "speaker",
   "options": [{"value": "tvspeaker", "name": "TV"}, {"value": "receiver", "name": "Receiver"}]})";

constexpr char kFeature[] = "com.velmora/featureconf/game_bar.support";

using Arrange = std::function<void(PlatformDouble&)>;

// A rule, and whether it is true after something was done.
struct Row {
  const char* title;
  const char* rule;
  Arrange arrange;
  bool isTrue;
};

void PrintTo(const Row& row, std::ostream* stream) { *stream << row.title << ": " << row.rule; }

void Nothing(PlatformDouble&) {}

Arrange Item(const char* id, const char* value, bool preview = false) {
  return [=](PlatformDouble&) { EXPECT_EQ(Api::SetItemValue(id, value, preview), 0); };
}

Arrange Key(const char* key, std::variant<int, std::string> value) {
  return [=](PlatformDouble& platform) { platform.SetKey(key, value); };
}

Arrange Feature(std::variant<bool, int> value) {
  return [=](PlatformDouble& platform) { platform.SetFeature(kFeature, value); };
}

Arrange Source(const char* type) { return Key("memory/set/source/type", type); }

Arrange Speaker(std::variant<int, std::string> type) {
  return [=](PlatformDouble& platform) {
    platform.SetKey("memory/set/speaker", type);
    CMenuAudioUtil::FreshSpeakerType();
  };
}

const Row kRows[] = {
    {"the default of a switch", R"({"item": "gamemode", "is": "off"})", Nothing, true},
    {"another value than the default", R"({"item": "gamemode", "is": "on"})", Nothing, false},
    {"a value that was set", R"({"item": "gamemode", "is": "on"})", Item("gamemode", "on"), true},
    {"a value that was set away", R"({"item": "gamemode", "is": "off"})", Item("gamemode", "on"),
     false},
    {"a value that is previewed", R"({"item": "picturemode", "is": "movie"})",
     Item("picturemode", "movie", true), true},
    {"a value that a program stored", R"({"item": "picturemode", "is": "movie"})",
     Key("db/menu/picturemode", "movie"), true},
    {"a stored text that is no value", R"({"item": "picturemode", "is": "standard"})",
     Key("db/menu/picturemode", "sepia"), true},
    {"the first of several values", R"({"item": "picturemode", "is": ["standard", "movie"]})",
     Nothing, true},
    {"the last of several values", R"({"item": "picturemode", "is": ["standard", "movie"]})",
     Item("picturemode", "movie"), true},
    {"none of several values", R"({"item": "picturemode", "is": ["standard", "movie"]})",
     Item("picturemode", "dynamic"), false},
    {"a value that is stored as an integer", R"({"item": "poweroff", "is": "4"})",
     Key("db/menu/poweroff", 4), true},
    {"the default of a range", R"({"item": "brightness", "is": 25})", Nothing, true},
    {"a number of a range", R"({"item": "brightness", "is": [0, 50]})", Item("brightness", "50"),
     true},
    {"a number of a range in another form", R"({"item": "brightness", "is": 5.0})",
     Item("brightness", "05"), true},
    {"another number of a range", R"({"item": "brightness", "is": [0, 50]})",
     Item("brightness", "45"), false},
    {"a fraction", R"({"item": "gamma", "is": 2.3})", Item("gamma", "2.3"), true},
    {"a number that is kept as another", R"({"item": "delay", "is": 250})",
     Key("db/menu/delay", 25), true},
    {"an item that follows the speaker", R"({"item": "soundoutput", "is": "receiver"})",
     Speaker("receiver"), true},

    {"a key that is missing", R"({"key": "memory/a", "is": 1})", Nothing, false},
    {"a key with the integer", R"({"key": "memory/a", "is": 1})", Key("memory/a", 1), true},
    {"a key with a negative integer", R"({"key": "memory/a", "is": -2147483648})",
     Key("memory/a", -2147483647 - 1), true},
    {"a key with another integer", R"({"key": "memory/a", "is": 1})", Key("memory/a", 2), false},
    {"a key with one of several integers", R"({"key": "memory/a", "is": [1, 2]})",
     Key("memory/a", 2), true},
    {"a key with a text instead of an integer", R"({"key": "memory/a", "is": 1})",
     Key("memory/a", "1"), false},
    {"a key with the text", R"({"key": "db/a/b", "is": "x"})", Key("db/a/b", "x"), true},
    {"a key with the empty text", R"({"key": "db/a/b", "is": ""})", Key("db/a/b", ""), true},
    {"a missing key and the empty text", R"({"key": "db/a/b", "is": ""})", Nothing, false},
    {"a key with another text", R"({"key": "db/a/b", "is": "x"})", Key("db/a/b", "xy"), false},
    {"a key with one of several texts", R"({"key": "db/a/b", "is": ["x", "xy"]})",
     Key("db/a/b", "xy"), true},
    {"a key with an integer instead of a text", R"({"key": "db/a/b", "is": "1"})", Key("db/a/b", 1),
     false},

    {"a feature that the model has",
     R"({"feature": "com.velmora/featureconf/game_bar.support", "is": true})", Feature(true), true},
    {"a feature that is off",
     R"({"feature": "com.velmora/featureconf/game_bar.support", "is": true})", Feature(false),
     false},
    {"a feature that is to be off",
     R"({"feature": "com.velmora/featureconf/game_bar.support", "is": false})", Feature(false),
     true},
    {"a feature that is missing",
     R"({"feature": "com.velmora/featureconf/game_bar.support", "is": [true, false]})", Nothing,
     false},
    {"a feature of the other type",
     R"({"feature": "com.velmora/featureconf/game_bar.support", "is": true})", Feature(1), false},
    {"a number of a feature", R"({"feature": "com.velmora/featureconf/game_bar.support", "is": 2})",
     Feature(2), true},
    {"several numbers of a feature",
     R"({"feature": "com.velmora/featureconf/game_bar.support", "is": [1, 2]})", Feature(2), true},
    {"another number of a feature",
     R"({"feature": "com.velmora/featureconf/game_bar.support", "is": [0, 1]})", Feature(2), false},
    {"a truth value instead of a number",
     R"({"feature": "com.velmora/featureconf/game_bar.support", "is": 1})", Feature(true), false},

    {"the tuner while no source is known", R"({"source": "tv"})", Nothing, true},
    {"another source while none is known", R"({"source": "hdmi"})", Nothing, false},
    {"an empty source is the tuner", R"({"source": "tv"})", Source(""), true},
    {"the present source", R"({"source": "hdmi"})", Source("hdmi"), true},
    {"one of several sources", R"({"source": ["tv", "hdmi"]})", Source("hdmi"), true},
    {"none of several sources", R"({"source": ["tv", "av"]})", Source("hdmi"), false},
    {"every type of source",
     R"({"all": [{"source": ["tv", "hdmi", "component", "av", "scart", "pc", "usb", "app"]},
                 {"source": "app"}]})",
     Source("app"), true},

    {"the set's own speaker while none was chosen", R"({"speaker": "tvspeaker"})", Nothing, true},
    {"another speaker while none was chosen", R"({"speaker": "receiver"})", Nothing, false},
    {"the active speaker", R"({"speaker": "receiver"})", Speaker("receiver"), true},
    {"one of several speakers", R"({"speaker": ["bluetooth", "receiver"]})", Speaker("receiver"),
     true},
    {"none of several speakers", R"({"speaker": ["bluetooth", "tvspeaker"]})", Speaker("receiver"),
     false},
    {"a speaker that was not read yet", R"({"speaker": "receiver"})",
     Key("memory/set/speaker", "receiver"), false},

    {"all of one that is true", R"({"all": [{"source": "tv"}]})", Nothing, true},
    {"all of one that is not", R"({"all": [{"source": "av"}]})", Nothing, false},
    {"all, the last of which is not", R"({"all": [{"source": "tv"}, {"speaker": "receiver"}]})",
     Nothing, false},
    {"all, each of which is", R"({"all": [{"source": "tv"}, {"speaker": "tvspeaker"}]})", Nothing,
     true},
    {"any of one that is true", R"({"any": [{"source": "tv"}]})", Nothing, true},
    {"any of which none is", R"({"any": [{"source": "av"}, {"source": "pc"}]})", Nothing, false},
    {"any, the last of which is", R"({"any": [{"source": "av"}, {"source": "tv"}]})", Nothing,
     true},
    {"not what is true", R"({"not": {"source": "tv"}})", Nothing, false},
    {"not what is false", R"({"not": {"source": "av"}})", Nothing, true},
    {"not a key that is missing", R"({"not": {"key": "db/a", "is": 1}})", Nothing, true},
    {"not not", R"({"not": {"not": {"source": "tv"}}})", Nothing, true},
    {"rules behind a rule of several parts",
     R"({"all": [{"any": [{"source": "av"}, {"not": {"all": [{"source": "tv"}, {"source": "av"}]}}]},
                 {"item": "gamemode", "is": "on"}]})",
     Item("gamemode", "on"), true},
    {"a false rule behind a rule of several parts",
     R"({"all": [{"any": [{"source": "av"}, {"not": {"all": [{"source": "tv"}, {"source": "av"}]}}]},
                 {"item": "gamemode", "is": "on"}]})",
     Nothing, false},
    {"a deep nesting", R"({"all": [{"any": [{"all": [{"any": [{"not": {"source": "av"}}]}]}]}]})",
     Nothing, true},
};

class Rule : public ItemsTest, public testing::WithParamInterface<Row> {
 protected:
  ~Rule() override {
    m_Platform.Reset();
    CMenuAudioUtil::FreshSpeakerType();
  }
};

// In each of the four places where a rule may stand, beside its opposite.
TEST_P(Rule, IsTrueWhenItsConditionHolds) {
  const auto& [title, rule, arrange, isTrue] = GetParam();
  const std::string is = rule;
  const std::string isNot = R"({"not": )" + is + "}";
  LoadItems(std::string(kItems) +
            R"(, {"id": "asked", "kind": "list", "name": "Asked", "displayId": "ASKED",
                  "default": "plain", "visible": )" +
            is + R"(, "enabled": )" + isNot + R"(,
                  "options": [{"value": "plain", "name": "Plain"},
                              {"value": "shown", "name": "Shown", "visible": )" +
            is + R"(, "enabled": )" + isNot + "}]}");
  arrange(m_Platform);
  EXPECT_EQ(Api::GetItemVisible("asked"), isTrue);
  EXPECT_EQ(Api::GetItemEnable("asked", false), !isTrue);
  EXPECT_EQ(Api::GetSubListItemVisible("asked", "shown"), isTrue);
  EXPECT_EQ(Api::GetSubListItemEnable("asked", "shown"), !isTrue);
  EXPECT_TRUE(m_Platform.Log().empty()) << m_Platform.Log().front().text;
}

INSTANTIATE_TEST_SUITE_P(EveryOne, Rule, testing::ValuesIn(kRows), [](const auto& info) {
  std::string name = info.param.title;
  std::replace_if(
      name.begin(), name.end(), [](char c) { return !std::isalnum(c); }, '_');
  return name;
});

class Rules : public ItemsTest {};

TEST_F(Rules, MayMentionItemsThatComeLaterAndItemsInsideGroups) {
  LoadItems(R"(
    {"id": "first", "kind": "action", "name": "A", "displayId": "A",
     "visible": {"item": "inner", "is": "on"}},
    {"id": "area", "kind": "group", "name": "B", "displayId": "B",
     "enabled": {"item": "inner", "is": "off"}, "items": [
      {"id": "inner", "kind": "switch", "name": "C", "displayId": "C", "default": "off"}]})");
  EXPECT_EQ(Api::GetItemVisible("first"), 0);
  EXPECT_EQ(Api::GetItemEnable("area", false), 1);
  ASSERT_EQ(Api::SetItemValue("inner", "on", false), 0);
  EXPECT_EQ(Api::GetItemVisible("first"), 1);
  EXPECT_EQ(Api::GetItemEnable("area", false), 0);
}

// A rule asks for values: that an item is hidden or disabled changes nothing for those over it.
TEST_F(Rules, AHiddenItemHasItsValueAllTheSame) {
  LoadItems(R"(
    {"id": "a", "kind": "switch", "name": "A", "displayId": "A", "default": "on",
     "visible": {"source": "av"}, "enabled": {"source": "av"}},
    {"id": "b", "kind": "switch", "name": "B", "displayId": "B", "default": "on",
     "visible": {"item": "a", "is": "on"}})");
  ASSERT_TRUE(Api::DisableItem("a", "org.example.app"));
  EXPECT_EQ(Api::GetItemVisible("a"), 0);
  EXPECT_EQ(Api::GetItemVisible("b"), 1);
  EXPECT_TRUE(Api::EnableItem("a", "org.example.app"));
}

TEST_F(Rules, RulesThatShareItemsAndPartsAreKeptApart) {
  std::string items = R"({"id": "mode", "kind": "list", "name": "M", "displayId": "M",
    "default": "v0", "options": [)";
  for (int i = 0; i < 20; ++i) {
    const std::string value = "v" + std::to_string(i);
    items += (i == 0 ? R"({"value": ")" : R"(,{"value": ")") + value + R"(", "name": "V"})";
  }
  items += "]}";
  for (int i = 0; i < 20; ++i) {
    const std::string number = std::to_string(i);
    const std::string next = std::to_string((i + 1) % 20);
    items += R"(, {"id": "a)" + number + R"(", "kind": "action", "name": "A", "displayId": "A",
      "visible": {"any": [{"item": "mode", "is": "v)" +
             number + R"("},
                          {"key": "memory/k", "is": ["v)" +
             number + R"(", "v)" + next + R"("]}]},
      "enabled": {"item": "mode", "is": "v)" +
             next + "\"}}";
  }
  LoadItems(items);
  for (int value = 0; value < 20; ++value) {
    const std::string text = "v" + std::to_string(value);
    ASSERT_EQ(Api::SetItemValue("mode", text.c_str(), false), 0);
    m_Platform.SetKey("memory/k", "v" + std::to_string((value + 5) % 20));
    for (int i = 0; i < 20; ++i) {
      const std::string id = "a" + std::to_string(i);
      const bool isInKey = i == (value + 5) % 20 || (i + 1) % 20 == (value + 5) % 20;
      EXPECT_EQ(Api::GetItemVisible(id.c_str()), i == value || isInKey) << id << " " << text;
      EXPECT_EQ(Api::GetItemEnable(id.c_str(), true), (i + 1) % 20 == value) << id << " " << text;
    }
  }
}

}  // namespace
