#include "platform_double.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

#include "apps/living_applications.h"
#include "dlog.h"
#include "system_info.h"
#include "vconf.h"

PlatformDouble& PlatformDouble::Get() {
  static PlatformDouble platform;
  return platform;
}

void PlatformDouble::Reset() {
  auto kept = std::move(onBegin);
  *this = PlatformDouble();
  onBegin = std::move(kept);
}

std::optional<std::variant<int, std::string>> PlatformDouble::Key(const std::string& key) const {
  const auto found = m_Keys.find(key);
  return found == m_Keys.end() ? std::nullopt : std::optional(found->second);
}

void PlatformDouble::SetKey(const std::string& key, std::variant<int, std::string> value) {
  m_Keys[key] = std::move(value);
}

void PlatformDouble::RemoveKey(const std::string& key) { m_Keys.erase(key); }

void PlatformDouble::SetFeature(const std::string& key, std::variant<bool, int> value) {
  m_Features[key] = value;
}

std::optional<std::variant<bool, int>> PlatformDouble::Feature(const std::string& key) const {
  const auto found = m_Features.find(key);
  return found == m_Features.end() ? std::nullopt : std::optional(found->second);
}

void PlatformDouble::SetLiving(const std::string& app, const std::string& instance) {
  m_Living[app] = instance;
}

std::string PlatformDouble::Living(const std::string& app) const {
  const auto found = m_Living.find(app);
  return found == m_Living.end() ? "" : found->second;
}

void PlatformDouble::FailWrites() { m_AllWritesFail = true; }

void PlatformDouble::FailWritesTo(const std::string& key) { m_FailingKey = key; }

void PlatformDouble::LetWritesSucceed() {
  m_AllWritesFail = false;
  m_FailingKey.clear();
}

bool PlatformDouble::DoesWriteFail(const std::string& key) const {
  return m_AllWritesFail || key == m_FailingKey;
}

void PlatformDouble::Begin(const std::string& app, const std::string& instance) {
  SetLiving(app, instance);
  onBegin(app);
}

void host::OnInstanceBegin(std::function<void(const std::string& app)> begin) {
  PlatformDouble::Get().onBegin = std::move(begin);
}

std::string host::LivingInstance(const std::string& app) {
  return PlatformDouble::Get().Living(app);
}

void host::ReportEndUnlessLiving(const std::string& app, const std::string& instance) {
  if (PlatformDouble::Get().Living(app) != instance) {
    PlatformDouble::Get().ReportEnd(app);
  }
}

int WriteKey(const char* key, std::variant<int, std::string> value) {
  PlatformDouble& platform = PlatformDouble::Get();
  if (platform.DoesWriteFail(key)) {
    errno = ENOSPC;
    return -1;
  }
  platform.SetKey(key, std::move(value));
  ++platform.m_Writes;
  return 0;
}

// What the key holds; null, and errno says why, when it holds no such thing or cannot be read.
template <typename Type>
std::optional<Type> ReadKey(const char* key) {
  if (PlatformDouble::Get().DoReadsFail()) {
    errno = EIO;
    return std::nullopt;
  }
  const auto found = PlatformDouble::Get().Key(key);
  if (!found || !std::holds_alternative<Type>(*found)) {
    errno = found ? EINVAL : ENOENT;
    return std::nullopt;
  }
  return std::get<Type>(*found);
}

int vconf_get_int(const char* key, int* value) {
  const auto held = ReadKey<int>(key);
  if (!held) {
    return -1;
  }
  *value = *held;
  return 0;
}

int vconf_set_int(const char* key, int value) { return WriteKey(key, value); }

char* vconf_get_str(const char* key) {
  const auto held = ReadKey<std::string>(key);
  return held ? strdup(held->c_str()) : nullptr;
}

int vconf_set_str(const char* key, const char* value) { return WriteKey(key, std::string(value)); }

namespace {

template <typename Type>
int ReadFeature(const char* key, Type* value) {
  const auto feature = PlatformDouble::Get().Feature(key);
  if (!feature || !std::holds_alternative<Type>(*feature)) {
    return -1;
  }
  *value = std::get<Type>(*feature);
  return 0;
}

}  // namespace

int system_info_get_custom_bool(const char* key, bool* value) { return ReadFeature(key, value); }

int system_info_get_custom_int(const char* key, int* value) { return ReadFeature(key, value); }

int __dlog_print(log_id_t, int priority, const char* tag, const char* format, ...) {
  char text[4096];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  PlatformDouble::Get().AddLogLine({priority, tag, text});
  return length;
}
