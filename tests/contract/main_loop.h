#pragma once

#include <chrono>
#include <functional>

// What a contract suite needs besides the interface under test. Each platform that the suite runs
// on provides its own definitions.
namespace contract {

// Runs this process's main loop until `done` returns true. Returns false when it does not do so
// within `limit`.
bool RunMainLoopUntil(const std::function<bool()>& done,
                      std::chrono::milliseconds limit = std::chrono::seconds(30));

// Lets the main loop do everything that is due by now. A callback for something that has already
// happened has been called when this returns.
void SettleMainLoop();

}  // namespace contract
