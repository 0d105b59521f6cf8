#pragma once

#include <string>

namespace host {

// One line of the log at ERROR, without a line end. Any thread.
void LogError(const char* tag, const std::string& line);

}  // namespace host
