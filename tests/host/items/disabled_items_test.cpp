#include <gmock/gmock.h>

#include "disabled_items_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class DisabledItems : public DisabledItemsTest {};

TEST_F(DisabledItems, AnItemIsDisabledUntilItsApplicationLetsItGo) {
  EXPECT_TRUE(Api::IsItemEnabled("tone"));
  EXPECT_TRUE(Api::DisableItem("tone", "one"));
  EXPECT_FALSE(Api::IsItemEnabled("tone"));
  EXPECT_THAT(Disabled(), ElementsAre("tone"));
  EXPECT_THAT(Disablers("tone"), ElementsAre("one"));
  EXPECT_TRUE(Api::EnableItem("tone", "one"));
  EXPECT_TRUE(Api::IsItemEnabled("tone"));
  EXPECT_THAT(Disabled(), IsEmpty());
  EXPECT_THAT(Disablers("tone"), IsEmpty());
}

TEST_F(DisabledItems, DisablingTwiceByOneApplicationChangesNothing) {
  EXPECT_TRUE(Api::DisableItem("tone", "one"));
  const int writes = m_Platform.Writes();
  EXPECT_FALSE(Api::DisableItem("tone", "one"));
  EXPECT_EQ(m_Platform.Writes(), writes);
  EXPECT_THAT(Disablers("tone"), ElementsAre("one"));
  EXPECT_TRUE(Api::EnableItem("tone", "one")) << "once is enough";
}

TEST_F(DisabledItems, EnablingWhatIsEnabledChangesNothing) {
  EXPECT_FALSE(Api::EnableItem("tone", "one"));
  EXPECT_EQ(m_Platform.Writes(), 0);
}

TEST_F(DisabledItems, AnItemStaysDisabledUntilTheLastApplicationLetsItGo) {
  EXPECT_TRUE(Api::DisableItem("tone", "one"));
  EXPECT_FALSE(Api::DisableItem("tone", "two")) << "it was disabled already";
  EXPECT_THAT(Disablers("tone"), ElementsAre("one", "two"));
  EXPECT_FALSE(Api::EnableItem("tone", "one")) << "it stays disabled";
  EXPECT_FALSE(Api::IsItemEnabled("tone"));
  EXPECT_THAT(Disablers("tone"), ElementsAre("two"));
  EXPECT_TRUE(Api::EnableItem("tone", "two"));
  EXPECT_TRUE(Api::IsItemEnabled("tone"));
}

TEST_F(DisabledItems, AnApplicationCannotLetGoWhatOnlyAnotherDisables) {
  Api::DisableItem("tone", "one");
  EXPECT_FALSE(Api::EnableItem("tone", "two"));
  EXPECT_THAT(Disablers("tone"), ElementsAre("one"));
}

TEST_F(DisabledItems, AListIsAnsweredWithTheItemsThatItDisabledInItsOrder) {
  Api::DisableItem("audio", "two");
  EXPECT_EQ(Disable({"reset", "audio", "picture", "tone"}, "one"),
            Answer(true, {"reset", "picture", "tone"}));
  EXPECT_THAT(Disablers("audio"), ElementsAre("two", "one"));
}

TEST_F(DisabledItems, AListOfDisabledItemsIsAnsweredByNothingButRecorded) {
  Disable({"tone", "audio"}, "one");
  EXPECT_EQ(Disable({"tone", "audio"}, "two"), Answer(false, {}));
  EXPECT_THAT(Disablers("audio"), ElementsAre("one", "two"));
}

TEST_F(DisabledItems, AnItemThatAListRepeatsCountsOnce) {
  EXPECT_EQ(Disable({"tone", "game", "tone", "tone"}, "one"), Answer(true, {"tone", "game"}));
  EXPECT_THAT(Disablers("tone"), ElementsAre("one"));
  EXPECT_EQ(Release("one"), Answer(true, {"tone", "game"}));
}

TEST_F(DisabledItems, AnEmptyListChangesNothing) {
  EXPECT_EQ(Disable({}, "one"), Answer(false, {}));
  EXPECT_EQ(m_Platform.Writes(), 0);
}

TEST_F(DisabledItems, TheRequestedListIsLeftAsItIs) {
  Texts requested = {"tone", "nosuch", "tone"};
  Texts disabled = {"before"};
  EXPECT_TRUE(Api::DisableItemsByList(requested, disabled, "one"));
  EXPECT_THAT(requested, ElementsAre("tone", "nosuch", "tone"));
  EXPECT_THAT(disabled, ElementsAre("before", "tone"));
}

TEST_F(DisabledItems, TheEndOfAnApplicationReleasesWhatOnlyItDisabledInMenuOrder) {
  Disable({"reset", "audio", "game", "tone", "picture"}, "one");
  Disable({"game", "brightness"}, "two");
  EXPECT_EQ(Release("one"), Answer(true, {"picture", "tone", "audio", "reset"}));
  EXPECT_THAT(Disabled(), ElementsAre("brightness", "game"));
  EXPECT_EQ(Release("two"), Answer(true, {"brightness", "game"}));
  EXPECT_THAT(Disabled(), IsEmpty());
}

TEST_F(DisabledItems, TheEndOfOneOfTwoApplicationsReleasesNothingButIsRecorded) {
  Api::DisableItem("tone", "one");
  Api::DisableItem("tone", "two");
  EXPECT_EQ(Release("one"), Answer(false, {}));
  EXPECT_THAT(Disablers("tone"), ElementsAre("two"));
  EXPECT_EQ(Release("one"), Answer(false, {})) << "there was nothing left of it";
  EXPECT_EQ(Release("two"), Answer(true, {"tone"}));
}

TEST_F(DisabledItems, TheEndOfAnUnknownApplicationReleasesNothing) {
  Api::DisableItem("tone", "one");
  const int writes = m_Platform.Writes();
  EXPECT_EQ(Release("two"), Answer(false, {}));
  EXPECT_EQ(Release(""), Answer(false, {}));
  EXPECT_EQ(m_Platform.Writes(), writes);
}

TEST_F(DisabledItems, ReleasedItemsAreAppendedToTheOutput) {
  Api::DisableItem("tone", "one");
  Texts released = {"before"};
  EXPECT_TRUE(Api::RemoveDisabledItemsByAppname(released, "one"));
  EXPECT_THAT(released, ElementsAre("before", "tone"));
}

TEST_F(DisabledItems, AnUnknownItemCannotBeDisabled) {
  EXPECT_FALSE(Api::DisableItem("nosuch", "one"));
  EXPECT_FALSE(Api::DisableItem("", "one"));
  EXPECT_FALSE(Api::EnableItem("nosuch", "one"));
  EXPECT_EQ(Disable({"nosuch", "tone", "Tone"}, "one"), Answer(true, {"tone"}));
  EXPECT_EQ(Disable({"nosuch"}, "two"), Answer(false, {}));
  EXPECT_THAT(Disabled(), ElementsAre("tone"));
}

TEST_F(DisabledItems, AnUnknownItemIsNotEnabledAndHasNoDisablers) {
  Texts apps = {"before"};
  EXPECT_FALSE(Api::IsItemEnabled("nosuch"));
  EXPECT_FALSE(Api::GetDisablerAppNamesByMenuId("nosuch", apps));
  EXPECT_THAT(apps, ElementsAre("before"));
}

TEST_F(DisabledItems, AnApplicationWithoutANameIsRefused) {
  EXPECT_FALSE(Api::DisableItem("tone", ""));
  EXPECT_EQ(Disable({"tone"}, ""), Answer(false, {}));
  EXPECT_TRUE(Api::IsItemEnabled("tone"));
  EXPECT_EQ(m_Platform.Writes(), 0);
}

TEST_F(DisabledItems, GroupsAndActionsCanBeDisabled) {
  EXPECT_EQ(Disable({"picture", "reset"}, "one"), Answer(true, {"picture", "reset"}));
}

TEST_F(DisabledItems, AreListedInTheOrderOfTheMenu) {
  Disable({"reset", "audio", "tone", "game", "picture"}, "one");
  EXPECT_THAT(Disabled(), ElementsAre("picture", "tone", "game", "audio", "reset"));
}

TEST_F(DisabledItems, ListsAreAppendedToTheOutput) {
  Api::DisableItem("tone", "one");
  Texts texts = {"before"};
  EXPECT_TRUE(Api::GetDisabledItemsList(texts));
  EXPECT_TRUE(Api::GetDisablerAppNamesByMenuId("tone", texts));
  EXPECT_THAT(texts, ElementsAre("before", "tone", "one"));
}

TEST_F(DisabledItems, AHiddenItemOrOneThatItsRulesDisableCanBeDisabledToo) {
  LoadItems(R"({"id": "grey", "kind": "action", "name": "G", "displayId": "G",
    "visible": {"source": "av"}, "enabled": {"source": "av"}})");
  EXPECT_TRUE(Api::IsItemEnabled("grey")) << "this asks for the record alone";
  EXPECT_TRUE(Api::DisableItem("grey", "one"));
  EXPECT_FALSE(Api::IsItemEnabled("grey"));
}

TEST_F(DisabledItems, ACallWhoseChangeCannotBeMirroredChangesNothingAndSaysSo) {
  Disable({"tone", "game", "audio"}, "one");
  Disable({"tone", "brightness"}, "two");
  const std::string mirror = Mirror();
  m_Platform.FailWritesTo(kMirror);
  EXPECT_FALSE(Api::DisableItem("reset", "three"));
  EXPECT_FALSE(Api::DisableItem("tone", "three"));
  EXPECT_EQ(Disable({"reset", "picture", "tone"}, "three"), Answer(false, {}));
  EXPECT_FALSE(Api::EnableItem("game", "one"));
  EXPECT_FALSE(Api::EnableItem("tone", "one"));
  EXPECT_EQ(Release("one"), Answer(false, {}));
  EXPECT_EQ(Release("two"), Answer(false, {}));
  EXPECT_EQ(Mirror(), mirror);
  EXPECT_THAT(Disabled(), ElementsAre("tone", "brightness", "game", "audio"));
  EXPECT_THAT(Disablers("tone"), ElementsAre("one", "two"));
  EXPECT_THAT(Disablers("game"), ElementsAre("one"));
  EXPECT_THAT(Disablers("reset"), IsEmpty());
  EXPECT_THAT(Errors(), testing::SizeIs(7));
  EXPECT_THAT(Errors(), testing::Each(HasSubstr("memory/menu/disabled_items: cannot be written")));

  m_Platform.LetWritesSucceed();
  EXPECT_EQ(Release("one"), Answer(true, {"game", "audio"}));
  EXPECT_THAT(Disablers("tone"), ElementsAre("two"));
}

TEST_F(DisabledItems, LoadingTheItemsAgainKeepsTheRecord) {
  Disable({"tone", "game"}, "one");
  const int writes = m_Platform.Writes();
  Api::InitSettingsItemInfoAPI();
  EXPECT_THAT(Disabled(), ElementsAre("tone", "game"));
  EXPECT_EQ(m_Platform.Writes(), writes);
}

TEST_F(DisabledItems, LoadingItemsDropsThoseThatAreUnknownNow) {
  Disable({"tone", "game", "audio"}, "one");
  WriteCatalogue(R"({"items": [
    {"id": "game", "kind": "action", "name": "Game", "displayId": "GAME"}]})");
  Api::InitSettingsItemInfoAPI();
  EXPECT_THAT(Disabled(), ElementsAre("game"));
  EXPECT_EQ(Mirror(), R"({"id":"game","apps":["one"]})");
  EXPECT_THAT(Errors(), ElementsAre(HasSubstr("dropped 2 items that are not in the catalogue; the "
                                              "first is \"audio\"")));
  EXPECT_EQ(Release("one"), Answer(true, {"game"}));
}

TEST_F(DisabledItems, TheRecordWaitsForACatalogueThatCanBeLoaded) {
  Disable({"tone", "game"}, "one");
  const std::string mirror = Mirror();
  RemoveCatalogue();
  Api::InitSettingsItemInfoAPI();
  Texts ids;
  EXPECT_FALSE(Api::GetDisabledItemsList(ids));
  EXPECT_FALSE(Api::IsItemEnabled("audio"));
  EXPECT_FALSE(Api::GetDisablerAppNamesByMenuId("tone", ids));
  EXPECT_THAT(ids, IsEmpty());
  EXPECT_FALSE(Api::DisableItem("audio", "one"));
  EXPECT_FALSE(Api::EnableItem("tone", "one"));
  EXPECT_EQ(Release("one"), Answer(false, {}));
  EXPECT_EQ(Mirror(), mirror);

  WriteCatalogue("{\"items\": [" + std::string(kItems) + "]}");
  Api::InitSettingsItemInfoAPI();
  EXPECT_THAT(Disabled(), ElementsAre("tone", "game"));
}

}  // namespace
