#include "aul.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "apps/application_bus.h"
#include "apps/application_id.h"
#include "apps/application_state.h"
#include "system/exception_border.h"
#include "vconf.h"

namespace {

struct Freer {
  void operator()(char* text) const { std::free(text); }
};

// What the application says about itself. When the key store failed, nothing, and errno is not
// ENOENT.
std::optional<host::KeyValue> Told(const std::string& id) {
  const std::string key = host::ApplicationStatusKey(id);
  int number = 0;
  if (vconf_get_int(key.c_str(), &number) == 0) {
    return number;
  }
  const std::unique_ptr<char, Freer> text(vconf_get_str(key.c_str()));
  return text ? std::optional<host::KeyValue>(text.get()) : std::nullopt;
}

int GetStatus(const std::string& id) {
  const int running = host::IsApplicationRunning(id);
  if (running <= 0) {
    return running < 0 ? running : -ESRCH;
  }
  const auto told = Told(id);
  return told || errno == ENOENT ? host::ToldApplicationState(told) : -EIO;
}

}  // namespace

extern "C" {

int aul_app_get_status(const char* app_id) {
  if (app_id == nullptr) {
    return -EINVAL;
  }
  return host::Guarded("apps", __func__, -ENOMEM, [&] { return GetStatus(app_id); });
}

}  // extern "C"
