#include "set/state.h"

#include <functional>
#include <map>
#include <set>

#include "system/error_log.h"
#include "system/host.h"
#include "thread_safety.h"

namespace host {
namespace {

// That many values of a key are remembered; then the list is cleared.
constexpr std::size_t kMaxRemembered = 1000;

}  // namespace

// What was said about which key since it held a value that can be used. Readers may be changes
// apart, so the last one is not enough.
struct UnusableReports {
  guarded::Mutex mutex;
  // Hashes: a value may be large.
  std::map<std::string, std::set<std::size_t>> values GUARDED_BY(mutex);
};

void ReportUnusable(const std::string& key, const KeyValue& value, const std::string& problem) {
  const std::size_t hash = std::hash<KeyValue>()(value);
  UnusableReports& reports = g_Host.unusableReports.Get();
  {
    const guarded::Lock lock(reports.mutex);
    std::set<std::size_t>& said = reports.values[key];
    if (said.size() == kMaxRemembered) {
      said.clear();
    }
    if (!said.insert(hash).second) {
      return;
    }
  }
  LogError("set", key + " " + problem + "; it is ignored");
}

void ForgetUnusable(const std::string& key) {
  UnusableReports& reports = g_Host.unusableReports.Get();
  const guarded::Lock lock(reports.mutex);
  reports.values.erase(key);
}

}  // namespace host
