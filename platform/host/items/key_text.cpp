#include "items/key_text.h"

#include <cstdlib>
#include <memory>

#include "vconf.h"

namespace host {

std::optional<std::string> ReadKeyText(const std::string& key) {
  const std::unique_ptr<char, decltype(&std::free)> text(vconf_get_str(key.c_str()), &std::free);
  return text ? std::optional<std::string>(text.get()) : std::nullopt;
}

}  // namespace host
