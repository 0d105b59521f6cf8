#include "set/state.h"

#include <functional>
#include <map>
#include <mutex>

namespace host {
namespace {

// What was said about which key. Never destroyed: the threads that use it are not, either.
struct Reports {
  std::mutex mutex;
  std::map<std::string, std::size_t> values;  // hashes: a value may be large
};

Reports& AllReports() {
  static auto* const reports = new Reports();
  return *reports;
}

}  // namespace

void ReportUnusable(const std::string& key, const KeyValue& value, const std::string& problem) {
  const std::size_t hash = std::hash<KeyValue>()(value);
  Reports& reports = AllReports();
  {
    const std::lock_guard lock(reports.mutex);
    const auto [said, isNew] = reports.values.try_emplace(key, hash);
    if (!isNew && said->second == hash) {
      return;
    }
    said->second = hash;
  }
  __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "set", "%s %s; it is ignored\n", key.c_str(),
               problem.c_str());
}

void ForgetUnusable(const std::string& key) {
  Reports& reports = AllReports();
  const std::lock_guard lock(reports.mutex);
  reports.values.erase(key);
}

}  // namespace host
