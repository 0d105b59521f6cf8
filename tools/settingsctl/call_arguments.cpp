#include "settingsctl/call_arguments.h"

#include <fmt/format.h>

#include <cstddef>
#include <limits>
#include <optional>
#include <utility>

#include "base/json.h"
#include "base/number.h"
#include "common.h"
#include "text.h"

namespace settingsctl {
namespace {

using tools::ExitCode;
using tools::Failure;
using tools::Quote;

bool IsMember(const std::string& key) { return key == "pid" || key == "callback"; }

// What stands behind the = of a KEY=VALUE, or behind the := of a KEY:=JSON.
Json::Value Value(const std::string& key, const std::string& text, bool isJson,
                  const std::string& argument) {
  if (IsMember(key)) {
    using Limits = std::numeric_limits<int>;
    const std::optional<int> number = base::ParseWhole<int>(text);
    if (!number) {
      throw Failure(ExitCode::kUsage, fmt::format("{}: {} is not a whole number from {} to {}", key,
                                                  Quote(text), Limits::min(), Limits::max()));
    }
    return *number;
  }
  if (!isJson) {
    return text;
  }
  std::optional<Json::Value> value = base::TryParseJson(text);
  if (!value) {
    throw Failure(ExitCode::kUsage,
                  fmt::format("{}: what follows := is not JSON; write a string as KEY=TEXT",
                              Quote(argument)));
  }
  return *std::move(value);
}

// KEY=VALUE or KEY:=JSON, with its first '=' at `equals`.
std::pair<std::string, Json::Value> Assignment(const std::string& argument, std::size_t equals) {
  std::string key = argument.substr(0, equals);
  const bool isJson = key.ends_with(':');
  if (isJson) {
    key.pop_back();
  }
  Json::Value value = Value(key, argument.substr(equals + 1), isJson, argument);
  return {std::move(key), std::move(value)};
}

}  // namespace

CallArguments ParseCallArguments(const std::vector<std::string>& arguments) {
  CallArguments result;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    const std::size_t equals = argument.find('=');
    const bool isItem = i == 0 && equals == std::string::npos;
    if (!isItem && equals == std::string::npos) {
      throw Failure(ExitCode::kUsage, Quote(argument) +
                                          " is neither KEY=VALUE nor KEY:=JSON, and an item "
                                          "must come right after the method");
    }
    auto [key, value] = isItem ? std::pair<std::string, Json::Value>("menuID", argument)
                               : Assignment(argument, equals);
    if (key.empty()) {
      throw Failure(ExitCode::kUsage, Quote(argument) + " has no key before the =");
    }
    Json::Value& target = IsMember(key) ? result.members : result.data;
    if (target.isMember(key)) {
      throw Failure(ExitCode::kUsage, Quote(key) + " given twice");
    }
    target[key] = std::move(value);
  }
  return result;
}

}  // namespace settingsctl
