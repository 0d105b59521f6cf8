#include "apps/application_state.h"

#include <charconv>
#include <utility>
#include <variant>

namespace host {
namespace {

constexpr std::pair<ApplicationState, std::string_view> kNames[] = {
    {ApplicationState::kForeground, "foreground"}, {ApplicationState::kVisible, "visible"},
    {ApplicationState::kBackground, "background"}, {ApplicationState::kEnding, "ending"},
    {ApplicationState::kEnded, "ended"},
};

constexpr ApplicationState kLastToEnter = ApplicationState::kBackground;

// All of the text; -1 when it is no number.
int ParseNumber(const std::string& text) {
  const char* const end = text.data() + text.size();
  int number = -1;
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? number : -1;
}

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
    state = number != nullptr ? *number : ParseNumber(std::get<std::string>(*told));
  }
  return state >= 0 ? state : static_cast<int>(ApplicationState::kForeground);
}

}  // namespace host
