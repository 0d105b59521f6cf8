#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "items/host_inputs.h"
#include "items/item_library.h"
#include "items/translation.h"
#include "platform_double.h"

namespace {

using host::Catalogue;
using host::InputKind;
using host::Item;
using host::ItemKind;
using host::Option;
using host::RuleKind;
using host::States;
using host::Storage;
using host::ValueName;
using host::ValueText;

const std::filesystem::path kDirectory = DELIVERED_CATALOGUE_DIR;

constexpr char kGameBar[] = "com.velmora/featureconf/game_bar.support";
constexpr char kGameBarLaunch[] = "com.velmora/featureconf/game_bar.auto_launch_support_type";
constexpr char kOutdoor[] = "com.velmora/featureconf/outdoor_tv_product_image_support";
constexpr char kEnergyNotice[] = "com.velmora/featureconf/oobe.show_energy_regulation_brightness";

class DeliveredCatalogue : public testing::Test {
 protected:
  DeliveredCatalogue() { MakeSetNew(); }

  ~DeliveredCatalogue() override { PlatformDouble::Get().Reset(); }

  // A set of a model with every feature, on which nothing was set yet: the tuner is on the screen,
  // the set's own speaker plays.
  void MakeSetNew() {
    PlatformDouble& platform = PlatformDouble::Get();
    platform.Reset();
    platform.SetFeature(kGameBar, true);
    platform.SetFeature(kGameBarLaunch, 1);
    platform.SetFeature(kOutdoor, true);
    platform.SetFeature(kEnergyNotice, true);
    m_Library.FreshSpeakerType();
  }

  static void Set(const char* key, std::variant<int, std::string> value) {
    PlatformDouble::Get().SetKey(key, std::move(value));
  }

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

  const Item& Area(const Item& item) const {
    return item.parent == host::kNoItem ? item : Area(m_Catalogue.At(item.parent));
  }

  const Option& FindOption(const char* id, const char* value) const {
    const auto& options = std::get<std::vector<Option>>(Find(id).value->values);
    const auto option = std::find_if(options.begin(), options.end(),
                                     [&](const Option& other) { return other.value == value; });
    if (option == options.end()) {
      throw std::runtime_error(std::string("no option ") + value);
    }
    return *option;
  }

  bool IsVisible(const States& states) const { return m_Library.IsTrue(states.visible); }
  bool IsEnabled(const States& states) const { return m_Library.IsTrue(states.enabled); }

  // The same for an item and every group above it.
  bool IsPathVisible(const Item& item) const {
    return IsVisible(item.states) &&
           (item.parent == host::kNoItem || IsPathVisible(m_Catalogue.At(item.parent)));
  }
  bool IsPathEnabled(const Item& item) const {
    return IsEnabled(item.states) &&
           (item.parent == host::kNoItem || IsPathEnabled(m_Catalogue.At(item.parent)));
  }

  static bool HasRule(const States& states) {
    return states.visible != host::kNoRule || states.enabled != host::kNoRule;
  }

  const Catalogue& Load() {
    m_Library.Load(kDirectory / "menu.json");
    if (m_Library.Loaded() == nullptr) {
      throw std::runtime_error(PlatformDouble::Get().Log().front().text);
    }
    return *m_Library.Loaded();
  }

  host::HostInputs m_Inputs;
  host::ItemLibrary m_Library{m_Inputs};
  const Catalogue& m_Catalogue = Load();
};

TEST_F(DeliveredCatalogue, HasTheWholeMenuOfATelevision) {
  EXPECT_GE(m_Catalogue.Items().size(), 250u);
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

TEST_F(DeliveredCatalogue, GroupsLieFourDeepInSeveralAreas) {
  std::set<std::string> areas;
  for (const Item& item : m_Catalogue.Items()) {
    if (item.kind == ItemKind::kGroup && Depth(item) >= 4) {
      areas.insert(Area(item).id);
    }
  }
  EXPECT_THAT(areas, testing::IsSupersetOf({"picture", "sound", "broadcasting", "general"}));
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

TEST_F(DeliveredCatalogue, TheMenuLanguageIsALocaleName) {
  EXPECT_EQ(Find("menulanguage").value->key, "db/menu_widget/language");
  EXPECT_EQ(Find("menulanguage").value->storage, Storage::kString);
  EXPECT_EQ(Default("menulanguage"), "en_US");
  for (const char* language : {"en_GB", "ko_KR", "de_DE", "fr_FR", "es_ES", "ar_AE"}) {
    EXPECT_NE(FindOption("menulanguage", language).name, "") << language;
  }
}

TEST_F(DeliveredCatalogue, TheAimPointHasTheKeysThatTheOverlayWatches) {
  EXPECT_EQ(Find("virtualaim").value->key, "memory/menu/virtualaim/status");
  EXPECT_EQ(Find("virtualaim").value->storage, Storage::kInt);
  EXPECT_EQ(Find("aimtype").value->key, "db/menu/virtualaim/aimtype");
  EXPECT_EQ(Find("aimtype").value->storage, Storage::kInt);
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

TEST_F(DeliveredCatalogue, ADelayIsSaidInMillisecondsAndKeptInTens) {
  const auto& values = Find("sounddelay").value->values;
  EXPECT_EQ(ValueName(values, 25), "250 ms");
  EXPECT_EQ(ValueText(values, 25), "250");
  EXPECT_EQ(host::KeptNumber(values, 25), 25);
  EXPECT_EQ(Find("sounddelay").value->storage, Storage::kInt);
}

TEST_F(DeliveredCatalogue, HasRulesOfEveryForm) {
  const host::Rules& rules = m_Catalogue.AllRules();
  std::map<RuleKind, int> uses;
  std::map<InputKind, int> asked;
  int sources = 0;
  for (const host::RuleNode& node : rules.nodes) {
    ++uses[node.kind];
    if (node.kind == RuleKind::kNumber || node.kind == RuleKind::kText) {
      const host::RuleInput& input = rules.inputs[node.input];
      ++asked[input.kind];
      sources += input.name == "memory/set/source/type";
    }
  }
  EXPECT_GE(uses[RuleKind::kAll], 5);
  EXPECT_GE(uses[RuleKind::kAny], 5);
  EXPECT_GE(uses[RuleKind::kNot], 5);
  EXPECT_GE(asked[InputKind::kItem], 5);
  EXPECT_GE(asked[InputKind::kIntKey] + asked[InputKind::kTextKey] - sources, 5);
  EXPECT_GE(asked[InputKind::kBoolFeature], 5);
  EXPECT_GE(asked[InputKind::kIntFeature], 1);
  EXPECT_GE(sources, 5);
  EXPECT_GE(asked[InputKind::kSpeaker], 5);
}

TEST_F(DeliveredCatalogue, ManyItemsAndOptionsHaveRules) {
  int items = 0;
  int options = 0;
  for (const Item& item : m_Catalogue.Items()) {
    items += HasRule(item.states);
    if (item.kind == ItemKind::kList) {
      const auto& list = std::get<std::vector<Option>>(item.value->values);
      options += static_cast<int>(std::count_if(
          list.begin(), list.end(), [](const Option& option) { return HasRule(option.states); }));
    }
  }
  EXPECT_GE(items, 60);
  EXPECT_GE(options, 20);
}

TEST_F(DeliveredCatalogue, MostOfTheMenuIsVisibleAndEnabledOnANewSet) {
  const auto items = m_Catalogue.Items();
  const auto visible = std::count_if(items.begin(), items.end(),
                                     [this](const Item& item) { return IsPathVisible(item); });
  const auto usable = std::count_if(items.begin(), items.end(), [this](const Item& item) {
    return IsPathVisible(item) && IsPathEnabled(item);
  });
  EXPECT_GT(visible * 100, std::ssize(items) * 80);
  EXPECT_GT(usable * 100, std::ssize(items) * 60);
}

TEST_F(DeliveredCatalogue, WhatAModelDoesNotHaveIsHidden) {
  const std::map<std::string, std::vector<const char*>> items = {
      {kGameBar, {"gamebarsettings", "gamebar", "gamebarfps", "aimpoint", "virtualaim"}},
      {kOutdoor, {"outdoorpicture", "outdoormode", "sunlightboost"}},
      {kEnergyNotice, {"energynotice"}},
  };
  for (const auto& [feature, ids] : items) {
    for (const char* id : ids) {
      EXPECT_TRUE(IsVisible(Find(id).states)) << id;
    }
    PlatformDouble::Get().SetFeature(feature, false);
    for (const char* id : ids) {
      EXPECT_FALSE(IsVisible(Find(id).states)) << id;
    }
  }
  EXPECT_TRUE(IsVisible(Find("gamebarstart").states));
  PlatformDouble::Get().SetFeature(kGameBarLaunch, 0);
  EXPECT_FALSE(IsVisible(Find("gamebarstart").states));
}

TEST_F(DeliveredCatalogue, TheDefaultOfAListIsVisibleAndEnabledOnANewSet) {
  for (const Item& item : m_Catalogue.Items()) {
    if (item.kind == ItemKind::kList) {
      const Option& option = FindOption(item.id.c_str(), Default(item.id.c_str()).c_str());
      EXPECT_TRUE(IsVisible(option.states)) << item.id;
      EXPECT_TRUE(IsEnabled(option.states)) << item.id;
    }
  }
}

TEST_F(DeliveredCatalogue, TheGameModeHidesThePictureModeForFilms) {
  const States& filmmaker = FindOption("picturemode", "filmmaker").states;
  EXPECT_TRUE(IsVisible(filmmaker));
  Set("db/menu/gamemode", 1);
  EXPECT_FALSE(IsVisible(filmmaker));
  EXPECT_TRUE(IsVisible(FindOption("picturemode", "movie").states));
}

TEST_F(DeliveredCatalogue, BrightnessIsSetByHandUnlessThePictureIsAutomaticOrDynamic) {
  const Item& brightness = Find("brightness");
  EXPECT_TRUE(IsPathEnabled(brightness));
  Set("db/menu/automaticpicture", 1);
  EXPECT_FALSE(IsEnabled(brightness.states));
  Set("db/menu/automaticpicture", 0);
  EXPECT_TRUE(IsEnabled(brightness.states));
  Set("db/menu/picturemode", "dynamic");
  EXPECT_TRUE(IsEnabled(brightness.states));
  EXPECT_FALSE(IsPathEnabled(brightness));
}

TEST_F(DeliveredCatalogue, ChannelsAreTunedWhileTheTunerIsOnTheScreen) {
  EXPECT_TRUE(IsPathEnabled(Find("autotuning")));
  EXPECT_FALSE(IsPathVisible(Find("hdmiblacklevel")));
  EXPECT_FALSE(IsVisible(FindOption("aspectratio", "original").states));
  Set("memory/set/source/type", "hdmi");
  EXPECT_FALSE(IsPathEnabled(Find("autotuning")));
  EXPECT_TRUE(IsPathVisible(Find("hdmiblacklevel")));
  EXPECT_TRUE(IsVisible(FindOption("aspectratio", "original").states));
}

TEST_F(DeliveredCatalogue, SoundIsShapedForTheSpeakerThatPlays) {
  EXPECT_TRUE(IsPathEnabled(Find("equaliser")));
  EXPECT_TRUE(IsPathVisible(Find("volumetvspeaker")));
  Set("memory/set/speaker", "optical");
  m_Library.FreshSpeakerType();
  EXPECT_FALSE(IsPathEnabled(Find("equaliser")));
  EXPECT_FALSE(IsPathVisible(Find("volumetvspeaker")));
  EXPECT_TRUE(IsPathEnabled(Find("digitaldelay")));
}

TEST_F(DeliveredCatalogue, NothingIsResetOrUpdatedWhileAGeneralResetIsInProgress) {
  for (const char* id : {"reset", "factoryreset", "picturereset", "soundreset", "networkreset",
                         "gamereset", "updatenow"}) {
    Set("memory/menu/general/reset/progressing", 0);
    EXPECT_TRUE(IsPathEnabled(Find(id))) << id;
    Set("memory/menu/general/reset/progressing", 1);
    EXPECT_FALSE(IsPathEnabled(Find(id))) << id;
  }
}

}  // namespace
