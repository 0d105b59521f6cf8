#include "keystore/damage_log.h"

#include <set>
#include <string>

#include "system/host.h"
#include "thread_safety.h"

namespace host {

// Damage to the store that has been logged.
struct ReportedDamages {
  guarded::Mutex mutex;
  std::set<std::string> damages GUARDED_BY(mutex);
};

bool IsWorthLogging(const StoreError& failure) {
  if (!failure.IsDamage()) {
    return true;
  }
  ReportedDamages& reported = g_Host.reportedDamages.Get();
  const guarded::Lock lock(reported.mutex);
  return reported.damages.insert(failure.what()).second;
}

}  // namespace host
