#include "items/description.h"

#include <gmock/gmock.h>

#include "base/json.h"
#include "items/library.h"
#include "items_test.h"

namespace {

constexpr char kItems[] = R"(
  {"id": "picture", "kind": "group", "name": "Picture", "displayId": "MENU_PICTURE", "items": [
    {"id": "picturemode", "kind": "list", "name": "Picture Mode", "displayId": "MENU_PICTURE_MODE",
     "default": "standard",
     "options": [{"value": "dynamic", "name": "Dynamic"}, {"value": "standard", "name": "Standard"},
                 {"value": "movie", "name": "Movie"}]},
    {"id": "delay", "kind": "range", "name": "Delay", "displayId": "MENU_DELAY", "min": 0,
     "max": 250, "step": 10, "default": 20, "unit": "ms", "kept": {"min": 0, "step": 1}},
    {"id": "gamemode", "kind": "switch", "name": "Game Mode", "displayId": "MENU_GAME_MODE",
     "default": "off"},
    {"id": "likeaswitch", "kind": "list", "name": "Like a Switch", "displayId": "MENU_LIKE",
     "default": "off", "options": [{"value": "off", "name": "No"}, {"value": "on", "name": "Yes"}]},
    {"id": "output", "kind": "list", "name": "Output", "displayId": "MENU_OUTPUT",
     "follows": "speaker", "default": "tvspeaker",
     "options": [{"value": "tvspeaker", "name": "TV"}, {"value": "optical", "name": "Optical"}]},
    {"id": "reset", "kind": "action", "name": "Reset", "displayId": "MENU_RESET"}]})";

class Description : public ItemsTest {
 protected:
  Description() { LoadItems(kItems); }

  static std::string Of(const char* id) {
    return base::WriteJson(host::Describe(host::Library(), *host::Library().Find(id)));
  }
};

TEST_F(Description, OfWhatHasNoValueIsItsKind) {
  EXPECT_EQ(Of("picture"), R"({"kind":"group","menuID":"picture"})");
  EXPECT_EQ(Of("reset"), R"({"kind":"action","menuID":"reset"})");
}

TEST_F(Description, HasTheNamesOfAllValuesOfAList) {
  EXPECT_EQ(Of("gamemode"), R"({"kept":{"name":"Off","value":"off"},"kind":"switch",)"
                            R"("menuID":"gamemode","preview":false,"values":[)"
                            R"({"name":"Off","value":"off"},{"name":"On","value":"on"}]})");
  EXPECT_EQ(Of("likeaswitch"), R"({"kept":{"name":"No","value":"off"},"kind":"list",)"
                               R"("menuID":"likeaswitch","preview":false,"values":[)"
                               R"({"name":"No","value":"off"},{"name":"Yes","value":"on"}]})");
}

TEST_F(Description, SaysWhatIsKeptBehindAPreview) {
  using Api = CSettingsItemInfoAPI;
  EXPECT_EQ(Of("delay"), R"({"kept":{"name":"20 ms","value":"20"},"kind":"range",)"
                         R"("menuID":"delay","preview":false})");
  Api::SetItemValue("delay", "100", true);
  EXPECT_EQ(Of("delay"), R"({"kept":{"name":"20 ms","value":"20"},"kind":"range",)"
                         R"("menuID":"delay","preview":true})");
  Api::SetItemValue("delay", "250", false);
  EXPECT_EQ(Of("delay"), R"({"kept":{"name":"250 ms","value":"250"},"kind":"range",)"
                         R"("menuID":"delay","preview":false})");
}

TEST_F(Description, OfWhatFollowsTheSpeakerHasWhatIsStored) {
  m_Platform.SetKey("memory/set/speaker", "optical");
  host::Library().FreshSpeakerType();
  ASSERT_EQ(Value("output"), "optical");
  EXPECT_EQ(Of("output").find(R"({"kept":{"name":"TV","value":"tvspeaker"})"), 0u);
}

TEST_F(Description, IsRefusedWhenTheStoreCannotBeRead) {
  m_Platform.FailReads();
  EXPECT_THROW(Of("delay"), host::InputFailure);
  EXPECT_EQ(Of("reset"), R"({"kind":"action","menuID":"reset"})");
}

}  // namespace
