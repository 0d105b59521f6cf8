#pragma once

#include <json/json.h>

#include <string>
#include <vector>

namespace settingsctl {

// The arguments of `call` for the request.
struct CallArguments {
  Json::Value data{Json::objectValue};
  Json::Value members{Json::objectValue};  // beside "method" and "data"
};

// Reads what follows the method: optionally an item, then KEY=VALUE (a string) and KEY:=JSON (any
// value). "pid" and "callback" belong beside "data" and are whole numbers of 32 bits there, however
// they are written. Throws tools::Failure (wrong usage) that names the argument.
CallArguments ParseCallArguments(const std::vector<std::string>& arguments);

}  // namespace settingsctl
