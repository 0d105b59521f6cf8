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

// Items by their IDs, or, where a path has been begun, by their paths.
std::vector<Candidate> ItemsThatBegin(Client& client, const std::string& begin, Offered which) {
  struct Item {
    Candidate candidate;
    Text name;
    // What tells whether it is one of those; asked only for them, because a user waits.
    std::optional<Text> value;
    std::optional<settings::Answer<std::optional<Names>>> values;
  };
  std::vector<Item> found;
  settings::Batch batch(client);
  const Names items = AllItems(client);
  const Names texts = begin.find('/') == std::string::npos ? items : PathsOf(client, items);
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (!texts[i].starts_with(begin)) {
      continue;
    }
    Item& item = found.emplace_back(
        Item{{texts[i], ""}, batch.Add(settings::ask::GetItemDisplayName(items[i])), {}, {}});
    if (which == Offered::kItemsWithValue) {
      item.value = batch.Add(settings::ask::GetItemValue(items[i]));
    } else if (which == Offered::kSwitches) {
      item.values = batch.Add(settings::ask::GetItemDataList(items[i]));
    }
  }
  batch.Ask();
  std::vector<Candidate> candidates;
  for (Item& item : found) {
    const bool isOne = (!item.value || item.value->Get()) &&
                       (!item.values || item.values->Get() == Names{"off", "on"});
    if (isOne) {
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
