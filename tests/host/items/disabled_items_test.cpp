#include <gmock/gmock.h>

#include "disabled_items_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class DisabledItems : public DisabledItemsTest {};

TEST_F(DisabledItems, AnItemIsDisabledUntilItsApplicationLetsItGo) {
  EXPECT_TRUE(Api::IsItemEnabled("tone"));
  EXPECT_TRUE(Api::DisableItem("tone", "org.example.one"));
  EXPECT_FALSE(Api::IsItemEnabled("tone"));
  EXPECT_THAT(Disabled(), ElementsAre("tone"));
  EXPECT_THAT(Disablers("tone"), ElementsAre("org.example.one"));
  EXPECT_TRUE(Api::EnableItem("tone", "org.example.one"));
  EXPECT_TRUE(Api::IsItemEnabled("tone"));
  EXPECT_THAT(Disabled(), IsEmpty());
  EXPECT_THAT(Disablers("tone"), IsEmpty());
}

TEST_F(DisabledItems, DisablingTwiceByOneApplicationChangesNothing) {
  EXPECT_TRUE(Api::DisableItem("tone", "org.example.one"));
  const int writes = m_Platform.Writes();
  EXPECT_FALSE(Api::DisableItem("tone", "org.example.one"));
  EXPECT_EQ(m_Platform.Writes(), writes);
  EXPECT_THAT(Disablers("tone"), ElementsAre("org.example.one"));
  EXPECT_TRUE(Api::EnableItem("tone", "org.example.one")) << "once is enough";
}

TEST_F(DisabledItems, EnablingWhatIsEnabledChangesNothing) {
  EXPECT_FALSE(Api::EnableItem("tone", "org.example.one"));
  EXPECT_EQ(m_Platform.Writes(), 0);
}

TEST_F(DisabledItems, AnItemStaysDisabledUntilTheLastApplicationLetsItGo) {
  EXPECT_TRUE(Api::DisableItem("tone", "org.example.one"));
  EXPECT_FALSE(Api::DisableItem("tone", "org.example.two")) << "it was disabled already";
  EXPECT_THAT(Disablers("tone"), ElementsAre("org.example.one", "org.example.two"));
  EXPECT_FALSE(Api::EnableItem("tone", "org.example.one")) << "it stays disabled";
  EXPECT_FALSE(Api::IsItemEnabled("tone"));
  EXPECT_THAT(Disablers("tone"), ElementsAre("org.example.two"));
  EXPECT_TRUE(Api::EnableItem("tone", "org.example.two"));
  EXPECT_TRUE(Api::IsItemEnabled("tone"));
}

TEST_F(DisabledItems, AnApplicationCannotLetGoWhatOnlyAnotherDisables) {
  Api::DisableItem("tone", "org.example.one");
  EXPECT_FALSE(Api::EnableItem("tone", "org.example.two"));
  EXPECT_THAT(Disablers("tone"), ElementsAre("org.example.one"));
}

TEST_F(DisabledItems, AListIsAnsweredWithTheItemsThatItDisabledInItsOrder) {
  Api::DisableItem("audio", "org.example.two");
  EXPECT_EQ(Disable({"reset", "audio", "picture", "tone"}, "org.example.one"),
            Answer(true, {"reset", "picture", "tone"}));
  EXPECT_THAT(Disablers("audio"), ElementsAre("org.example.two", "org.example.one"));
}

TEST_F(DisabledItems, AListOfDisabledItemsIsAnsweredByNothingButRecorded) {
  Disable({"tone", "audio"}, "org.example.one");
  EXPECT_EQ(Disable({"tone", "audio"}, "org.example.two"), Answer(false, {}));
  EXPECT_THAT(Disablers("audio"), ElementsAre("org.example.one", "org.example.two"));
}

TEST_F(DisabledItems, AnItemThatAListRepeatsCountsOnce) {
  EXPECT_EQ(Disable({"tone", "game", "tone", "tone"}, "org.example.one"),
            Answer(true, {"tone", "game"}));
  EXPECT_THAT(Disablers("tone"), ElementsAre("org.example.one"));
  EXPECT_EQ(Release("org.example.one"), Answer(true, {"tone", "game"}));
}

TEST_F(DisabledItems, AnEmptyListChangesNothing) {
  EXPECT_EQ(Disable({}, "org.example.one"), Answer(false, {}));
  EXPECT_EQ(m_Platform.Writes(), 0);
}

TEST_F(DisabledItems, TheRequestedListIsLeftAsItIs) {
  Texts requested = {"tone", "nosuch", "tone"};
  Texts disabled = {"before"};
  EXPECT_TRUE(Api::DisableItemsByList(requested, disabled, "org.example.one"));
  EXPECT_THAT(requested, ElementsAre("tone", "nosuch", "tone"));
  EXPECT_THAT(disabled, ElementsAre("before", "tone"));
}

TEST_F(DisabledItems, TheEndOfAnApplicationReleasesWhatOnlyItDisabledInMenuOrder) {
  Disable({"reset", "audio", "game", "tone", "picture"}, "org.example.one");
  Disable({"game", "brightness"}, "org.example.two");
  EXPECT_EQ(Release("org.example.one"), Answer(true, {"picture", "tone", "audio", "reset"}));
  EXPECT_THAT(Disabled(), ElementsAre("brightness", "game"));
  EXPECT_EQ(Release("org.example.two"), Answer(true, {"brightness", "game"}));
  EXPECT_THAT(Disabled(), IsEmpty());
}

TEST_F(DisabledItems, TheEndOfOneOfTwoApplicationsReleasesNothingButIsRecorded) {
  Api::DisableItem("tone", "org.example.one");
  Api::DisableItem("tone", "org.example.two");
  EXPECT_EQ(Release("org.example.one"), Answer(false, {}));
  EXPECT_THAT(Disablers("tone"), ElementsAre("org.example.two"));
  EXPECT_EQ(Release("org.example.one"), Answer(false, {})) << "there was nothing left of it";
  EXPECT_EQ(Release("org.example.two"), Answer(true, {"tone"}));
}

TEST_F(DisabledItems, TheEndOfAnUnknownApplicationReleasesNothing) {
  Api::DisableItem("tone", "org.example.one");
  const int writes = m_Platform.Writes();
  EXPECT_EQ(Release("org.example.two"), Answer(false, {}));
  EXPECT_EQ(Release(""), Answer(false, {}));
  EXPECT_EQ(m_Platform.Writes(), writes);
}

TEST_F(DisabledItems, ReleasedItemsAreAppendedToTheOutput) {
  Api::DisableItem("tone", "org.example.one");
  Texts released = {"before"};
  EXPECT_TRUE(Api::RemoveDisabledItemsByAppname(released, "org.example.one"));
  EXPECT_THAT(released, ElementsAre("before", "tone"));
}

TEST_F(DisabledItems, AnUnknownItemCannotBeDisabled) {
  EXPECT_FALSE(Api::DisableItem("nosuch", "org.example.one"));
  EXPECT_FALSE(Api::DisableItem("", "org.example.one"));
  EXPECT_FALSE(Api::EnableItem("nosuch", "org.example.one"));
  EXPECT_EQ(Disable({"nosuch", "tone", "Tone"}, "org.example.one"), Answer(true, {"tone"}));
  EXPECT_EQ(Disable({"nosuch"}, "org.example.two"), Answer(false, {}));
  EXPECT_THAT(Disabled(), ElementsAre("tone"));
}

TEST_F(DisabledItems, AnUnknownItemIsNotEnabledAndHasNoDisablers) {
  Texts apps = {"before"};
  EXPECT_FALSE(Api::IsItemEnabled("nosuch"));
  EXPECT_FALSE(Api::GetDisablerAppNamesByMenuId("nosuch", apps));
  EXPECT_THAT(apps, ElementsAre("before"));
}

TEST_F(DisabledItems, ANameThatCannotBeAnApplicationsDisablesNothingAndIsNamed) {
  const Texts names = {"",
                       "one",
                       "with space.one",
                       "org.example.",
                       "org.1example.one",
                       ":1.7",
                       "org.freedesktop.DBus",
                       "org.nuvra.service.settings_service",
                       "a\"b\\c.\n",
                       "org.example.한국어",
                       std::string("org.example.zero\0inside", 23),
                       "org." + std::string(252, 'x'),
                       "org." + std::string(260'000, 'x')};
  for (const std::string& name : names) {
    m_Platform.Reset();
    EXPECT_FALSE(Api::DisableItem("tone", name)) << name;
    EXPECT_EQ(Disable({"tone", "game"}, name), Answer(false, {})) << name;
    EXPECT_THAT(Disabled(), IsEmpty()) << name;
    EXPECT_EQ(m_Platform.Writes(), 0) << name;
    ASSERT_THAT(Errors(), testing::SizeIs(2)) << name;
    EXPECT_THAT(Errors().front(), HasSubstr("it cannot be the ID of an application")) << name;
    EXPECT_LT(Errors().front().size(), 300u) << name;
  }
  EXPECT_TRUE(Api::DisableItem("tone", "org." + std::string(251, 'x'))) << "255 bytes are a name";
}

TEST_F(DisabledItems, GroupsAndActionsCanBeDisabled) {
  EXPECT_EQ(Disable({"picture", "reset"}, "org.example.one"), Answer(true, {"picture", "reset"}));
}

TEST_F(DisabledItems, AreListedInTheOrderOfTheMenu) {
  Disable({"reset", "audio", "tone", "game", "picture"}, "org.example.one");
  EXPECT_THAT(Disabled(), ElementsAre("picture", "tone", "game", "audio", "reset"));
}

TEST_F(DisabledItems, ListsAreAppendedToTheOutput) {
  Api::DisableItem("tone", "org.example.one");
  Texts texts = {"before"};
  EXPECT_TRUE(Api::GetDisabledItemsList(texts));
  EXPECT_TRUE(Api::GetDisablerAppNamesByMenuId("tone", texts));
  EXPECT_THAT(texts, ElementsAre("before", "tone", "org.example.one"));
}

TEST_F(DisabledItems, AHiddenItemOrOneThatItsRulesDisableCanBeDisabledToo) {
  LoadItems(R"({"id": "grey", "kind": "action", "name": "G", "displayId": "G",
    "visible": {"source": "av"}, "enabled": {"source": "av"}})");
  EXPECT_TRUE(Api::IsItemEnabled("grey")) << "this asks for the record alone";
  EXPECT_TRUE(Api::DisableItem("grey", "org.example.one"));
  EXPECT_FALSE(Api::IsItemEnabled("grey"));
}

TEST_F(DisabledItems, ACallWhoseChangeCannotBeMirroredChangesNothingAndSaysSo) {
  Disable({"tone", "game", "audio"}, "org.example.one");
  Disable({"tone", "brightness"}, "org.example.two");
  const std::string mirror = Mirror();
  m_Platform.FailWritesTo(kMirror);
  EXPECT_FALSE(Api::DisableItem("reset", "org.example.three"));
  EXPECT_FALSE(Api::DisableItem("tone", "org.example.three"));
  EXPECT_EQ(Disable({"reset", "picture", "tone"}, "org.example.three"), Answer(false, {}));
  EXPECT_FALSE(Api::EnableItem("game", "org.example.one"));
  EXPECT_FALSE(Api::EnableItem("tone", "org.example.one"));
  EXPECT_EQ(Release("org.example.one"), Answer(false, {}));
  EXPECT_EQ(Release("org.example.two"), Answer(false, {}));
  EXPECT_EQ(Mirror(), mirror);
  EXPECT_THAT(Disabled(), ElementsAre("tone", "brightness", "game", "audio"));
  EXPECT_THAT(Disablers("tone"), ElementsAre("org.example.one", "org.example.two"));
  EXPECT_THAT(Disablers("game"), ElementsAre("org.example.one"));
  EXPECT_THAT(Disablers("reset"), IsEmpty());
  EXPECT_THAT(Errors(), testing::SizeIs(7));
  EXPECT_THAT(Errors(), testing::Each(HasSubstr("memory/menu/disabled_items: cannot be written")));

  m_Platform.LetWritesSucceed();
  EXPECT_EQ(Release("org.example.one"), Answer(true, {"game", "audio"}));
  EXPECT_THAT(Disablers("tone"), ElementsAre("org.example.two"));
}

TEST_F(DisabledItems, LoadingTheItemsAgainKeepsTheRecord) {
  Disable({"tone", "game"}, "org.example.one");
  const int writes = m_Platform.Writes();
  Api::InitSettingsItemInfoAPI();
  EXPECT_THAT(Disabled(), ElementsAre("tone", "game"));
  EXPECT_EQ(m_Platform.Writes(), writes);
}

TEST_F(DisabledItems, LoadingItemsDropsThoseThatAreUnknownNow) {
  Disable({"tone", "game", "audio"}, "org.example.one");
  WriteCatalogue(R"({"items": [
    {"id": "game", "kind": "action", "name": "Game", "displayId": "GAME"}]})");
  Api::InitSettingsItemInfoAPI();
  EXPECT_THAT(Disabled(), ElementsAre("game"));
  EXPECT_EQ(Mirror(), R"({"id":"game","apps":["org.example.one"]})");
  EXPECT_THAT(Errors(), ElementsAre(HasSubstr("dropped 2 items that are not in the catalogue; the "
                                              "first is \"audio\"")));
  EXPECT_EQ(Release("org.example.one"), Answer(true, {"game"}));
}

TEST_F(DisabledItems, TheRecordWaitsForACatalogueThatCanBeLoaded) {
  Disable({"tone", "game"}, "org.example.one");
  const std::string mirror = Mirror();
  RemoveCatalogue();
  Api::InitSettingsItemInfoAPI();
  Texts ids;
  EXPECT_FALSE(Api::GetDisabledItemsList(ids));
  EXPECT_FALSE(Api::IsItemEnabled("audio"));
  EXPECT_FALSE(Api::GetDisablerAppNamesByMenuId("tone", ids));
  EXPECT_THAT(ids, IsEmpty());
  EXPECT_FALSE(Api::DisableItem("audio", "org.example.one"));
  EXPECT_FALSE(Api::EnableItem("tone", "org.example.one"));
  EXPECT_EQ(Release("org.example.one"), Answer(false, {}));
  EXPECT_EQ(Mirror(), mirror);

  WriteCatalogue("{\"items\": [" + std::string(kItems) + "]}");
  Api::InitSettingsItemInfoAPI();
  EXPECT_THAT(Disabled(), ElementsAre("tone", "game"));
}

}  // namespace
