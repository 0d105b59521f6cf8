#pragma once

#include <string>
#include <variant>

#include "keystore/key_store.h"

namespace host {

// "KEY VALUE", or "KEY removed".
inline std::string ToText(const KeyChange& change) {
  if (!change.value) {
    return change.key + " removed";
  }
  const int* number = std::get_if<int>(&*change.value);
  return change.key + " " +
         (number != nullptr ? std::to_string(*number) : std::get<std::string>(*change.value));
}

}  // namespace host
