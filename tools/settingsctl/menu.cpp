#include "settingsctl/menu.h"

#include <map>
#include <utility>

#include "settingsctl/questions.h"

namespace settingsctl {
namespace {

struct Branch {
  std::string item;
  Names children;
};

// Level by level, each in one batch; a damaged menu may have circles.
std::vector<Branch> BranchesBelow(settings::Client& client, Names level) {
  std::vector<Branch> branches;
  std::map<std::string, bool> seen;
  while (!level.empty()) {
    std::vector<std::pair<std::string, std::optional<Names>>> answers;
    for (std::string& item : level) {
      if (!std::exchange(seen[item], true)) {
        answers.emplace_back(std::move(item), std::nullopt);
      }
    }
    Questions questions(client);
    for (auto& [item, children] : answers) {
      questions.Add(settings::ask::GetItemChildList(item), children);
    }
    questions.Ask();
    level.clear();
    for (auto& [item, children] : answers) {
      branches.push_back({std::move(item), std::move(children).value_or(Names())});
      level.insert(level.end(), branches.back().children.begin(), branches.back().children.end());
    }
  }
  return branches;
}

Names TopOf(settings::Client& client) { return client.GetItemChildList("").value_or(Names()); }

}  // namespace

Names AllItems(settings::Client& client) {
  Names items;
  for (Branch& branch : BranchesBelow(client, TopOf(client))) {
    items.push_back(std::move(branch.item));
  }
  return items;
}

Names ItemsInOrder(settings::Client& client, const std::string& top) {
  const Names first = top.empty() ? TopOf(client) : Names{top};
  std::map<std::string, Names> children;
  for (Branch& branch : BranchesBelow(client, first)) {
    children[branch.item] = std::move(branch.children);
  }
  Names items;
  Names waiting(first.rbegin(), first.rend());
  while (!waiting.empty()) {
    const std::string item = std::move(waiting.back());
    waiting.pop_back();
    // Once it has its place it has no children any more, and no place again.
    if (auto found = children.extract(item)) {
      waiting.insert(waiting.end(), found.mapped().rbegin(), found.mapped().rend());
      items.push_back(item);
    }
  }
  return items;
}

std::set<std::string> AllDisablers(settings::Client& client) {
  const Names items = client.GetDisabledItemsList().value_or(Names());
  std::vector<std::optional<Names>> answers(items.size());
  Questions questions(client);
  for (std::size_t i = 0; i < items.size(); ++i) {
    questions.Add(settings::ask::GetDisablerAppNamesByMenuId(items[i]), answers[i]);
  }
  questions.Ask();
  std::set<std::string> all;
  for (const std::optional<Names>& apps : answers) {
    if (apps) {
      all.insert(apps->begin(), apps->end());
    }
  }
  return all;
}

}  // namespace settingsctl
