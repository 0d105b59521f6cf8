#pragma once

#include <json/json.h>

#include <string>
#include <utility>
#include <vector>

namespace settingsctl {

// The values of items in a file: a JSON object, item to value.
using ValuesOfItems = std::vector<std::pair<std::string, Json::Value>>;

// What the file has, in its order; "-" is standard input. Throws tools::Failure: kNotFound when
// there is no such file, kRefused when it cannot be read or is no JSON object, with line and
// column.
ValuesOfItems ReadValues(const std::string& file);

// The text of such a file: a line for each item, or all on one line.
std::string ValuesText(const std::vector<std::pair<std::string, std::string>>& values,
                       bool onOneLine);

}  // namespace settingsctl
