#pragma once

#include <filesystem>
#include <string>

#include "items/item.h"

namespace host {

// The names of the menu in the language of the process. Main-loop thread only.

// From now on names are translated with the catalogues below `directory`. Nothing is translated
// before the first call, or when `directory` is empty.
void UseTranslations(const std::filesystem::path& directory);

// `name`, which is English, in the current language of the process; `name` itself when it has no
// translation. A change of the variable LANGUAGE takes effect at the next call.
std::string ItemNameInLanguage(const std::string& name);
std::string ValueNameInLanguage(const std::string& name);

// The name that the menu shows for a value.
std::string ValueName(const ValueSet& values, ValuePosition position);

}  // namespace host
