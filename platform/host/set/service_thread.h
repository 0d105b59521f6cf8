#pragma once

#include <functional>

namespace host {

// Runs `body`, which never returns, on a thread of that name (15 characters at most) until the
// process ends. No signal is handled on it. Throws std::system_error when it cannot be started.
void StartServiceThread(const char* name, std::function<void()> body);

}  // namespace host
