#include "items/catalogue.h"

#include <algorithm>
#include <set>
#include <utility>

#include "items/json_source.h"

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
      m_Rules(std::move(loaded.rules)) {}

const Item* Catalogue::Find(std::string_view id) const {
  const auto found = m_Places.find(id);
  return found == m_Places.end() ? nullptr : &m_Items[found->second];
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
