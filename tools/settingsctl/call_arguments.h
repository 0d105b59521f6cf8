#pragma once

#include <json/json.h>

#include <string>
#include <vector>

namespace settingsctl {

// The arguments of `call` as they go into the request.
struct CallArguments {
  Json::Value data{Json::objectValue};
  Json::Value members{Json::objectValue};  // beside "method" and "data"
};

// Reads what stands behind the method: first perhaps an item, then KEY=VALUE (a string) and
// KEY:=JSON (any value). "pid" and "callback" belong beside "data"; they are numbers there, so
// that pid=5 is one. Throws tools::Failure (wrong usage) that names the argument.
CallArguments ParseCallArguments(const std::vector<std::string>& arguments);

}  // namespace settingsctl
