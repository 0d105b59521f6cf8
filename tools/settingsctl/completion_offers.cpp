#include "settingsctl/completion_offers.h"

#include <chrono>
#include <cmath>
#include <optional>
#include <set>
#include <utility>

#include "base/item_name.h"
#include "base/number.h"
#include "settings/batch.h"
#include "settingsctl/menu.h"

namespace settingsctl {
namespace {

using settings::Client;
using tools::Candidate;

// More than a person wants to choose from.
constexpr double kMostNumbers = 200;

using Ask = std::function<std::vector<Candidate>(Client& client, const std::string& begin)>;

// The tool itself ends what takes too long.
tools::Offer WhenRunning(const Options& options, const Ask& ask) {
  return [&options, ask](const std::string& begin) {
    Client client(options.bus);
    const bool isRunning = client.WaitForService(std::chrono::microseconds(0));
    return isRunning ? ask(client, begin) : std::vector<Candidate>();
  };
}

using Text = settings::Answer<std::optional<std::string>>;

// In the order of the items.
Names PathsOf(Client& client, const Names& items) {
  settings::Batch batch(client);
  std::vector<Text> answers;
  for (const std::string& item : items) {
    answers.push_back(batch.Add(settings::ask::GetItemPath(item)));
  }
  batch.Ask();
  Names paths;
  for (const Text& answer : answers) {
    paths.push_back(answer.Get().value_or(""));
  }
  return paths;
}

// Tells, once the batch has been asked, whether an item is one of those.
std::function<bool()> Judge(settings::Batch& batch, const std::string& item, Offered which) {
  const auto ask = [&](const auto& question, auto isOne) {
    return [answer = batch.Add(question(item)), isOne] { return isOne(answer.Get()); };
  };
  const auto isThere = [](const auto& answer) { return answer.has_value(); };
  switch (which) {
    case Offered::kAllItems:
      return [] { return true; };
    case Offered::kItemsWithValue:
      return ask(settings::ask::GetItemValue, isThere);
    case Offered::kSwitches:
      return ask(settings::ask::GetItemDataList, [](const auto& values) {
        return values == Names{"off", "on"};
      });
    case Offered::kLists:
      return ask(settings::ask::GetItemDataList, isThere);
    case Offered::kRanges:
      return ask(settings::ask::GetItemMinMaxStepValue, isThere);
    case Offered::kGroups:
      return ask(settings::ask::GetItemChildList, isThere);
  }
  return {};
}

// Items by their IDs, or, where a path has been begun, by their paths.
std::vector<Candidate> ItemsThatBegin(Client& client, const std::string& begin, Offered which) {
  struct Item {
    Candidate candidate;
    Text name;
    std::function<bool()> isOne;
  };
  std::vector<Item> found;
  settings::Batch batch(client);
  const Names items = AllItems(client);
  const Names texts = begin.find('/') == std::string::npos ? items : PathsOf(client, items);
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (!texts[i].starts_with(begin)) {
      continue;
    }
    found.push_back({{texts[i], ""},
                     batch.Add(settings::ask::GetItemDisplayName(items[i])),
                     Judge(batch, items[i], which)});
  }
  batch.Ask();
  std::vector<Candidate> candidates;
  for (Item& item : found) {
    if (item.isOne()) {
      item.candidate.description = item.name.Get().value_or("");
      candidates.push_back(std::move(item.candidate));
    }
  }
  return candidates;
}

std::vector<Candidate> Numbers(const settings::Range& range) {
  std::vector<Candidate> numbers;
  const double count = std::floor((range.max - range.min) / range.step) + 1;
  if (range.step > 0 && count <= kMostNumbers) {
    for (int i = 0; i < count; ++i) {
      numbers.push_back({base::DecimalText(range.min + i * range.step), ""});
    }
  }
  return numbers;
}

std::vector<Candidate> ValuesOf(Client& client, const std::string& name) {
  const std::string item = base::ReadItemName(name).item;
  settings::Batch batch(client);
  const auto list = batch.Add(settings::ask::GetItemDataList(item));
  const auto range = batch.Add(settings::ask::GetItemMinMaxStepValue(item));
  batch.Ask();
  if (!list.Get()) {
    return range.Get() ? Numbers(*range.Get()) : std::vector<Candidate>();
  }
  std::vector<Candidate> values;
  for (const std::string& value : *list.Get()) {
    values.push_back({value, ""});
  }
  return values;
}

std::vector<Candidate> Apps(Client& client, const std::string&) {
  const std::set<std::string> disablers = AllDisablers(client);
  const Names known = client.Applications();
  std::set<std::string> all = disablers;
  all.insert(known.begin(), known.end());
  std::vector<Candidate> candidates;
  for (const std::string& app : all) {
    candidates.push_back({app, disablers.count(app) != 0 ? "disables items" : ""});
  }
  return candidates;
}

}  // namespace

tools::Offer ItemOffer(const Options& options, Offered which) {
  return WhenRunning(options, [which](Client& client, const std::string& begin) {
    return ItemsThatBegin(client, begin, which);
  });
}

tools::Offer ValueOffer(const Options& options, const std::string& item) {
  return WhenRunning(
      options, [&item](Client& client, const std::string&) { return ValuesOf(client, item); });
}

tools::Offer AppOffer(const Options& options) { return WhenRunning(options, Apps); }

}  // namespace settingsctl
