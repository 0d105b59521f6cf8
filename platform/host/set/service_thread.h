#pragma once

#include <functional>

namespace host {

// Runs `body`, which never returns, on a thread with that name (at most 15 characters) until the
// process ends. It handles no signals. Throws std::system_error when it cannot be started.
void StartServiceThread(const char* name, std::function<void()> body);

}  // namespace host
