#pragma once

#include <string>
#include <vector>

namespace settingsctl {

// A method of the service (docs/wire.md).
struct Method {
  std::string name;
  std::vector<std::string> parameters;  // of its data, and "pid" and "callback" beside it
  bool answersBySignal = false;
};

// All methods, in the order of the document.
std::vector<Method> Methods();

// Whether this parameter of a method is a text, or a number that may be written as one.
bool IsText(const std::string& parameter);

// Throw tools::Failure (wrong usage), which says what exists or comes nearest.
Method FindMethod(const std::string& name);
void CheckParameter(const Method& method, const std::string& parameter);

}  // namespace settingsctl
