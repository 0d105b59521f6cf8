#include "set/languages.h"

#include <locale.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <system_error>

#include "system/environment.h"

namespace host {

std::vector<std::string> TranslatedLanguages() {
  std::vector<std::string> languages;
  std::error_code ignored;
  for (const auto& entry :
       std::filesystem::directory_iterator(EnvironmentFromVariables().localeDir, ignored)) {
    if (std::filesystem::exists(entry.path() / "LC_MESSAGES/settings-items.mo", ignored)) {
      languages.push_back(entry.path().filename());
    }
  }
  std::sort(languages.begin(), languages.end());
  return languages;
}

bool IsLanguage(const std::string& locale) {
  const std::regex syntax("([a-z]{2,3})(_[A-Z]{2})?(\\.[A-Za-z0-9-]{1,16})?(@[a-z]{1,16})?");
  std::smatch parts;
  if (!std::regex_match(locale, parts, syntax)) {
    return false;
  }
  const std::vector<std::string> translated = TranslatedLanguages();
  if (std::find(translated.begin(), translated.end(), parts[1].str()) != translated.end()) {
    return true;
  }
  const locale_t own = newlocale(LC_ALL_MASK, locale.c_str(), nullptr);
  if (own != nullptr) {
    freelocale(own);
  }
  return own != nullptr;
}

}  // namespace host
