#include <fmt/format.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "base/json.h"
#include "catalogue_directory.h"
#include "items/catalogue.h"
#include "set/keys.h"

namespace {

using host::Catalogue;
using host::Dependent;

std::string TextOf(const std::filesystem::path& file) {
  std::ifstream stream(file);
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

using Keys = std::set<std::string>;

// What depends on which key, found in the text of a catalogue by asking every rule of every item.
class EverythingAsked {
 public:
  // `files` are those with items, in their order.
  explicit EverythingAsked(const std::vector<std::filesystem::path>& files) {
    std::vector<Json::Value> roots;
    for (const auto& file : files) {
      roots.push_back(base::ParseJson(TextOf(file)));
      Visit(roots.back()["items"], [this](const Json::Value& item) { NoteKeys(item); });
    }
    for (const Json::Value& root : roots) {
      Visit(root["items"], [this](const Json::Value& item) { NoteDependent(item); });
    }
  }

  // All keys that mean something, by what depends on them: identifiers and parts.
  const std::map<std::string, std::map<std::string, int>>& ByKey() const { return m_ByKey; }

 private:
  template <typename Each>
  static void Visit(const Json::Value& items, Each each) {
    for (const Json::Value& item : items) {
      each(item);
      Visit(item["items"], each);
    }
  }

  void NoteKeys(const Json::Value& item) {
    const std::string id = item["id"].asString();
    const std::string kind = item["kind"].asString();
    if (kind == "group" || kind == "action") {
      return;
    }
    Keys& keys = m_KeysOf[id];
    keys = {item.get("key", "db/menu/" + id).asString(), "memory/menu/preview/" + id};
    if (item.isMember("follows")) {
      keys.insert(host::kSpeakerKey);
    }
  }

  void NoteDependent(const Json::Value& item) {
    const std::string id = item["id"].asString();
    const auto note = [&](const Keys& keys, int part) {
      for (const std::string& key : keys) {
        m_ByKey[key][id] |= part;
      }
    };
    const auto known = m_KeysOf.find(id);
    note(known != m_KeysOf.end() ? known->second : Keys(), Dependent::kValue);
    note(Mentioned(item["visible"]), Dependent::kVisible);
    note(Mentioned(item["enabled"]), Dependent::kEnabled);
    for (const Json::Value& option : item["options"]) {
      note(Mentioned(option["visible"]), Dependent::kOptions);
      note(Mentioned(option["enabled"]), Dependent::kOptions);
    }
  }

  Keys Mentioned(const Json::Value& rule) const {
    if (rule.isMember("item")) {
      return m_KeysOf.at(rule["item"].asString());
    }
    Keys keys;
    for (const char* list : {"all", "any"}) {
      for (const Json::Value& part : rule[list]) {
        keys.merge(Mentioned(part));
      }
    }
    if (rule.isMember("not")) {
      keys.merge(Mentioned(rule["not"]));
    }
    if (rule.isMember("key")) {
      keys.insert(rule["key"].asString());
    }
    if (rule.isMember("source")) {
      keys.insert(host::kSourceTypeKey);
    }
    if (rule.isMember("speaker")) {
      keys.insert(host::kSpeakerKey);
    }
    return keys;
  }

  std::map<std::string, Keys> m_KeysOf;  // what the value of an item depends on
  std::map<std::string, std::map<std::string, int>> m_ByKey;
};

void ExpectDependents(const Catalogue& catalogue, const std::vector<std::filesystem::path>& files) {
  const EverythingAsked asked(files);
  EXPECT_FALSE(asked.ByKey().empty());
  for (const auto& [key, expected] : asked.ByKey()) {
    std::map<std::string, int> found;
    std::uint32_t last = 0;
    for (const Dependent& dependent : catalogue.DependentsOf(key)) {
      EXPECT_TRUE(found.empty() || last < dependent.item) << key << ": not in order";
      last = dependent.item;
      found[catalogue.At(dependent.item).id] = dependent.parts;
    }
    EXPECT_EQ(found, expected) << key;
  }
}

TEST(Dependents, AreKnownForEveryKeyOfTheDeliveredCatalogue) {
  const std::filesystem::path directory = DELIVERED_CATALOGUE_DIR;
  const auto menu = directory / "menu.json";
  std::vector<std::filesystem::path> files;
  const Json::Value index = base::ParseJson(TextOf(menu));
  for (const Json::Value& name : index["files"]) {
    files.push_back(directory / name.asString());
  }
  ASSERT_GT(files.size(), 1u);
  ExpectDependents(Catalogue::Load(menu), files);
}

TEST(Dependents, OfAKeyThatNobodyMentionsAreNone) {
  const Catalogue catalogue =
      Catalogue::Load(std::filesystem::path(DELIVERED_CATALOGUE_DIR) / "menu.json");
  for (const char* key : {"", "db/menu/nothing", "memory/menu/preview/", "memory/menu/preview/x",
                          "memory/menu/preview/picture"}) {
    EXPECT_TRUE(catalogue.DependentsOf(key).empty()) << key;
  }
}

// A catalogue whose rules are drawn by lot: over items before and behind, the item itself, keys of
// items and others, features, the source and the speaker, combined and negated.
class DrawnCatalogue {
 public:
  explicit DrawnCatalogue(unsigned seed) : m_Draw(seed) {
    for (int item = 0; item < kItems; ++item) {
      m_Kinds.push_back(Below(4));
    }
  }

  std::string Text() {
    std::string items;
    for (int item = 0; item < kItems; ++item) {
      items += (item > 0 ? ",\n" : "") + Item(item);
    }
    return fmt::format(R"({{"items": [{{"id": "top", "kind": "group", "name": "Top",
"displayId": "TOP"{}, "items": [{}]}}]}})",
                       States(), items);
  }

 private:
  static constexpr int kItems = 40;

  int Below(int end) { return std::uniform_int_distribution(0, end - 1)(m_Draw); }

  std::string Item(int item) {
    std::string text =
        fmt::format(R"({{"id": "i{0}", "name": "N{0}", "displayId": "D{0}"{1})", item, States());
    if (m_Kinds[item] == 0) {
      return text + R"(, "kind": "action"})";
    }
    if (Below(3) == 0) {
      text += fmt::format(R"(, "key": "db/own/k{}")", item);
    }
    if (m_Kinds[item] == 1) {
      return text + R"(, "kind": "switch", "default": "on"})";
    }
    const char* follows = Below(4) == 0 ? R"(, "follows": "speaker")" : "";
    return text + fmt::format(R"(, "kind": "list", "default": "off"{}, "options": [
{{"value": "off", "name": "Off"{}}}, {{"value": "on", "name": "On"{}}}]}})",
                              follows, States(), States());
  }

  std::string States() {
    std::string text;
    for (const char* state : {"visible", "enabled"}) {
      if (Below(2) == 0) {
        text += fmt::format(R"(, "{}": {})", state, Rule(0));
      }
    }
    return text;
  }

  std::string Rule(int depth) {
    switch (Below(depth < 3 ? 8 : 5)) {
      case 0: {
        int item = Below(kItems);
        while (m_Kinds[item] == 0) {
          item = (item + 1) % kItems;
        }
        return fmt::format(R"({{"item": "i{}", "is": "on"}})", item);
      }
      case 1:
        return fmt::format(R"({{"key": "db/{}/{}{}", "is": {}}})", Below(2) ? "menu" : "own",
                           Below(2) ? "i" : "k", Below(kItems), Below(2) ? "1" : R"("on")");
      case 2:
        return R"({"feature": "com.velmora/featureconf/game_bar.support", "is": true})";
      case 3:
        return R"({"source": "hdmi"})";
      case 4:
        return R"({"speaker": ["optical", "bluetooth"]})";
      case 5:
        return fmt::format(R"({{"not": {}}})", Rule(depth + 1));
      case 6:
        return fmt::format(R"({{"all": [{}, {}]}})", Rule(depth + 1), Rule(depth + 1));
      default:
        return fmt::format(R"({{"any": [{}, {}]}})", Rule(depth + 1), Rule(depth + 1));
    }
  }

  std::mt19937 m_Draw;
  std::vector<int> m_Kinds;  // an action, a switch, or else a list
};

TEST(Dependents, AreKnownForEveryKeyOfDrawnCatalogues) {
  const CatalogueDirectory directory;
  for (unsigned seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE(seed);
    const auto file = directory.Write("menu.json", DrawnCatalogue(seed).Text());
    ASSERT_EQ(host::CheckCatalogue(file).size(), 0u)
        << host::ToText(host::CheckCatalogue(file).front());
    ExpectDependents(Catalogue::Load(file), {file});
  }
}

}  // namespace
