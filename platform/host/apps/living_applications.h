#pragma once

#include <string>

namespace host {

// Which instance of an application lives, in the order of the requests (app_manager.h). What is
// disabled in an application's name is tied to an instance, so that it can be told after a restart
// of this process whether it has ended meanwhile. Main-loop thread only.

// A text that tells the living instance of the application from all others there ever are; empty
// when none lives, or nobody knows because no service runs.
std::string LivingInstance(const std::string& app);

// If `instance` is no longer the living one, reports the end of the application to the callback of
// app_manager.h: as soon as there is one, and before the next request.
void ReportEndUnlessLiving(const std::string& app, const std::string& instance);

}  // namespace host
