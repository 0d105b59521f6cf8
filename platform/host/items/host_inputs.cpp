#include "items/host_inputs.h"

#include <cerrno>
#include <cstdlib>
#include <memory>

#include "system_info.h"
#include "vconf.h"

namespace host {
namespace {

// The end of a call that read nothing: a default must not stand for a value that is there. The key
// store has logged its failure.
std::nullopt_t NothingIn(const std::string& key, int error) {
  if (error != ENOENT && error != EINVAL) {
    throw InputFailure("cannot read " + key);
  }
  return std::nullopt;
}

}  // namespace

std::optional<int> HostInputs::Number(const std::string& key) const {
  int number = 0;
  if (vconf_get_int(key.c_str(), &number) == 0) {
    return number;
  }
  return NothingIn(key, errno);
}

std::optional<std::string> HostInputs::Text(const std::string& key) const {
  const std::unique_ptr<char, decltype(&std::free)> text(vconf_get_str(key.c_str()), &std::free);
  if (text) {
    return text.get();
  }
  return NothingIn(key, errno);
}

bool HostInputs::WriteNumber(const std::string& key, int number) {
  return vconf_set_int(key.c_str(), number) == 0;
}

bool HostInputs::WriteText(const std::string& key, const std::string& text) {
  return vconf_set_str(key.c_str(), text.c_str()) == 0;
}

std::optional<bool> HostInputs::BoolFeature(const std::string& feature) const {
  bool value = false;
  return system_info_get_custom_bool(feature.c_str(), &value) == 0 ? std::optional(value)
                                                                   : std::nullopt;
}

std::optional<int> HostInputs::IntFeature(const std::string& feature) const {
  int value = 0;
  return system_info_get_custom_int(feature.c_str(), &value) == 0 ? std::optional(value)
                                                                  : std::nullopt;
}

}  // namespace host
