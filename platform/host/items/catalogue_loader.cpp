#include "items/catalogue_loader.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/number.h"
#include "items/catalogue_reader.h"
#include "items/rule_reader.h"

// A catalogue is written by people, often many items at a time, so the loader does not stop at the
// first mistake: it records each with its line and continues with what can still be checked. Only a
// catalogue without mistakes is loaded. A mistake is reported once, without its consequences.

namespace host {
namespace {

// The integer that `text` is, in its usual form.
std::optional<int> ParseInt(const std::string& text) {
  const std::optional<int> number = base::ParseWhole<int>(text);
  return number && std::to_string(*number) == text ? number : std::nullopt;
}

static_assert(std::size(kItemForms) == static_cast<std::size_t>(ItemKind::kAction) + 1);

class Loader {
 public:
  LoadedItems Load(const std::filesystem::path& file);

 private:
  struct Origin {
    JsonSource* source;
    std::ptrdiff_t offset;
  };

  void Report(const Json::Value& value, std::string message);
  void Report(const JsonObject& object, std::string_view member, std::string message);
  void Report(const Origin& origin, const Item& item, std::string message);

  void ReadFirstFile(const std::filesystem::path& file);
  void ReadFilesOfIndex(const Json::Value& list);
  void ReadTop(const JsonObject& root);

  void ReadItems(const Json::Value& list, std::uint32_t parent);
  void ReadItem(const Json::Value& json, std::uint32_t parent);
  const ObjectForm* ReadKind(const JsonObject& object);
  States ReadStates(const JsonObject& object);
  std::optional<ValueDefinition> ReadValue(const JsonObject& object, ItemKind kind);
  std::string ReadOwnKey(const JsonObject& object);
  void ReadSwitch(const JsonObject& object, ValueDefinition& value);
  void ReadList(const JsonObject& object, ValueDefinition& value);
  std::vector<Option> ReadOptions(const Json::Value& list, Storage storage);
  std::optional<Option> ReadOption(const JsonObject& object, Storage storage);
  void ReadRange(const JsonObject& object, ValueDefinition& value);
  std::optional<NumberGrid> ReadGrid(const JsonObject& object);
  NumberGrid ReadKept(const JsonObject& object, const NumberGrid& grid);
  Storage ReadStorage(const JsonObject& object, const Member& member, Storage otherwise);

  void CheckUniqueness();
  static std::string Where(const Origin& origin);

  CatalogueReader m_Reader;
  RuleReader m_Rules{m_Reader};
  std::vector<Item> m_Items;
  std::vector<Origin> m_Origins;  // of the items
  ItemPlaces m_Places;
  ItemPlaces m_Keys;
};

LoadedItems Loader::Load(const std::filesystem::path& file) {
  ReadFirstFile(file);
  CheckUniqueness();
  m_Rules.Link(m_Items, m_Places);
  m_Reader.ReportWhatIsNotJson();
  if (!m_Reader.Problems().empty()) {
    throw CatalogueError(m_Reader.TakeProblems());
  }
  return {std::move(m_Items), std::move(m_Places), std::move(m_Keys), m_Rules.Take()};
}

void Loader::Report(const Json::Value& value, std::string message) {
  m_Reader.Report(value, std::move(message));
}

void Loader::Report(const JsonObject& object, std::string_view member, std::string message) {
  m_Reader.Report(object, member, std::move(message));
}

void Loader::Report(const Origin& origin, const Item& item, std::string message) {
  m_Reader.Report(
      {origin.source->File(), origin.source->LineAt(origin.offset), item.id, std::move(message)});
}

void Loader::ReadFirstFile(const std::filesystem::path& file) {
  const Json::Value* root = m_Reader.ReadFile(file);
  if (root == nullptr) {
    return;
  }
  const JsonObject object(*root);
  if (const Json::Value* files = object.Find("files")) {
    m_Reader.CheckMembers(object, kIndexForm);
    ReadFilesOfIndex(*files);
  } else {
    ReadTop(object);
  }
}

void Loader::ReadFilesOfIndex(const Json::Value& list) {
  if (!list.isArray() || list.empty()) {
    Report(list, "\"files\" must be a list of at least one file name");
    return;
  }
  const CatalogueReader::Place index = m_Reader.Here();
  std::vector<std::string> names;
  for (const Json::Value& name : list) {
    m_Reader.GoTo(index);
    const std::string text(TextOf(name));
    if (text.empty() || text.find('/') != std::string::npos) {
      Report(name, "a file name must not contain \"/\": files are beside the index");
    } else if (std::find(names.begin(), names.end(), text) != names.end()) {
      Report(name, fmt::format("file \"{}\" is named twice", text));
    } else {
      names.push_back(text);
      if (const auto* root = m_Reader.ReadFile(index.source->File().parent_path() / text)) {
        ReadTop(JsonObject(*root));
      }
    }
  }
}

void Loader::ReadTop(const JsonObject& root) {
  m_Reader.CheckMembers(root, kItemsFileForm);
  if (const Json::Value* items = root.Find("items")) {
    ReadItems(*items, kNoItem);
  }
}

void Loader::ReadItems(const Json::Value& list, std::uint32_t parent) {
  if (!list.isArray() || list.empty()) {
    Report(list, "\"items\" must be a list of at least one item");
    return;
  }
  const CatalogueReader::Place outer = m_Reader.Here();
  for (const Json::Value& item : list) {
    m_Reader.GoToItem("");
    ReadItem(item, parent);
  }
  m_Reader.GoTo(outer);
}

void Loader::ReadItem(const Json::Value& json, std::uint32_t parent) {
  if (!json.isObject()) {
    Report(json, "an item must be an object");
    return;
  }
  const JsonObject object(json);
  m_Reader.GoToItem(m_Reader.ReadText(object, kIdMember).value_or(""));
  const ObjectForm* form = ReadKind(object);
  if (form == nullptr) {
    return;
  }
  m_Reader.CheckMembers(object, *form);
  const auto kind = static_cast<ItemKind>(form - kItemForms);

  const auto place = static_cast<std::uint32_t>(m_Items.size());
  m_Origins.push_back({m_Reader.Here().source, json.getOffsetStart()});
  Item& item = m_Items.emplace_back();
  item.kind = kind;
  item.id = m_Reader.Here().item;
  item.name = m_Reader.ReadText(object, kNameMember).value_or("");
  item.displayId = m_Reader.ReadText(object, kDisplayIdMember).value_or("");
  item.parent = parent;
  item.states = ReadStates(object);
  item.value = ReadValue(object, kind);
  if (parent != kNoItem) {
    m_Items[parent].children.push_back(place);
  }
  const Json::Value* items = object.Find("items");
  if (items != nullptr && kind == ItemKind::kGroup) {
    ReadItems(*items, place);
  }
}

const ObjectForm* Loader::ReadKind(const JsonObject& object) {
  const Json::Value* name = object.Find("kind");
  if (name == nullptr) {
    Report(object.Whole(), "member \"kind\" is missing: every item needs it");
    return nullptr;
  }
  const auto* form =
      std::find_if(std::begin(kItemForms), std::end(kItemForms),
                   [&](const ObjectForm& known) { return TextOf(*name) == known.name; });
  if (form == std::end(kItemForms)) {
    Report(*name, MistakeIn(kKindName, TextOf(*name)));
    return nullptr;
  }
  return form;
}

// Of the current item, or of one of its options.
States Loader::ReadStates(const JsonObject& object) {
  const auto place = static_cast<std::uint32_t>(m_Items.size() - 1);
  return {m_Rules.Read(object, "visible", place), m_Rules.Read(object, "enabled", place)};
}

std::optional<ValueDefinition> Loader::ReadValue(const JsonObject& object, ItemKind kind) {
  ValueDefinition value;
  switch (kind) {
    case ItemKind::kSwitch:
      ReadSwitch(object, value);
      break;
    case ItemKind::kList:
      ReadList(object, value);
      break;
    case ItemKind::kRange:
      ReadRange(object, value);
      break;
    case ItemKind::kGroup:
    case ItemKind::kAction:
      return std::nullopt;
  }
  value.key = ReadOwnKey(object);
  value.previewKey = std::string(kPreviewKeys) + m_Reader.Here().item;
  return value;
}

std::string Loader::ReadOwnKey(const JsonObject& object) {
  const Json::Value* given = object.Find(kKeyMember.name);
  std::string key = given != nullptr ? m_Reader.ReadText(object, kKeyMember).value_or("")
                                     : "db/menu/" + m_Reader.Here().item;
  if (IsAmong(kOwnKey.taken, key)) {
    Report(given != nullptr ? *given : object.Whole(),
           fmt::format("key \"{}\" is reserved for the set: choose another", key));
  }
  return key;
}

void Loader::ReadSwitch(const JsonObject& object, ValueDefinition& value) {
  value.storage = ReadStorage(object, kSwitchStorage, Storage::kInt);
  value.values = std::vector<Option>{{"off", "Off", 0, {}}, {"on", "On", 1, {}}};
  value.standard = m_Reader.ReadText(object, kSwitchDefault) == "on" ? 1 : 0;
}

void Loader::ReadList(const JsonObject& object, ValueDefinition& value) {
  value.storage = ReadStorage(object, kListStorage, Storage::kString);
  value.followsSpeaker = m_Reader.ReadText(object, kFollowsMember).has_value();
  const auto standard = m_Reader.ReadText(object, kListDefault);
  const Json::Value* list = object.Find("options");
  if (list == nullptr) {
    return;
  }
  if (!list->isArray() || list->empty()) {
    Report(*list, "\"options\" must be a list of at least one option");
    return;
  }
  value.values = ReadOptions(*list, value.storage);
  const auto position = standard ? FindValue(value.values, *standard) : std::nullopt;
  if (standard && !position) {
    Report(object, "default", fmt::format("default \"{}\" is not one of the options", *standard));
  }
  value.standard = position.value_or(0);
}

std::vector<Option> Loader::ReadOptions(const Json::Value& list, Storage storage) {
  std::vector<Option> options;
  for (const Json::Value& json : list) {
    if (!json.isObject()) {
      Report(json, "an option must be an object");
      continue;
    }
    const JsonObject object(json);
    auto option = ReadOption(object, storage);
    if (!option) {
      continue;
    }
    if (std::any_of(options.begin(), options.end(),
                    [&](const Option& other) { return other.value == option->value; })) {
      Report(object, "value", fmt::format("option \"{}\" occurs twice", option->value));
    }
    options.push_back(*std::move(option));
  }
  return options;
}

// Nothing when it has no value.
std::optional<Option> Loader::ReadOption(const JsonObject& object, Storage storage) {
  m_Reader.CheckMembers(object, kOptionForm);
  Option option;
  option.value = m_Reader.ReadText(object, kOptionValueMember).value_or("");
  option.name = m_Reader.ReadText(object, kNameMember).value_or("");
  option.states = ReadStates(object);
  if (option.value.empty()) {
    return std::nullopt;
  }
  const auto number = ParseInt(option.value);
  if (storage == Storage::kInt && !number) {
    Report(object, "value",
           fmt::format("option \"{}\" cannot be stored as an int: use storage \"string\" or a "
                       "whole number",
                       option.value));
  }
  option.number = number.value_or(0);
  return option;
}

void Loader::ReadRange(const JsonObject& object, ValueDefinition& value) {
  const auto standard = m_Reader.ReadNumber(object, kRangeDefault);
  const std::string unit = m_Reader.ReadText(object, kUnit).value_or("");
  const auto grid = ReadGrid(object);
  if (!grid) {
    ReadStorage(object, kRangeStorage, Storage::kInt);
    return;
  }
  const NumberGrid kept = ReadKept(object, *grid);
  value.storage =
      ReadStorage(object, kRangeStorage, kept.IsWhole() ? Storage::kInt : Storage::kString);
  if (value.storage == Storage::kInt && !kept.IsWhole()) {
    Report(object, "storage", "fractions cannot be stored as an int: use storage \"string\"");
  }
  const auto position = standard ? grid->Find(*standard) : std::nullopt;
  if (standard && !position) {
    Report(object, "default",
           fmt::format("default {} is not min plus a whole number of steps, or "
                       "is above max",
                       m_Reader.Written(*object.Find("default"))));
  }
  value.standard = position.value_or(0);
  value.values = Range{*grid, kept, unit};
}

std::optional<NumberGrid> Loader::ReadGrid(const JsonObject& object) {
  const auto min = m_Reader.ReadNumber(object, kMin);
  const auto max = m_Reader.ReadNumber(object, kMax);
  const auto step = m_Reader.ReadNumber(object, kStep);
  if (!min || !max || !step) {
    return std::nullopt;
  }
  if (*step <= 0) {
    Report(object, "step", "\"step\" must be above 0");
    return std::nullopt;
  }
  if (*min >= *max) {
    Report(object, "min", "\"min\" must be below \"max\"");
    return std::nullopt;
  }
  const auto grid = NumberGrid::Make(*min, *max, *step);
  if (!grid) {
    Report(object, "max",
           "\"max\" must be min plus a whole number of steps, and min, max and step must fit in "
           "nine digits, including those after the point");
  }
  return grid;
}

NumberGrid Loader::ReadKept(const JsonObject& object, const NumberGrid& grid) {
  const Json::Value* json = object.Find("kept");
  if (json == nullptr) {
    return grid;
  }
  if (!json->isObject()) {
    Report(*json, "\"kept\" must be an object with min and step");
    return grid;
  }
  const JsonObject kept(*json);
  m_Reader.CheckMembers(kept, kKeptForm);
  const auto min = m_Reader.ReadNumber(kept, kKeptMin);
  const auto step = m_Reader.ReadNumber(kept, kKeptStep);
  if (!min || !step) {
    return grid;
  }
  const auto keptGrid = grid.SameLength(*min, *step);
  if (!keptGrid) {
    Report(*json,
           "\"step\" of \"kept\" must be above 0, and its numbers must fit in nine digits, "
           "including those after the point");
  }
  return keptGrid.value_or(grid);
}

Storage Loader::ReadStorage(const JsonObject& object, const Member& member, Storage otherwise) {
  const auto storage = m_Reader.ReadText(object, member);
  if (!storage) {
    return otherwise;
  }
  return *storage == "int" ? Storage::kInt : Storage::kString;
}

// The keys of the maps point into m_Items, which no longer grows.
void Loader::CheckUniqueness() {
  ItemPlaces displayIds;
  for (ItemPlaces* places : {&m_Places, &m_Keys, &displayIds}) {
    places->reserve(m_Items.size());
  }
  for (std::uint32_t place = 0; place < m_Items.size(); ++place) {
    const Item& item = m_Items[place];
    if (item.id.empty()) {
      continue;
    }
    const Origin& origin = m_Origins[place];
    const auto [sameId, isFirstOfId] = m_Places.emplace(item.id, place);
    if (!isFirstOfId) {
      Report(origin, item,
             fmt::format("identifier is already used, at {}", Where(m_Origins[sameId->second])));
      continue;
    }
    if (item.value && !item.value->key.empty()) {
      const auto [sameKey, isFirstOfKey] = m_Keys.emplace(item.value->key, place);
      if (!isFirstOfKey) {
        Report(origin, item,
               fmt::format("key \"{}\" is already used by \"{}\" at {}", item.value->key,
                           m_Items[sameKey->second].id, Where(m_Origins[sameKey->second])));
      }
    }
    const auto [sameText, isFirstOfText] = displayIds.emplace(item.displayId, place);
    if (!isFirstOfText && !item.displayId.empty() && m_Items[sameText->second].name != item.name) {
      Report(origin, item,
             fmt::format("\"displayId\" \"{}\" already stands for another name, at {}",
                         item.displayId, Where(m_Origins[sameText->second])));
    }
  }
}

std::string Loader::Where(const Origin& origin) {
  return fmt::format("{}:{}", origin.source->File().filename().string(),
                     origin.source->LineAt(origin.offset));
}

}  // namespace

LoadedItems LoadItems(const std::filesystem::path& file) { return Loader().Load(file); }

}  // namespace host
