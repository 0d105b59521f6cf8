#include "settingsctl/items.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "nearest.h"
#include "settings/batch.h"
#include "settingsctl/completion_offers.h"

namespace settingsctl {

using settings::Client;
using tools::ExitCode;
using tools::Failure;

namespace {

// What each of the items has. Throws NoSuchItem for one without.
template <typename T>
std::vector<T> AskOfEach(Client& client, const Names& items,
                         settings::Question<std::optional<T>> (*question)(const std::string&)) {
  settings::Batch batch(client);
  std::vector<settings::Answer<std::optional<T>>> answers;
  for (const std::string& item : items) {
    answers.push_back(batch.Add(question(item)));
  }
  batch.Ask();
  std::vector<T> results;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (!answers[i].Get()) {
      throw NoSuchItem(client, items[i]);
    }
    results.push_back(*answers[i].Get());
  }
  return results;
}

}  // namespace

Failure NoSuchItem(Client& client, const std::string& item) {
  return Failure(ExitCode::kNotFound,
                 tools::NoSuch("item", item, AllItems(client), "settingsctl tree shows all"));
}

void RequireItem(Client& client, const std::string& item) { RequireItems(client, {item}); }

void RequireItems(Client& client, const Names& items) {
  AskOfEach(client, items, settings::ask::GetItemDisplayID);
}

Names DisablersOf(Client& client, const std::string& item) {
  return DisablersOf(client, Names{item}).front();
}

std::vector<Names> DisablersOf(Client& client, const Names& items) {
  return AskOfEach(client, items, settings::ask::GetDisablerAppNamesByMenuId);
}

bool Contains(const Names& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

Json::Value Array(const Names& names) {
  Json::Value array(Json::arrayValue);
  for (const std::string& name : names) {
    array.append(name);
  }
  return array;
}

Json::Value Number(double number) {
  constexpr double kExact = 1e15;
  const bool whole = number == std::trunc(number) && std::abs(number) < kExact;
  return whole ? Json::Value(static_cast<Json::Int64>(number)) : Json::Value(number);
}

void AddItem(tools::Syntax verb, const Options& options, std::string& item) {
  verb.AddArgument("ITEM", item, "The item's ID, e.g. picturemode")
      .Required()
      .CompletedBy(ItemOffer(options));
}

void AddItems(tools::Syntax verb, const Options& options, Names& items) {
  verb.AddArgument("ITEM", items, "The items' IDs, e.g. brightness contrast")
      .Required()
      .CompletedBy(ItemOffer(options));
}

void AddApp(tools::Syntax verb, const Options& options, std::string& app) {
  verb.AddOption("--app", "APP", app, "The application's ID, e.g. org.example.game")
      .Required()
      .CompletedBy(AppOffer(options))
      .Check([](const std::string& text) {
        return settings::Client::IsApplicationId(text)
                   ? std::string()
                   : tools::Quote(text) +
                         " is not an application ID; use one such as org.example.game";
      });
}

}  // namespace settingsctl
