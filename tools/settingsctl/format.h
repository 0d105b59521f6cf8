#pragma once

#include <json/json.h>

#include <string>

#include "settings/client.h"

// Formats what settingsctl prints.
namespace settingsctl {

// `standard (Standard)`; a name that adds nothing to the value is left out.
std::string ValueText(const std::string& value, const std::string& name);

// `0 to 50, step 1`.
std::string RangeText(const settings::Range& range);

// The members of a reply body, one `name: JSON` line each, without a trailing newline.
std::string ReplyText(const Json::Value& body);

// One line for a signal that was received at `time`.
std::string SignalText(const std::string& time, const settings::Signal& signal);
std::string SignalJson(const std::string& time, const settings::Signal& signal);

}  // namespace settingsctl
