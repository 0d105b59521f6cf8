#include "settingsctl/call_arguments.h"

#include <fmt/format.h>

#include <cstddef>
#include <string_view>
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

Json::Value Text(const std::string& key, const std::string& text) {
  const std::optional<int> number = base::ParseWhole<int>(text);
  return IsMember(key) && number ? Json::Value(*number) : Json::Value(text);
}

// KEY=VALUE or KEY:=JSON, with its first '=' at `equals`.
std::pair<std::string, Json::Value> Assignment(const std::string& argument, std::size_t equals) {
  const std::string right = argument.substr(equals + 1);
  std::string key = argument.substr(0, equals);
  if (key.empty() || key.back() != ':') {
    Json::Value value = Text(key, right);
    return {std::move(key), std::move(value)};
  }
  key.pop_back();
  std::optional<Json::Value> value = base::TryParseJson(right);
  if (!value) {
    throw Failure(ExitCode::kUsage,
                  fmt::format("{}: what follows := is not JSON; write a string as KEY=TEXT",
                              Quote(argument)));
  }
  return {std::move(key), std::move(*value)};
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
