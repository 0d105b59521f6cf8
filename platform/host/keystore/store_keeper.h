#pragma once

#include <chrono>
#include <filesystem>
#include <memory>

namespace host {

// Keeps the "db/" keys of a store in order while others use it: folds the log into the file and
// makes the good copy, on a thread of its own and with connections of its own, so that nobody waits
// for either. One for a store is enough: the daemon's. A failure is logged and tried again later.
class StoreKeeper {
 public:
  struct Times {
    // How long nothing was written when the log is folded in and the copy made.
    std::chrono::milliseconds quiet{3000};
    // How long there is at least between two copies.
    std::chrono::milliseconds betweenCopies{std::chrono::minutes(10)};
    // How long it waits when a reader stood in the way of folding in.
    std::chrono::milliseconds afterHindrance{15'000};
  };

  // For the store in these directories, which is open. Throws std::runtime_error when it cannot
  // begin.
  StoreKeeper(const std::filesystem::path& stateDir, const std::filesystem::path& runDir,
              Times times);
  StoreKeeper(const std::filesystem::path& stateDir, const std::filesystem::path& runDir)
      : StoreKeeper(stateDir, runDir, Times()) {}

  // Folds in what is left in the log, and makes a copy if it is time for one.
  ~StoreKeeper();
  StoreKeeper(const StoreKeeper&) = delete;
  StoreKeeper& operator=(const StoreKeeper&) = delete;

 private:
  struct Impl;
  std::unique_ptr<Impl> m_Impl;
};

}  // namespace host
