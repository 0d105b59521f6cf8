#include "apps/application_state.h"

#include <utility>
#include <variant>

#include "base/number.h"

namespace host {
namespace {

constexpr std::pair<ApplicationState, std::string_view> kNames[] = {
    {ApplicationState::kForeground, "foreground"}, {ApplicationState::kVisible, "visible"},
    {ApplicationState::kBackground, "background"}, {ApplicationState::kEnding, "ending"},
    {ApplicationState::kEnded, "ended"},
};

constexpr ApplicationState kLastToEnter = ApplicationState::kBackground;

}  // namespace

std::string ApplicationStateName(int state) {
  for (const auto& [named, name] : kNames) {
    if (static_cast<int>(named) == state) {
      return std::string(name);
    }
  }
  return std::to_string(state);
}

std::vector<std::string> StatesToEnter() {
  std::vector<std::string> names;
  for (const auto& [state, name] : kNames) {
    if (state <= kLastToEnter) {
      names.emplace_back(name);
    }
  }
  return names;
}

std::optional<ApplicationState> FindStateToEnter(std::string_view name) {
  for (const auto& [state, known] : kNames) {
    if (known == name && state <= kLastToEnter) {
      return state;
    }
  }
  return std::nullopt;
}

int ToldApplicationState(const std::optional<KeyValue>& told) {
  int state = -1;
  if (told) {
    const int* number = std::get_if<int>(&*told);
    state = number != nullptr ? *number
                              : base::ParseWhole<int>(std::get<std::string>(*told)).value_or(-1);
  }
  return state >= 0 ? state : static_cast<int>(ApplicationState::kForeground);
}

}  // namespace host
