#include "aul.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "apps/application_bus.h"
#include "apps/application_id.h"
#include "vconf.h"

namespace {

// It runs, so as far as anybody knows it can be seen and has the focus.
constexpr int kStateOfSilentApplication = 2;

struct Freer {
  void operator()(char* text) const { std::free(text); }
};

// The number that `text` is, all of it; -1 when it is none.
int ParseNumber(const char* text) {
  const char* const end = text + std::strlen(text);
  int number = -1;
  const auto [stop, error] = std::from_chars(text, end, number);
  return error == std::errc() && stop == end ? number : -1;
}

// What the application says about itself; negative when it says nothing of use.
int ToldState(const std::string& id) {
  const std::string key = host::ApplicationStatusKey(id);
  int number = -1;
  if (vconf_get_int(key.c_str(), &number) == 0) {
    return number;
  }
  const std::unique_ptr<char, Freer> text(vconf_get_str(key.c_str()));
  return text ? ParseNumber(text.get()) : -1;
}

int GetStatus(const std::string& id) {
  const int running = host::IsApplicationRunning(id);
  if (running <= 0) {
    return running < 0 ? running : -ESRCH;
  }
  const int told = ToldState(id);
  return told >= 0 ? told : kStateOfSilentApplication;
}

}  // namespace

extern "C" {

int aul_app_get_status(const char* app_id) {
  if (app_id == nullptr) {
    return -EINVAL;
  }
  try {
    return GetStatus(app_id);
  } catch (const std::bad_alloc&) {
    return -ENOMEM;
  }
}

}  // extern "C"
