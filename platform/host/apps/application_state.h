#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "keystore/key_store.h"

namespace host {

// The states of an application that have names, by the numbers of aul.h.
enum class ApplicationState {
  kForeground = 2,
  kVisible = 3,
  kBackground = 4,
  kEnding = 5,
  kEnded = 9,
};

// "foreground", …; the number itself for any other state.
std::string ApplicationStateName(int state);

// The names of the states that an application can be asked to enter, and the state of one.
std::vector<std::string> StatesToEnter();
std::optional<ApplicationState> FindStateToEnter(std::string_view name);

// The number that the application gives in its key, from 0 on, as integer or as text. One that
// gives nothing useful is running, so as far as anybody knows it is in the foreground.
int ToldApplicationState(const std::optional<KeyValue>& told);

}  // namespace host
