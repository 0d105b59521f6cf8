#include "framework/store_failure.h"

#include <chrono>

#include "thread_safety.h"

namespace host {
namespace {

struct Newest {
  guarded::Mutex mutex;
  StoreFailure failure GUARDED_BY(mutex);
};

// Never destroyed: threads may still use the key store while the process ends.
Newest& TheNewest() {
  static auto* const newest = new Newest();
  return *newest;
}

}  // namespace

void NoteStoreFailure(const std::string& text) {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  Newest& newest = TheNewest();
  const guarded::Lock lock(newest.mutex);
  newest.failure = {static_cast<std::uint64_t>(
                        std::chrono::duration_cast<std::chrono::microseconds>(now).count()),
                    text};
}

StoreFailure NewestStoreFailure() {
  Newest& newest = TheNewest();
  const guarded::Lock lock(newest.mutex);
  return newest.failure;
}

}  // namespace host
