#include "menu/menu_rows.h"

#include <map>
#include <optional>

#include "base/item_name.h"
#include "settings/batch.h"
#include "settings/question.h"

namespace {

using Names = std::vector<std::string>;
using Children = std::map<std::string, Names>;

void AddRows(const std::string& item, std::size_t depth, const Children& children,
             std::vector<MenuRow>& rows) {
  rows.push_back({item, depth});
  for (const std::string& child : children.at(item)) {
    AddRows(child, depth + 1, children, rows);
  }
}

// The item that this is the ID of, or the path.
Names ItemOf(settings::Client& client, const std::string& name) {
  const base::ItemName named = base::ReadItemName(name);
  const std::optional<std::string> path = client.GetItemPath(named.item);
  return path && (!named.path || path == named.path) ? Names{named.item} : Names();
}

}  // namespace

std::vector<MenuRow> AskForMenu(settings::Client& client, const std::string& top) {
  const Names tops =
      top.empty() ? client.GetItemChildList("").value_or(Names()) : ItemOf(client, top);
  Children children;
  for (Names level = tops; !level.empty();) {
    settings::Batch batch(client);
    std::vector<settings::Answer<std::optional<Names>>> answers;
    for (const std::string& item : level) {
      answers.push_back(batch.Add(settings::ask::GetItemChildList(item)));
    }
    batch.Ask();
    Names next;
    for (std::size_t i = 0; i < level.size(); ++i) {
      const Names below = answers[i].Get().value_or(Names());
      children[level[i]] = below;
      next.insert(next.end(), below.begin(), below.end());
    }
    level = std::move(next);
  }
  std::vector<MenuRow> rows;
  for (const std::string& item : tops) {
    AddRows(item, 0, children, rows);
  }
  return rows;
}
