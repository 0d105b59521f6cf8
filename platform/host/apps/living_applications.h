#pragma once

#include <functional>
#include <string>

namespace host {

// Which instance of an application lives, in the order of the requests (app_manager.h). What is
// disabled in an application's name is tied to an instance, so that it can be told after a restart
// of this process whether it has since ended. Main-loop thread only.

// A text that distinguishes the living instance of the application from all others there ever are,
// except one that gave its name back and took it again on the same connection; empty when none
// lives, or nobody knows because no service runs.
std::string LivingInstance(const std::string& app);

// If `instance` is no longer the living one, reports the end of the application to the callback of
// app_manager.h: as soon as there is one, and before the next request; to nobody when the callback
// is unset before.
void ReportEndUnlessLiving(const std::string& app, const std::string& instance);

// From now on calls `begin` when an instance of an application begins to live, before the event of
// app_manager.h, as long as a callback is set there. It replaces the previous one.
void OnInstanceBegin(std::function<void(const std::string& app)> begin);

}  // namespace host
