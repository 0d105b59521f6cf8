#pragma once

#include <string>

#include "settings/client.h"

// What the bus and sd-bus report, as errors of the client. The only place that knows their names.
namespace settings {

// The error for a failed request: the name and text of the error reply, or those that sd-bus made
// up in its place.
Error ErrorFromReply(const std::string& name, const std::string& text);

// The error for a failed sd-bus call that has no reply; `result` is its negative errno.
Error ErrorFromResult(int result);

// The error for a connection that could not be made.
Error ErrorFromConnecting(const std::string& bus, int result);

}  // namespace settings
