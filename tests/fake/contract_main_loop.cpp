#include <gtest/gtest.h>

#include "contract/main_loop.h"
#include "fake_platform.h"

// What the contract suites need to run over the fake.
namespace contract {

bool RunMainLoopUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
  // `done` may look at what another thread did, which the main loop does not learn of.
  constexpr std::chrono::milliseconds kLookAgain{1};
  fakes::Platform& fake = fakes::Platform::Instance();
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!done()) {
    if (std::chrono::steady_clock::now() >= deadline) {
      return false;
    }
    if (!fake.RunMainLoopOnce()) {
      fake.WaitForMainLoopWork(kLookAgain);
    }
  }
  return true;
}

void SettleMainLoop() { fakes::Platform::Instance().RunMainLoop(); }

}  // namespace contract
