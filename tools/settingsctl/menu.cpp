#include "settingsctl/menu.h"

#include <optional>
#include <set>

#include "settings/batch.h"

namespace settingsctl {

// Level by level, each in one batch; a damaged menu may have circles.
Names AllItems(settings::Client& client) {
  Names items;
  std::set<std::string> seen;
  Names level = client.GetItemChildList("").value_or(Names());
  while (!level.empty()) {
    settings::Batch batch(client);
    std::vector<settings::Answer<std::optional<Names>>> children;
    for (const std::string& item : level) {
      if (seen.insert(item).second) {
        items.push_back(item);
        children.push_back(batch.Add(settings::ask::GetItemChildList(item)));
      }
    }
    batch.Ask();
    level.clear();
    for (const auto& answer : children) {
      const Names below = answer.Get().value_or(Names());
      level.insert(level.end(), below.begin(), below.end());
    }
  }
  return items;
}

}  // namespace settingsctl
