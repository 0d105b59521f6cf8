#pragma once

#include <string>
#include <vector>

namespace host {

// The languages that the menu is translated into, in order.
std::vector<std::string> TranslatedLanguages();

// Whether the set can have it as its language: a locale of a translated language, of whatever
// country, or one that this machine has. Any other would change nothing but the key.
bool IsLanguage(const std::string& locale);

}  // namespace host
