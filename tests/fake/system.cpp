#include <Ecore.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "active_net_speaker.h"
#include "call.h"
#include "cpu_inheritance.h"
#include "deadlock_watchdog.h"
#include "lwipc.h"
#include "system_info.h"

using namespace fakes;

// Programs that use the fake are linked so that every fopen comes here.
extern "C" std::FILE* __real_fopen(const char* path, const char* mode);
extern "C" std::FILE* __wrap_fopen(const char* path, const char* mode);

namespace {

constexpr char kReclaimFile[] = "/proc/self/reclaim";

template <typename Value>
int GetFeature(std::string_view function, const char* key, Value* value) {
  Call call(function, key);
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  const auto feature = call->features.find(key);
  if (feature == call->features.end() || !std::holds_alternative<Value>(feature->second)) {
    return call.Returns(-1);
  }
  *value = std::get<Value>(feature->second);
  return call.Returns(0, *value);
}

// Fills a caller's buffer of `size` bytes.
void Give(char* buffer, std::size_t size, const std::string& text) {
  const std::size_t length = std::min(text.size(), size - 1);
  std::copy_n(text.data(), length, buffer);
  buffer[length] = '\0';
}

bool AllZeros(const char* buffer, std::size_t size) {
  return std::all_of(buffer, buffer + size, [](char c) { return c == '\0'; });
}

// The reclaim file is a stream without a file behind it; what was written shows when it closes.
ssize_t WriteReclaim(void* written, const char* text, std::size_t size) {
  static_cast<std::string*>(written)->append(text, size);
  return static_cast<ssize_t>(size);
}

int CloseReclaim(void* written) {
  const std::unique_ptr<std::string> text(static_cast<std::string*>(written));
  Call call("fclose", kReclaimFile);
  call.Write(": " + TraceText(*text));
  return 0;
}

std::FILE* OpenReclaim(const char* mode) {
  Call call("fopen", kReclaimFile, mode);
  if (auto error = call.Failure(ENOENT)) {
    call.Returns(Verbatim{strerrorname_np(*error)});
    errno = *error;
    return nullptr;
  }
  call.Returns(Verbatim{"open"});
  return fopencookie(
      new std::string, mode,
      {.read = nullptr, .write = WriteReclaim, .seek = nullptr, .close = CloseReclaim});
}

}  // namespace

std::FILE* __wrap_fopen(const char* path, const char* mode) {
  return std::string_view(path) == kReclaimFile ? OpenReclaim(mode) : __real_fopen(path, mode);
}

int GetActiveNetSpkInfo(char* displayName, char* speakerType, std::vector<std::string>& speakers) {
  Call call("GetActiveNetSpkInfo");
  if (!AllZeros(displayName, NET_SPEAKER_DISPLAY_NAME_SIZE) ||
      !AllZeros(speakerType, NET_SPEAKER_TYPE_SIZE) || !speakers.empty()) {
    call.Complain("outputs not empty");
  }
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  if (call->speakers.empty()) {
    return call.Returns(0);
  }
  Give(displayName, NET_SPEAKER_DISPLAY_NAME_SIZE, call->speakerDisplayName);
  Give(speakerType, NET_SPEAKER_TYPE_SIZE, call->speakerType);
  speakers = call->speakers;
  return call.Returns(static_cast<int>(speakers.size()), displayName, speakerType);
}

extern "C" {

int ecore_init() {
  Call call("ecore_init");
  return call.Returns(call.Failure(0).value_or(1));
}

int smart_deadlock_register_watchdog_service(int level) {
  Call call("smart_deadlock_register_watchdog_service", level);
  const int result = call.Failure(-1).value_or(0);
  call->watched = call->watched || result == 0;
  return call.Returns(result);
}

int smart_deadlock_watchdog_notify() {
  Call call("smart_deadlock_watchdog_notify");
  return call.Returns(call.Failure(-1).value_or(call->watched ? 0 : -1));
}

int LwipcEventDone(const char* event) {
  Call call("LwipcEventDone", event);
  return call.Returns(call.Failure(-1).value_or(0));
}

int resource_register_cpu_inheritance_destination(const char* name, pid_t pid) {
  Call call("resource_register_cpu_inheritance_destination", name, pid);
  return call.Returns(call.Failure(-1).value_or(0));
}

int system_info_get_custom_bool(const char* key, bool* value) {
  return GetFeature("system_info_get_custom_bool", key, value);
}

int system_info_get_custom_int(const char* key, int* value) {
  return GetFeature("system_info_get_custom_int", key, value);
}

}  // extern "C"

namespace fakes {

void Platform::SetFeature(std::string key, FeatureValue value) {
  std::lock_guard lock(Shared().mutex);
  Shared().state.features.insert_or_assign(std::move(key), value);
}

void Platform::SetNetworkSpeakers(std::vector<std::string> identifiers, std::string displayName,
                                  std::string type) {
  std::lock_guard lock(Shared().mutex);
  Shared().state.speakers = std::move(identifiers);
  Shared().state.speakerDisplayName = std::move(displayName);
  Shared().state.speakerType = std::move(type);
}

}  // namespace fakes
