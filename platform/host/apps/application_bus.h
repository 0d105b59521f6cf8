#pragma once

#include <map>
#include <string>

namespace host {

// Questions to the bus about applications. Any thread. They wait only for the bus itself, never for
// an application. `id` may be any text; if it cannot be an application's ID the result is -EINVAL.

// Asks the bus to hand the application an activation with `extraData`, starting it if it does
// not run. Returns 0, or a negative errno when nothing was sent: -ENOPKG when no such
// application is installed, -EINVAL when a text is not UTF-8, -E2BIG when there is too much.
int ActivateApplication(const std::string& id, const std::map<std::string, std::string>& extraData);

// 1 when the application runs, 0 when it does not, a negative errno when that is not known.
int IsApplicationRunning(const std::string& id);

}  // namespace host
