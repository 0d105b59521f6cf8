#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

#include "base/json.h"
#include "base/number.h"
#include "settings/batch.h"
#include "settingsctl/completion_offers.h"
#include "settingsctl/tree.h"
#include "settingsctl/verbs.h"
#include "text.h"

namespace settingsctl {
namespace {

using settings::Client;
using tools::ExitCode;
using tools::Failure;

// An item takes two levels of its catalogue's JSON, so anything deeper is a cycle.
constexpr int kMostLevels = base::kMaxJsonDepth / 2;

using Branches = std::vector<Branch*>;

// Asks for all of one level but their values. Returns those of the next.
Branches AskForLevel(Client& client, const Branches& level) {
  struct Answers {
    settings::Answer<std::optional<std::string>> name;
    settings::Answer<std::optional<bool>> visible;
    settings::Answer<std::optional<bool>> enabled;
    settings::Answer<std::optional<Names>> children;
  };
  settings::Batch batch(client);
  std::vector<Answers> answers;
  for (const Branch* branch : level) {
    answers.push_back({batch.Add(settings::ask::GetItemDisplayName(branch->item)),
                       batch.Add(settings::ask::GetItemVisible(branch->item)),
                       batch.Add(settings::ask::GetItemEnable(branch->item)),
                       batch.Add(settings::ask::GetItemChildList(branch->item))});
  }
  batch.Ask();
  Branches next;
  for (std::size_t i = 0; i < level.size(); ++i) {
    Branch& branch = *level[i];
    branch.name = answers[i].name.Get().value_or("");
    branch.visible = answers[i].visible.Get().value_or(false);
    branch.enabled = answers[i].enabled.Get().value_or(false);
    const Names children = answers[i].children.Get().value_or(Names());
    branch.children.resize(children.size());
    for (std::size_t child = 0; child < children.size(); ++child) {
      branch.children[child].item = children[child];
      next.push_back(&branch.children[child]);
    }
  }
  return next;
}

// A group has no value.
void AskForValues(Client& client, const Branches& leaves) {
  using Text = settings::Answer<std::optional<std::string>>;
  settings::Batch batch(client);
  std::vector<std::pair<Text, Text>> answers;
  for (const Branch* leaf : leaves) {
    answers.emplace_back(batch.Add(settings::ask::GetItemValue(leaf->item)),
                         batch.Add(settings::ask::GetItemValueName(leaf->item)));
  }
  batch.Ask();
  for (std::size_t i = 0; i < leaves.size(); ++i) {
    leaves[i]->value = answers[i].first.Get();
    if (leaves[i]->value) {
      leaves[i]->valueName = answers[i].second.Get().value_or("");
    }
  }
}

void AskForDisablers(Client& client, const Branches& disabled) {
  Names items;
  for (const Branch* branch : disabled) {
    items.push_back(branch->item);
  }
  const std::vector<Names> apps = DisablersOf(client, items);
  for (std::size_t i = 0; i < disabled.size(); ++i) {
    disabled[i]->apps = apps[i];
  }
}

// All about the branches, of which only the items are known, and what lies below them.
void Ask(Client& client, std::vector<Branch>& branches) {
  const Names disabledItems = client.GetDisabledItemsList().value_or(Names());
  Branches leaves;
  Branches disabled;
  Branches level;
  for (Branch& branch : branches) {
    level.push_back(&branch);
  }
  for (int depth = 0; !level.empty(); ++depth) {
    if (depth > kMostLevels) {
      throw Failure(ExitCode::kRefused, "the service's menu is endless below " +
                                            tools::Quote(level.front()->item) +
                                            "; its catalogue is damaged");
    }
    Branches next = AskForLevel(client, level);
    for (Branch* branch : level) {
      if (branch->children.empty()) {
        leaves.push_back(branch);
      }
      if (Contains(disabledItems, branch->item)) {
        disabled.push_back(branch);
      }
    }
    level = std::move(next);
  }
  AskForValues(client, leaves);
  AskForDisablers(client, disabled);
}

std::vector<Branch> AskForAll(Client& client, const std::string& top) {
  Names items = {top};
  if (top.empty()) {
    std::optional<Names> atTop = client.GetItemChildList("");
    if (!atTop) {
      throw Failure(ExitCode::kRefused, "the service has no items; its log says why");
    }
    items = *std::move(atTop);
  } else {
    RequireItem(client, top);
  }
  std::vector<Branch> branches(items.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    branches[i].item = items[i];
  }
  Ask(client, branches);
  return branches;
}

// Standard output: a terminal has colours, unless it is told otherwise, and a width.
Paper StandardOutput() {
  if (isatty(STDOUT_FILENO) == 0) {
    return {};
  }
  const auto variable = [](const char* name) {
    const char* value = std::getenv(name);
    return std::string_view(value == nullptr ? "" : value);
  };
  Paper paper;
  paper.coloured = variable("NO_COLOR").empty() && variable("TERM") != "dumb";
  paper.width = base::ParseWhole<std::size_t>(variable("COLUMNS"));
  winsize size{};
  if (paper.width.value_or(0) == 0) {
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    paper.width = known ? std::optional<std::size_t>(size.ws_col) : std::nullopt;
  }
  return paper;
}

ExitCode Tree(const Options& options, const std::string& top, Client& client) {
  const std::vector<Branch> branches = AskForAll(client, top);
  if (!options.json) {
    for (const std::string& line : Draw(branches, StandardOutput())) {
      tools::PrintLine(line);
    }
  } else if (!top.empty()) {
    tools::PrintLine(tools::JsonText(TreeJson(branches.front())));
  } else {
    Json::Value children(Json::arrayValue);
    for (const Branch& branch : branches) {
      children.append(TreeJson(branch));
    }
    tools::PrintLine(tools::JsonLine({{"children", children}}));
  }
  return ExitCode::kDone;
}

}  // namespace

void AddTreeVerb(tools::Tool& tool, const Options& options) {
  auto top = std::make_shared<std::string>();
  tools::Syntax tree =
      tool.AddVerb(tool.App(), "tree", "Draw the menu, or the part below an item", [&options, top] {
        return WithClient(
            options, [&](Client& client) { return Tree(options, ItemOf(client, *top), client); });
      });
  tree.AddArgument("ITEM", *top, "The item's ID or path, e.g. picture; by default the whole menu")
      .CompletedBy(ItemOffer(options));
}

}  // namespace settingsctl
