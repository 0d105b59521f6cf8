#include "items/item_changes.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "catalogue_directory.h"
#include "drawn_catalogue.h"
#include "items/item_library.h"
#include "items/translation.h"
#include "memory_inputs.h"
#include "platform_double.h"
#include "set/keys.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Held = std::optional<host::KeyValue>;
using Lines = std::vector<std::string>;

std::string LineOf(const Json::Value& json) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, json);
}

// A library, the keys under it, and what it is told of them.
class Told : private host::ItemListener {
 public:
  explicit Told(const std::filesystem::path& catalogue) {
    inputs.features["com.velmora/featureconf/game_bar.support"] = true;
    library.Load(catalogue);
    changes = std::make_unique<host::ItemChanges>(*library.Loaded(), inputs, library.Disabled(),
                                                  library.SpeakerType());
    changes->Begin(AllKeys());
    library.Listen(this);
  }

  std::vector<std::pair<std::string, host::KeyValue>> AllKeys() const {
    return {inputs.keys.begin(), inputs.keys.end()};
  }

  std::size_t Write(const std::string& key, const Held& value) {
    if (value) {
      inputs.keys[key] = *value;
    } else {
      inputs.keys.erase(key);
    }
    return changes->NoteKey(key, value);
  }

  // As the library does it, with the keys that it wrote.
  void Store(const std::string& id, const std::string& value) {
    const auto before = inputs.keys;
    const host::Item& item = *library.Find(id);
    library.StoreValue(item, *host::FindValue(item.value->values, value));
    // The preview ends first.
    for (const std::string& key : {item.value->previewKey, item.value->key}) {
      const auto old = before.find(key);
      const auto now = inputs.keys.find(key);
      if (now != inputs.keys.end() && (old == before.end() || old->second != now->second)) {
        changes->NoteKey(key, now->second);
      }
    }
    changes->Settle();
  }

  // All that is noted, a line for each item.
  Lines Take() {
    Lines lines;
    const Json::Value body = changes->TakeItems(1'000'000);
    for (const Json::Value& item : body["items"]) {
      lines.push_back(LineOf(item));
    }
    return lines;
  }

  // What every item answers when it is asked, in the order of the menu.
  std::vector<Json::Value> AskAll() const {
    const host::Judge judge = library.Now();
    std::vector<Json::Value> all;
    for (const host::Item& item : library.Loaded()->Items()) {
      Json::Value& answers = all.emplace_back();
      answers["menuID"] = item.id;
      if (item.value) {
        const host::ValuePosition value = judge.CurrentValue(item);
        answers["value"] = host::ValueText(item.value->values, value);
        answers["valueName"] = host::ValueName(item.value->values, value);
      }
      answers["visible"] = judge.IsTrue(item.states.visible);
      answers["enabled"] =
          !library.Disabled().Contains(item.id) && judge.IsTrue(item.states.enabled);
    }
    return all;
  }

  MemoryInputs inputs;
  host::ItemLibrary library{inputs};
  std::unique_ptr<host::ItemChanges> changes;

 private:
  void OnLoaded() override {}
  void OnSpeakerRead() override { changes->NoteSpeaker(library.SpeakerType()); }
  void OnPreviewReplaced(const host::Item& item) override { changes->ExpectReplacedPreview(item); }
  void OnDisabledOrReleased(std::span<const std::string> ids) override {
    changes->NoteDisabled(ids);
  }
};

// The items whose answers differ, with the answers that do.
Lines Differing(const std::vector<Json::Value>& before, const std::vector<Json::Value>& after) {
  Lines lines;
  for (std::size_t i = 0; i < after.size(); ++i) {
    Json::Value differing;
    for (const std::string& member : after[i].getMemberNames()) {
      if (after[i][member] != before[i][member]) {
        differing[member] = after[i][member];
      }
    }
    if (!differing.isNull()) {
      differing["menuID"] = after[i]["menuID"];
      lines.push_back(LineOf(differing));
    }
  }
  return lines;
}

// All keys that mean something to the catalogue, and what is worth writing to each.
std::map<std::string, std::vector<Held>> KeysOf(const host::Catalogue& catalogue) {
  std::map<std::string, std::vector<Held>> keys;
  for (const host::Item& item : catalogue.Items()) {
    if (!item.value) {
      continue;
    }
    const host::ValueDefinition& value = *item.value;
    const auto last = std::holds_alternative<host::Range>(value.values)
                          ? std::get<host::Range>(value.values).values.LastPosition()
                          : std::get<std::vector<host::Option>>(value.values).size() - 1;
    for (const host::ValuePosition position : {host::ValuePosition(last), host::ValuePosition(0)}) {
      keys[value.previewKey].push_back(host::ValueText(value.values, position));
      keys[value.key].push_back(value.storage == host::Storage::kString
                                    ? Held(host::KeptText(value.values, position))
                                    : Held(host::KeptNumber(value.values, position)));
    }
    keys[value.previewKey].push_back("");
    keys[value.key].push_back("none of its values");
  }
  for (const host::RuleInput& input : catalogue.AllRules().inputs) {
    if (input.kind == host::InputKind::kIntKey || input.kind == host::InputKind::kTextKey) {
      for (const Held& value : {Held("hdmi"), Held(1), Held("on"), Held(0), Held()}) {
        keys[input.name].push_back(value);
      }
    }
  }
  return keys;
}

void ExpectWhatAskingFinds(const std::filesystem::path& file) {
  Told told(file);
  std::vector<Json::Value> before = told.AskAll();
  int announced = 0;
  const auto expect = [&](const std::string& what) {
    std::vector<Json::Value> after = told.AskAll();
    const Lines expected = Differing(before, after);
    ASSERT_EQ(told.Take(), expected) << what;
    announced += static_cast<int>(expected.size());
    before = std::move(after);
  };
  for (const char* speaker : {"optical", "nothing", "receiver", ""}) {
    told.inputs.keys[host::kSpeakerKey] = speaker;
    told.library.FreshSpeakerType();
    expect(speaker);
  }
  for (const auto& [key, values] : KeysOf(*told.library.Loaded())) {
    for (const Held& value : values) {
      told.Write(key, value);
      expect(key);
    }
  }
  std::vector<std::string> ids;
  for (const host::Item& item : told.library.Loaded()->Items()) {
    ids.push_back(item.id);
  }
  told.library.Disabled().Disable(ids, "org.example.one");
  expect("disabling");
  told.library.Disabled().Disable(ids, "org.example.other");
  told.library.Disabled().Release("org.example.one");
  expect("releasing one of two");
  told.library.Disabled().Release("org.example.other");
  expect("releasing");
  EXPECT_GT(announced, 100);
}

TEST(ItemChanges, AreWhatAskingEverythingFindsInTheDeliveredCatalogue) {
  ExpectWhatAskingFinds(std::filesystem::path(DELIVERED_CATALOGUE_DIR) / "menu.json");
}

TEST(ItemChanges, AreWhatAskingEverythingFindsInDrawnCatalogues) {
  const CatalogueDirectory directory;
  for (unsigned seed = 0; seed < 30; ++seed) {
    SCOPED_TRACE(seed);
    ExpectWhatAskingFinds(directory.Write("menu.json", DrawnCatalogue(seed).Text()));
  }
}

constexpr char kGame[] = R"(
  {"id": "game", "kind": "switch", "name": "Game", "displayId": "GAME", "default": "off"},
  {"id": "mode", "kind": "list", "name": "Mode", "displayId": "MODE", "default": "film",
   "enabled": {"item": "game", "is": "on"},
   "options": [{"value": "film", "name": "Film"}, {"value": "cinema", "name": "Film"},
               {"value": "sport", "name": "Sport"}]},
  {"id": "delay", "kind": "range", "name": "Delay", "displayId": "DELAY", "default": 0,
   "min": 0, "max": 250, "step": 10, "unit": "ms", "kept": {"min": 0, "step": 1},
   "visible": {"item": "mode", "is": "sport"}},
  {"id": "menulanguage", "kind": "list", "name": "Language", "displayId": "LANGUAGE",
   "key": "db/menu_widget/language", "default": "en_GB",
   "options": [{"value": "en_GB", "name": "English"}, {"value": "de_DE", "name": "Deutsch"}]})";

class SmallMenu : public testing::Test {
 protected:
  SmallMenu() { PlatformDouble::Get().Reset(); }
  ~SmallMenu() override { PlatformDouble::Get().Reset(); }

  CatalogueDirectory m_Directory;
  Told m_Told{m_Directory.Write("menu.json", fmt::format(R"({{"items": [{}]}})", kGame))};
};

TEST_F(SmallMenu, HasNoChangeBeforeOneIsMade) { EXPECT_TRUE(m_Told.changes->IsEmpty()); }

TEST_F(SmallMenu, TellsOnlyWhatChangedInTheOrderOfTheMenu) {
  m_Told.Write("db/menu/mode", "sport");
  m_Told.Write("db/menu/game", 1);
  EXPECT_THAT(m_Told.Take(),
              ElementsAre(R"({"menuID":"game","value":"on","valueName":"On"})",
                          R"({"enabled":true,"menuID":"mode","value":"sport","valueName":"Sport"})",
                          R"({"menuID":"delay","visible":true})"));
  EXPECT_TRUE(m_Told.changes->IsEmpty());
}

TEST_F(SmallMenu, TellsAValueWithoutItsNameIfThatIsTheSame) {
  m_Told.Write("db/menu/mode", "cinema");
  EXPECT_THAT(m_Told.Take(), ElementsAre(R"({"menuID":"mode","value":"cinema"})"));
}

TEST_F(SmallMenu, TellsTheUnitOfTheMenu) {
  m_Told.Write("db/menu/delay", 12);
  EXPECT_THAT(m_Told.Take(),
              ElementsAre(R"({"menuID":"delay","value":"120","valueName":"120 ms"})"));
}

TEST_F(SmallMenu, IsSilentAboutAWriteThatLeavesEverythingAsItWas) {
  m_Told.Write("db/menu/game", 0);  // the default
  m_Told.Write("db/menu/mode", "none of its values");
  m_Told.Write("memory/menu/preview/mode", "film");
  m_Told.Write("db/menu/nothing", 1);
  EXPECT_TRUE(m_Told.changes->IsEmpty());
}

TEST_F(SmallMenu, TellsWhatAnItemIsThatChangedAndChangedBack) {
  m_Told.Write("db/menu/game", 1);
  m_Told.Write("db/menu/game", 0);
  EXPECT_THAT(m_Told.Take(), ElementsAre(R"({"menuID":"game","value":"off","valueName":"Off"})",
                                         R"({"enabled":false,"menuID":"mode"})"));
}

TEST_F(SmallMenu, TellsOnceWhatChangedSeveralTimes) {
  for (int i = 0; i < 7; ++i) {
    m_Told.Write("db/menu/delay", i);
  }
  EXPECT_THAT(m_Told.Take(), ElementsAre(R"({"menuID":"delay","value":"60","valueName":"60 ms"})"));
}

TEST_F(SmallMenu, IsSilentWhenAPreviewBecomesTheValue) {
  m_Told.Write("memory/menu/preview/mode", "sport");
  EXPECT_EQ(m_Told.Take().size(), 2u);
  m_Told.Store("mode", "sport");
  EXPECT_TRUE(m_Told.changes->IsEmpty());
  EXPECT_EQ(m_Told.inputs.Text("memory/menu/preview/mode"), "");
  m_Told.Store("mode", "film");
  EXPECT_EQ(m_Told.Take().size(), 2u);
}

TEST_F(SmallMenu, TellsOnceWhatTakesThePlaceOfAPreview) {
  m_Told.Write("memory/menu/preview/mode", "sport");
  m_Told.Take();
  m_Told.Store("mode", "cinema");
  EXPECT_THAT(m_Told.Take(), ElementsAre(R"({"menuID":"mode","value":"cinema","valueName":"Film"})",
                                         R"({"menuID":"delay","visible":false})"));
}

TEST_F(SmallMenu, TellsOfTheEndOfAPreviewWhoseValueIsStoredAlready) {
  m_Told.Write("db/menu/mode", "cinema");
  m_Told.Write("memory/menu/preview/mode", "sport");
  m_Told.Take();
  m_Told.Store("mode", "cinema");
  EXPECT_THAT(m_Told.Take(), ElementsAre(R"({"menuID":"mode","value":"cinema","valueName":"Film"})",
                                         R"({"menuID":"delay","visible":false})"));
}

TEST_F(SmallMenu, TellsOfAPreviewThatEndsByItself) {
  m_Told.Write("memory/menu/preview/mode", "cinema");
  m_Told.Take();
  m_Told.Write("memory/menu/preview/mode", "");
  EXPECT_THAT(m_Told.Take(), ElementsAre(R"({"menuID":"mode","value":"film"})"));
}

TEST_F(SmallMenu, IsSilentAboutTheDisablingOfWhatRulesDisable) {
  const std::array<std::string, 2> ids = {"mode", "delay"};
  m_Told.library.Disabled().Disable(ids, "org.example.app");
  EXPECT_THAT(m_Told.Take(), ElementsAre(R"({"enabled":false,"menuID":"delay"})"));
  m_Told.Write("db/menu/game", 1);
  EXPECT_THAT(m_Told.Take(), ElementsAre(R"({"menuID":"game","value":"on","valueName":"On"})"));
  m_Told.library.Disabled().Release("org.example.app");
  EXPECT_THAT(m_Told.Take(), ElementsAre(R"({"enabled":true,"menuID":"mode"})",
                                         R"({"enabled":true,"menuID":"delay"})"));
}

TEST_F(SmallMenu, TellsWhatARecordThatIsReadAgainDisables) {
  m_Told.inputs.keys[host::kDisabledItemsKey] = R"({"id":"game","apps":["org.example.app"]})";
  m_Told.library.Disabled().ReadMirror();
  EXPECT_THAT(m_Told.Take(), ElementsAre(R"({"enabled":false,"menuID":"game"})"));
  m_Told.library.Disabled().ReadMirror();
  EXPECT_TRUE(m_Told.changes->IsEmpty());
  m_Told.inputs.keys[host::kDisabledItemsKey] = "";
  m_Told.library.Disabled().ReadMirror();
  EXPECT_THAT(m_Told.Take(), ElementsAre(R"({"enabled":true,"menuID":"game"})"));
}

TEST_F(SmallMenu, TellsWhatDiffersAfterChangesWereLost) {
  m_Told.Write("db/menu/game", 1);
  m_Told.Write("db/menu/delay", 3);
  m_Told.Take();
  m_Told.inputs.keys = {{"db/menu/delay", 4}, {"db/menu/unknown", "x"}};
  m_Told.changes->NoteKeys(m_Told.AllKeys());
  EXPECT_THAT(m_Told.Take(), ElementsAre(R"({"menuID":"game","value":"off","valueName":"Off"})",
                                         R"({"enabled":false,"menuID":"mode"})",
                                         R"({"menuID":"delay","value":"40","valueName":"40 ms"})"));
  m_Told.changes->NoteKeys(m_Told.AllKeys());
  EXPECT_TRUE(m_Told.changes->IsEmpty());
}

TEST_F(SmallMenu, TellsEverythingWhenNobodyKnowsWhatItWas) {
  m_Told.changes->NoteAll();
  EXPECT_THAT(
      m_Told.Take(),
      ElementsAre(
          R"({"enabled":true,"menuID":"game","value":"off","valueName":"Off","visible":true})",
          R"({"enabled":false,"menuID":"mode","value":"film","valueName":"Film","visible":true})",
          R"({"enabled":true,"menuID":"delay","value":"0","valueName":"0 ms","visible":false})",
          R"({"enabled":true,"menuID":"menulanguage","value":"en_GB","valueName":"English",)"
          R"("visible":true})"));
}

TEST_F(SmallMenu, TellsALanguageAndTheItemWhoseValueItIsAndNoOther) {
  m_Told.Write("db/menu_widget/language", "de_DE");
  EXPECT_EQ(m_Told.changes->TakeLanguage(), "de_DE");
  EXPECT_THAT(m_Told.Take(),
              ElementsAre(R"({"menuID":"menulanguage","value":"de_DE","valueName":"Deutsch"})"));
  m_Told.Write("db/menu_widget/language", "de_DE");
  EXPECT_TRUE(m_Told.changes->IsEmpty());
}

TEST_F(SmallMenu, TellsALanguageThatTheMenuDoesNotHave) {
  m_Told.Write("db/menu_widget/language", "xx_XX");
  EXPECT_FALSE(m_Told.changes->IsEmpty());
  EXPECT_EQ(m_Told.changes->TakeLanguage(), "xx_XX");
  EXPECT_TRUE(m_Told.changes->IsEmpty());
}

// As the service goes on in the language that it has (docs/language.md).
TEST_F(SmallMenu, TellsNoLanguageWhenItsKeyHoldsNone) {
  m_Told.Write("db/menu_widget/language", "de_DE");
  m_Told.changes->TakeLanguage();
  m_Told.Write("db/menu_widget/language", std::nullopt);
  m_Told.Write("db/menu_widget/language", 7);
  m_Told.Write("db/menu_widget/language", "de_DE");
  EXPECT_EQ(m_Told.changes->TakeLanguage(), std::nullopt);
}

TEST_F(SmallMenu, IsTakenInPiecesInTheOrderOfTheMenu) {
  m_Told.changes->NoteAll();
  EXPECT_EQ(m_Told.changes->TakeItems(3)["items"][2]["menuID"].asString(), "delay");
  EXPECT_TRUE(m_Told.changes->HasItems());
  EXPECT_THAT(m_Told.Take(), testing::SizeIs(1));
  EXPECT_THAT(m_Told.Take(), IsEmpty());
}

// With as many more switches, each of which mentions the one before it.
std::string MenuWith(int switches) {
  std::string items = kGame;
  std::string before = "game";
  for (int i = 0; i < switches; ++i) {
    std::string id = fmt::format("s{}", i);
    items += fmt::format(R"(,
{{"id": "{}", "kind": "switch", "name": "S", "displayId": "S", "default": "off",
  "visible": {{"item": "{}", "is": "on"}}}})",
                         id, before);
    before = std::move(id);
  }
  return fmt::format(R"({{"items": [{}]}})", items);
}

TEST(ItemChanges, CostWhatIsConcernedHoweverManyItemsThereAre) {
  PlatformDouble::Get().Reset();
  const CatalogueDirectory directory;
  std::vector<std::vector<std::size_t>> judged;
  for (const int switches : {360, 100'000}) {
    Told told(directory.Write("menu.json", MenuWith(switches)));
    ASSERT_NE(told.library.Loaded(), nullptr) << PlatformDouble::Get().Log().front().text;
    judged.push_back({told.Write("db/menu/game", 1), told.Write("db/menu/mode", "sport"),
                      told.Write("db/menu/s7", 1), told.Write("memory/menu/preview/s8", "on"),
                      told.Write("db/menu/s7", 1), told.Write("db/menu/nobody", 1)});
    told.library.Disabled().Disable(std::array<std::string, 1>{"s9"}, "org.example.app");
    EXPECT_THAT(told.Take(), testing::SizeIs(7));
  }
  EXPECT_EQ(judged[0], judged[1]);
  EXPECT_THAT(judged[0], ElementsAre(3, 2, 2, 2, 0, 0));
}

}  // namespace
