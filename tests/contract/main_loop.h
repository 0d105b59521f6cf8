#pragma once

#include <chrono>
#include <functional>

// What a contract suite needs beside the interface under test. Each platform that the suite runs
// over brings its own definitions.
namespace contract {

// Runs this process's main loop until `done` returns true. Returns false when that did not
// happen within `limit`.
bool RunMainLoopUntil(const std::function<bool()>& done,
                      std::chrono::milliseconds limit = std::chrono::seconds(30));

// Lets the main loop do everything that it has to do by now. A callback that was going to come
// for something that already happened has come when this returns.
void SettleMainLoop();

}  // namespace contract
