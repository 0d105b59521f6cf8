#pragma once

#include <string>
#include <vector>

namespace host {

// The languages that the menu is translated into, in order.
std::vector<std::string> TranslatedLanguages();

// Whether it can be the set's language: a locale of a translated language, for any country, or one
// that this machine has. Any other would change only the key.
bool IsLanguage(const std::string& locale);

}  // namespace host
