#include "items/catalogue.h"

#include <algorithm>
#include <set>
#include <utility>

#include "items/catalogue_form.h"
#include "items/json_source.h"
#include "set/keys.h"

namespace host {
namespace {

// Whether the file is an index of which `name` is a part.
bool Names(const std::filesystem::path& index, std::string_view name) {
  Json::Value root;
  if (!JsonSource(index).Read(root).empty()) {
    return false;
  }
  const Json::Value& files = root["files"];
  return files.isArray() && std::any_of(files.begin(), files.end(), [&](const Json::Value& file) {
           return TextOf(file) == name;
         });
}

}  // namespace

Catalogue Catalogue::Load(const std::filesystem::path& file) { return Catalogue(LoadItems(file)); }

Catalogue::Catalogue(LoadedItems loaded)
    : m_Items(std::move(loaded.items)),
      m_Places(std::move(loaded.places)),
      m_Keys(std::move(loaded.keys)),
      m_Rules(std::move(loaded.rules)),
      m_Dependents(m_Items, m_Rules) {
  for (std::uint32_t input = 0; input < m_Rules.inputs.size(); ++input) {
    const RuleInput& asked = m_Rules.inputs[input];
    if (asked.kind == InputKind::kIntKey || asked.kind == InputKind::kTextKey) {
      m_KeyInputs.emplace(asked.name, input);
    } else if (asked.kind == InputKind::kSpeaker) {
      m_KeyInputs.emplace(kSpeakerKey, input);
    }
  }
  for (std::uint32_t place = 0; place < m_Items.size(); ++place) {
    if (m_Items[place].value && m_Items[place].value->followsSpeaker) {
      m_SpeakerFollowers.push_back(place);
    }
  }
}

const Item* Catalogue::Find(std::string_view id) const {
  const auto found = m_Places.find(id);
  return found == m_Places.end() ? nullptr : &m_Items[found->second];
}

// Rules ask for values and never for states, so that nothing depends on what is found here.
std::vector<Dependent> Catalogue::DependentsOf(std::string_view key) const {
  std::vector<Dependent> found;
  const auto addInput = [&](std::uint32_t input) {
    const auto dependents = m_Dependents.Of(input);
    found.insert(found.end(), dependents.begin(), dependents.end());
  };
  const auto addValue = [&](std::uint32_t place) {
    found.push_back({place, Dependent::kValue});
    if (m_Rules.itemInputs[place] != kNoInput) {
      addInput(m_Rules.itemInputs[place]);
    }
  };
  const bool isPreview = key.starts_with(kPreviewKeys);
  const ItemPlaces& places = isPreview ? m_Places : m_Keys;
  const auto item = places.find(isPreview ? key.substr(kPreviewKeys.size()) : key);
  if (item != places.end() && m_Items[item->second].value) {
    addValue(item->second);
  }
  if (key == kSpeakerKey) {
    std::for_each(m_SpeakerFollowers.begin(), m_SpeakerFollowers.end(), addValue);
  }
  const auto [begin, end] = m_KeyInputs.equal_range(key);
  std::for_each(begin, end, [&](const auto& each) { addInput(each.second); });

  std::sort(found.begin(), found.end(),
            [](const Dependent& a, const Dependent& b) { return a.item < b.item; });
  std::vector<Dependent> merged;
  for (const Dependent& dependent : found) {
    if (merged.empty() || merged.back().item != dependent.item) {
      merged.push_back(dependent);
    } else {
      merged.back().parts |= dependent.parts;
    }
  }
  return merged;
}

std::string Catalogue::Path(const Item& item) const {
  std::string path = item.id;
  for (std::uint32_t above = item.parent; above != kNoItem; above = m_Items[above].parent) {
    path = m_Items[above].id + "/" + path;
  }
  return path;
}

std::filesystem::path FindIndexOf(const std::filesystem::path& file) {
  const std::filesystem::path directory = file.has_parent_path() ? file.parent_path() : ".";
  std::set<std::filesystem::path> indexes;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(directory, ignored)) {
    if (entry.path().extension() == ".json" && entry.is_regular_file(ignored) &&
        Names(entry.path(), file.filename().native())) {
      indexes.insert(entry.path());
    }
  }
  return indexes.empty() ? std::filesystem::path() : *indexes.begin();
}

std::vector<CatalogueProblem> CheckCatalogue(const std::filesystem::path& file) {
  try {
    Catalogue::Load(file);
    return {};
  } catch (const CatalogueError& error) {
    return error.Problems();
  }
}

}  // namespace host
