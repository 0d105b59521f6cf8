#pragma once

#include <string>
#include <vector>

namespace settingsctl {

// Runs a command, whose first word is looked up in PATH, to its end. SIGINT, SIGTERM, SIGHUP and
// SIGQUIT that somebody sends to this process meanwhile go on to the command; those of a terminal
// it has from there. Returns its exit status, 128 + the number of the signal that ended it, and,
// after a message, 127 when there is no such command and 126 when it cannot be started.
int RunCommand(const std::vector<std::string>& command);

}  // namespace settingsctl
