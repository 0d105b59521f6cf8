#include <fmt/format.h>
#include <unistd.h>

#include <memory>

#include "base/json.h"
#include "settingsctl/completion_offers.h"
#include "settingsctl/items.h"
#include "settingsctl/verbs.h"
#include "text.h"

namespace settingsctl {
namespace {

using settings::Client;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

// A state of items, with the methods that query it.
struct State {
  const char* name;
  std::optional<bool> (Client::*ofItem)(const std::string&);
  std::optional<bool> (Client::*ofPath)(const std::string&);
  std::optional<bool> (Client::*ofValue)(const std::string&, const std::string&);
  void (Client::*bySignal)(const std::string&, int, int);
  int signalType;
};

constexpr State kVisible{"visible",
                         &Client::GetItemVisible,
                         &Client::GetItemPathVisible,
                         &Client::GetItemDataVisible,
                         &Client::GetItemVisibleAsync,
                         1};
constexpr State kEnabled{"enabled",
                         &Client::GetItemEnable,
                         &Client::GetItemPathEnable,
                         &Client::GetItemDataEnable,
                         &Client::GetItemPathEnableAsync,
                         2};

struct Question {
  std::string item;
  std::optional<std::string> value;
  bool path = false;
  bool bySignal = false;
};

// Waits for the signal that answers this process. The signals for other processes differ only in
// the process and the callback, any number that this process does not use twice.
bool AskBySignal(const Options& options, const State& state, const std::string& item,
                 Client& client) {
  constexpr int kCallback = 1;
  RequireItem(client, item);
  std::optional<bool> answer;
  const settings::Subscription subscription = client.Subscribe([&](const settings::Signal& signal) {
    const Json::Value body = base::TryParseJson(signal.body).value_or(Json::Value());
    if (signal.type == state.signalType && body.isObject() && body["pid"] == getpid() &&
        body["callback"] == kCallback && body["menuID"] == item && body["return_data"].isBool()) {
      answer = body["return_data"].asBool();
    }
  });
  (client.*state.bySignal)(item, getpid(), kCallback);
  if (!client.RunUntil([&] { return answer.has_value(); }, AnswerTime(options))) {
    throw Failure(ExitCode::kTimedOut,
                  "the answer did not arrive; wait longer with --timeout SECONDS");
  }
  return *answer;
}

Failure NotListed(Client& client, const std::string& item, const std::string& value) {
  if (client.GetItemDataList(item)) {
    return NotAccepted(client, item, value);
  }
  return client.GetItemValue(item) ? NoList(item) : NoValue(client, item, ExitCode::kRefused);
}

bool Ask(const Options& options, const State& state, const Question& question, Client& client) {
  const std::string& item = question.item;
  if (question.bySignal) {
    return AskBySignal(options, state, item, client);
  }
  const std::optional<bool> answer =
      question.value ? (client.*state.ofValue)(item, *question.value)
                     : (client.*(question.path ? state.ofPath : state.ofItem))(item);
  if (!answer) {
    RequireItem(client, item);
    if (question.value) {
      throw NotListed(client, item, *question.value);
    }
    throw Failure(ExitCode::kRefused, "the service gave no answer for " + Quote(item));
  }
  return *answer;
}

ExitCode Answer(const Options& options, const State& state, const Question& question,
                Client& client) {
  const bool answer = Ask(options, state, question, client);
  if (!options.json) {
    tools::PrintLine(answer ? "yes" : "no");
  } else if (question.value) {
    tools::PrintLine(tools::JsonLine(
        {{"item", question.item}, {"value", *question.value}, {state.name, answer}}));
  } else {
    tools::PrintLine(tools::JsonLine({{"item", question.item}, {state.name, answer}}));
  }
  return answer ? ExitCode::kDone : ExitCode::kRefused;
}

struct StateOptions {
  tools::Parameter path;
  tools::Parameter bySignal;
};

StateOptions AddStateVerb(tools::Tool& tool, const Options& options, const State& state,
                          const std::string& description, const std::string& ofSignal) {
  auto question = std::make_shared<Question>();
  tools::Syntax verb =
      tool.AddVerb(tool.App(), state.name, description, [&options, &state, question] {
        return WithClient(options, [&](Client& client) {
          question->item = ItemOf(client, question->item);
          return Answer(options, state, *question, client);
        });
      });
  AddItem(verb, options, question->item);
  tools::Parameter path =
      verb.AddFlag("--path", question->path, "Ask about the groups above the item as well");
  tools::Parameter value =
      verb.AddOption("--value", "V", question->value, "Ask about one of its values")
          .CompletedBy(ValueOffer(options, question->item))
          .Excludes(path);
  tools::Parameter bySignal = verb.AddFlag("--async", question->bySignal, ofSignal);
  bySignal.Excludes(value);
  return {path, bySignal};
}

}  // namespace

void AddStateVerbs(tools::Tool& tool, const Options& options) {
  const StateOptions visible = AddStateVerb(
      tool, options, kVisible, "Tell whether an item is visible (exit code 0) or not (1)",
      "Get the answer as a signal");
  visible.bySignal.Excludes(visible.path);
  AddStateVerb(tool, options, kEnabled, "Tell whether an item is enabled (exit code 0) or not (1)",
               "Get the answer as a signal; implies --path");
}

}  // namespace settingsctl
