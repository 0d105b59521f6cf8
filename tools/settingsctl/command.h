#pragma once

#include <string>
#include <vector>

namespace settingsctl {

// Runs a command, whose first word is looked up in PATH, and waits for it. SIGINT, SIGTERM, SIGHUP
// and SIGQUIT sent to this process meanwhile are passed on; those of a terminal reach the command
// directly. Returns its exit status, or 128 + the number of the signal that killed it, or, after a
// message, 127 when there is no such command and 126 when it cannot be started.
int RunCommand(const std::vector<std::string>& command);

}  // namespace settingsctl
