#pragma once

#include <string>

namespace host {

// Whether `id` can be the ID of an application: a well-known bus name that belongs neither to
// the bus and its services (org.freedesktop.*) nor to the set's services (org.nuvra.service.*).
// Takes any text.
bool IsApplicationId(const std::string& id);

// The object of the application `id`, which is valid.
std::string ApplicationObjectPath(const std::string& id);

// The key in which the application `id` says its state.
std::string ApplicationStatusKey(const std::string& id);

}  // namespace host
