#pragma once

#include <string>

namespace host {

// The object of the application `id`, which is valid.
std::string ApplicationObjectPath(const std::string& id);

// The key in which the application `id` states its state.
std::string ApplicationStatusKey(const std::string& id);

}  // namespace host
