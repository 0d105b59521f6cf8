#pragma once

#include <chrono>
#include <filesystem>
#include <memory>

namespace host {

// Keeps the "db/" keys of a store in order while others use it: folds the log into the file and
// makes the good copy, on its own thread and with its own connections, so that nobody waits for
// either. One per store is enough: the daemon's. A failure is logged and retried later.
class StoreKeeper {
 public:
  struct Times {
    // How long nothing must be written before the log is folded in and the copy made.
    std::chrono::milliseconds quiet{3000};
    // How long it waits for that while writing goes on, before it does so nevertheless.
    std::chrono::milliseconds longest{60'000};
    // The least time between two copies.
    std::chrono::milliseconds betweenCopies{std::chrono::minutes(10)};
    // How long it waits when a reader kept it from folding in, or when writes cannot be heard of.
    std::chrono::milliseconds afterHindrance{15'000};
  };

  // For the store in these directories, which is open. Throws std::runtime_error when it cannot
  // start.
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
