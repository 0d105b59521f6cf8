#include "framework/store_failure.h"

#include <chrono>

#include "system/host.h"
#include "thread_safety.h"

namespace host {
struct NewestFailure {
  guarded::Mutex mutex;
  StoreFailure failure GUARDED_BY(mutex);
};

void NoteStoreFailure(const std::string& text) {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  NewestFailure& newest = g_Host.newestFailure.Get();
  const guarded::Lock lock(newest.mutex);
  newest.failure = {static_cast<std::uint64_t>(
                        std::chrono::duration_cast<std::chrono::microseconds>(now).count()),
                    text};
}

StoreFailure NewestStoreFailure() {
  NewestFailure& newest = g_Host.newestFailure.Get();
  const guarded::Lock lock(newest.mutex);
  return newest.failure;
}

}  // namespace host
