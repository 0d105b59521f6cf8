#pragma once

#include <string>

namespace host {

// One line of the library's log, without a line end.
void LogError(const std::string& line);

}  // namespace host
