#include "items/library.h"

#include <optional>

#include "dlog.h"

namespace host {
namespace {

constexpr char kLogTag[] = "settings-items";

std::optional<Catalogue>& Current() {
  static std::optional<Catalogue> catalogue;
  return catalogue;
}

}  // namespace

void LoadCatalogue(const std::filesystem::path& file) {
  Current().reset();
  try {
    Current().emplace(Catalogue::Load(file));
  } catch (const CatalogueError& error) {
    for (const CatalogueProblem& problem : error.Problems()) {
      LogError(ToText(problem));
    }
  }
}

const Catalogue* LoadedCatalogue() { return Current() ? &*Current() : nullptr; }

const Item* FindItem(const char* menuID) {
  return menuID != nullptr ? FindItem(std::string_view(menuID)) : nullptr;
}

const Item* FindItem(std::string_view menuID) {
  return Current() ? Current()->Find(menuID) : nullptr;
}

void LogError(const std::string& line) {
  __dlog_print(LOG_ID_MAIN, DLOG_ERROR, kLogTag, "%s\n", line.c_str());
}

}  // namespace host
