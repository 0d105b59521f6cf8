#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "items/catalogue.h"

namespace {

using host::Catalogue;
using host::Item;
using host::ItemKind;
using host::Storage;
using host::ValueName;
using host::ValueText;

const std::filesystem::path kDirectory = DELIVERED_CATALOGUE_DIR;

class DeliveredCatalogue : public testing::Test {
 protected:
  const Item& Find(const char* id) const {
    const Item* item = m_Catalogue.Find(id);
    if (item == nullptr) {
      throw std::runtime_error(std::string("no item ") + id);
    }
    return *item;
  }

  // The values of an item with their names, the first `count` at most.
  std::vector<std::string> Values(const char* id, host::ValuePosition count) const {
    std::vector<std::string> values;
    for (host::ValuePosition position = 0; position < count; ++position) {
      values.push_back(ValueText(Find(id).value->values, position) + "=" +
                       ValueName(Find(id).value->values, position));
    }
    return values;
  }

  std::string Default(const char* id) const {
    return ValueText(Find(id).value->values, Find(id).value->standard);
  }

  int Depth(const Item& item) const {
    return item.parent == host::kNoItem ? 1 : 1 + Depth(m_Catalogue.At(item.parent));
  }

  Catalogue m_Catalogue = Catalogue::Load(kDirectory / "menu.json");
};

TEST_F(DeliveredCatalogue, HasItemsOfEveryKindInEveryArea) {
  EXPECT_GE(m_Catalogue.Items().size(), 40u);
  std::set<ItemKind> kinds;
  std::vector<std::string> areas;
  for (const Item& item : m_Catalogue.Items()) {
    kinds.insert(item.kind);
    if (item.parent == host::kNoItem) {
      areas.push_back(item.id);
    }
  }
  EXPECT_EQ(kinds.size(), 5u);
  EXPECT_THAT(areas, testing::ElementsAre("picture", "sound", "broadcasting", "network", "general",
                                          "accessibility", "game", "support"));
}

TEST_F(DeliveredCatalogue, GroupsAreAtMostFourDeep) {
  int deepest = 0;
  for (const Item& item : m_Catalogue.Items()) {
    if (item.kind == ItemKind::kGroup) {
      deepest = std::max(deepest, Depth(item));
    }
  }
  EXPECT_EQ(deepest, 4);
}

TEST_F(DeliveredCatalogue, TheIndexNamesEveryFileOfItems) {
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(kDirectory)) {
    const std::string name = entry.path().filename();
    files += name.ends_with(".json") && name != "menu.json" && !name.ends_with(".schema.json");
  }
  const std::size_t areas =
      std::count_if(m_Catalogue.Items().begin(), m_Catalogue.Items().end(),
                    [](const Item& item) { return item.parent == host::kNoItem; });
  EXPECT_EQ(areas, files);
}

TEST_F(DeliveredCatalogue, ThePictureModesBeginAtStandard) {
  EXPECT_THAT(Values("picturemode", 4), testing::ElementsAre("dynamic=Dynamic", "standard=Standard",
                                                             "movie=Movie", "filmmaker=Filmmaker"));
  EXPECT_EQ(Default("picturemode"), "standard");
  EXPECT_EQ(m_Catalogue.Path(Find("picturemode")), "picture/picturemode");
}

TEST_F(DeliveredCatalogue, BrightnessGoesFromZeroToFiftyOneByOne) {
  const auto& range = std::get<host::Range>(Find("brightness").value->values);
  EXPECT_EQ(range.values.Number(0), 0);
  EXPECT_EQ(range.values.LastPosition(), 50);
  EXPECT_EQ(range.values.Step(), 1);
}

TEST_F(DeliveredCatalogue, AutoPowerOffIsStoredAsANumberOfHours) {
  EXPECT_THAT(Values("autopoweroff", 4),
              testing::ElementsAre("0=Off", "4=4 hours", "6=6 hours", "8=8 hours"));
  EXPECT_EQ(Default("autopoweroff"), "0");
  EXPECT_EQ(Find("autopoweroff").value->key, "db/menu/auto_power_off");
  EXPECT_EQ(Find("autopoweroff").value->storage, Storage::kInt);
}

TEST_F(DeliveredCatalogue, TheGameModeIsASwitch) {
  EXPECT_EQ(Find("gamemode").kind, ItemKind::kSwitch);
  EXPECT_THAT(Values("gamemode", 2), testing::ElementsAre("off=Off", "on=On"));
}

TEST_F(DeliveredCatalogue, OnlyTheSoundOutputFollowsTheSpeaker) {
  for (const Item& item : m_Catalogue.Items()) {
    if (item.value) {
      EXPECT_EQ(item.value->followsSpeaker, item.id == "soundoutput") << item.id;
    }
  }
}

TEST_F(DeliveredCatalogue, HasRangesBelowZeroWithFractionsAndWithUnits) {
  bool isNegative = false;
  bool isFractional = false;
  bool hasUnit = false;
  for (const Item& item : m_Catalogue.Items()) {
    if (item.kind == ItemKind::kRange) {
      const auto& range = std::get<host::Range>(item.value->values);
      isNegative |= range.values.Number(0) < 0;
      isFractional |= !range.values.IsWhole();
      hasUnit |= !range.unit.empty();
    }
  }
  EXPECT_TRUE(isNegative);
  EXPECT_TRUE(isFractional);
  EXPECT_TRUE(hasUnit);
}

}  // namespace
