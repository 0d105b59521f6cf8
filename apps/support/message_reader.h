#pragma once

#include <systemd/sd-bus.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

// Reads the arguments of org.freedesktop.Application's methods, in their order. Throw
// std::system_error when there are others.
namespace apps {

// The extra data of a launch request.
using ExtraData = std::map<std::string, std::string>;

// a{sv}: the entries that are text; the others are left out.
ExtraData ReadExtraData(sd_bus_message* message);

// as
std::vector<std::string> ReadTexts(sd_bus_message* message);

// s
std::string ReadText(sd_bus_message* message);

// av: the first entry, if it is text.
std::optional<std::string> ReadParameter(sd_bus_message* message);

}  // namespace apps
