// An event's file is in a place where everybody may write, such as /tmp, and the service may have
// more rights than they do. So nothing on the way to it is a symbolic link, and nothing but a
// regular file is replaced or removed.
//
// The events of a run that was killed are known from a list in the run directory, which is
// written before the file of the event is made.

#include "system/ready_event.h"

#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <exception>
#include <filesystem>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "dlog.h"
#include "lwipc.h"
#include "system/environment.h"
#include "system/exception_border.h"
#include "system/host.h"
#include "system/safe_directory.h"
#include "thread_safety.h"

namespace host {

// The events that could not be announced yet, and why.
struct RemainingEvents {
  guarded::Mutex mutex;
  std::map<std::string, std::string> reasons GUARDED_BY(mutex);
};

namespace {

constexpr char kLogTag[] = "ready_event";
constexpr char kListName[] = "announced-events";
constexpr size_t kListLimit = 64 * 1024;
constexpr size_t kEventFileLimit = 32;
constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kSharedDirectoryMode = 01777;

// The components of "/a/b", at least one.
std::vector<std::string> Components(const std::string& event) {
  if (event.empty() || event.front() != '/' || event.find('\n') != std::string::npos) {
    throw std::runtime_error("\"" + event + "\" is not an absolute path on one line");
  }
  std::vector<std::string> components;
  std::istringstream rest(event.substr(1));
  for (std::string component; std::getline(rest, component, '/');) {
    components.push_back(component);
  }
  if (components.empty() || event.back() == '/') {
    throw std::runtime_error("\"" + event + "\" does not name a file");
  }
  return components;
}

SafeDirectory OpenRunDirectory() {
  MakeDirectories(RunDir());
  return SafeDirectory(RunDir());
}

// One event per line.
std::string ReadList(const SafeDirectory& runDirectory) {
  return runDirectory.ReadFile(kListName, kListLimit).value_or("");
}

void AddToList(const std::string& event) {
  const SafeDirectory runDirectory = OpenRunDirectory();
  const std::string list = ReadList(runDirectory);
  const std::string entry = event + "\n";
  if (("\n" + list).find("\n" + entry) == std::string::npos) {
    runDirectory.ReplaceFile(kListName, list + entry);
  }
}

void MakeEventFile(const std::string& event) {
  const std::vector<std::string> components = Components(event);
  AddToList(event);
  SafeDirectory directory(GetEnvironment().root);
  for (size_t index = 0; index + 1 < components.size(); ++index) {
    const bool shared = index == 0 && components[index] == "tmp";
    directory =
        directory.EnterOrMake(components[index], shared ? kSharedDirectoryMode : kDirectoryMode);
  }
  directory.MakeFile(components.back(), std::to_string(getpid()) + "\n");
}

// Returns whether the event is announced; otherwise it remains.
bool Announce(const std::string& event) {
  RemainingEvents& remaining = g_Host.remainingEvents.Get();
  const guarded::Lock lock(remaining.mutex);
  try {
    MakeEventFile(event);
  } catch (const std::exception& exception) {
    std::string& reason = remaining.reasons[event];
    if (reason != exception.what()) {
      reason = exception.what();
      __dlog_print(LOG_ID_MAIN, DLOG_ERROR, kLogTag, "%s cannot be announced: %s\n", event.c_str(),
                   reason.c_str());
    }
    return false;
  }
  if (remaining.reasons.erase(event) > 0) {
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, kLogTag, "%s is announced now\n", event.c_str());
  }
  return true;
}

std::vector<std::string> ListRemaining() {
  RemainingEvents& remaining = g_Host.remainingEvents.Get();
  const guarded::Lock lock(remaining.mutex);
  std::vector<std::string> events;
  for (const auto& [event, reason] : remaining.reasons) {
    events.push_back(event);
  }
  return events;
}

bool IsEventContent(const std::string& content) {
  return content.size() > 1 && content.back() == '\n' &&
         std::all_of(content.begin(), content.end() - 1,
                     [](unsigned char character) { return std::isdigit(character) != 0; });
}

void RemoveEventFile(const std::string& event) {
  const std::vector<std::string> components = Components(event);
  SafeDirectory directory(GetEnvironment().root);
  for (size_t index = 0; index + 1 < components.size(); ++index) {
    directory = directory.Enter(components[index]);
  }
  const auto content = directory.ReadFile(components.back(), kEventFileLimit);
  if (content && !IsEventContent(*content)) {
    throw std::runtime_error(event + " does not hold the number of a process");
  }
  directory.RemoveFile(components.back());
}

}  // namespace

bool AnnounceRemainingEvents() {
  bool all = true;
  for (const std::string& event : ListRemaining()) {
    all = Announce(event) && all;
  }
  return all;
}

void WithdrawReadyEvents() {
  {
    RemainingEvents& remaining = g_Host.remainingEvents.Get();
    const guarded::Lock lock(remaining.mutex);
    remaining.reasons.clear();
  }
  std::error_code ignored;
  if (!std::filesystem::exists(RunDir(), ignored)) {
    return;
  }
  Guarded(kLogTag, "the events announced before are not known and stay", [] {
    const SafeDirectory runDirectory(RunDir());
    std::istringstream list(ReadList(runDirectory));
    for (std::string event; std::getline(list, event);) {
      try {
        RemoveEventFile(event);
      } catch (const std::exception& exception) {
        __dlog_print(LOG_ID_MAIN, DLOG_WARN, kLogTag, "%s is left as it is: %s\n", event.c_str(),
                     exception.what());
      }
    }
    runDirectory.RemoveFile(kListName);
  });
}

}  // namespace host

int LwipcEventDone(const char* event) {
  if (event == nullptr) {
    return -1;
  }
  const int result =
      host::Guarded(host::kLogTag, __func__, -1, [&] { return host::Announce(event) ? 0 : -1; });
  const int notified = sd_notify(0, "READY=1");
  if (notified < 0) {
    __dlog_print(LOG_ID_MAIN, DLOG_WARN, host::kLogTag, "the service manager was not told: %s\n",
                 std::strerror(-notified));
  }
  return result;
}
