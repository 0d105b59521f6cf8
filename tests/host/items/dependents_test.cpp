#include <gtest/gtest.h>
#include <json/json.h>

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "base/json.h"
#include "catalogue_directory.h"
#include "drawn_catalogue.h"
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
