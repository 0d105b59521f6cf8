// gettext translates nothing in the locale "C", and a process stays in it when the locale of its
// language is not installed: on most machines that is every language but one. Locales could be
// compiled for the set, but only for the expected languages, and every program of the set would
// have to be started with their path. The variable LANGUAGE alone selects the catalogues, and
// gettext obeys it in any other locale. So names are looked up in "C.UTF-8", which is built into
// the C library, if LANGUAGE is set; otherwise in the locale of the process.
//
// gettext caches what it found. A successful setlocale clears the cache; a failed one, or a change
// of LANGUAGE, does not.

#include "items/translation.h"

#include <libintl.h>
#include <locale.h>

#include <cstdlib>

#include "base/utf8.h"
#include "system/host.h"

// Documented by gettext for programs that change LANGUAGE: incrementing it clears the cache.
extern "C" int _nl_msg_cat_cntr;

namespace host {

struct Translations {
  bool exist = false;
  std::string languages;  // in which gettext has looked last
  // Null, for which uselocale changes nothing, when the C library has none.
  const locale_t languageOnly = newlocale(LC_MESSAGES_MASK, "C.UTF-8", nullptr);
};

namespace {

constexpr char kItemNames[] = "settings-items";
constexpr char kValueNames[] = "settings-values";

// While one lives, messages of this thread are looked up in the given locale.
class MessageLocale {
 public:
  explicit MessageLocale(locale_t locale) : m_Previous(uselocale(locale)) {}
  ~MessageLocale() { uselocale(m_Previous); }
  MessageLocale(const MessageLocale&) = delete;
  MessageLocale& operator=(const MessageLocale&) = delete;

 private:
  locale_t m_Previous;
};

std::string WantedLanguages() {
  const char* languages = std::getenv("LANGUAGE");
  return languages != nullptr ? languages : "";
}

void ForgetTranslationsOfOtherLanguages(const std::string& languages, Translations& translations) {
  if (languages != translations.languages) {
    translations.languages = languages;
    ++_nl_msg_cat_cntr;
  }
}

std::string Translated(const char* domain, const std::string& name) {
  Translations& translations = g_Host.translations.Get();
  const std::string languages = WantedLanguages();
  // A language is part of a path: it must not lead out of the directory of translations. An empty
  // name would give the header of the catalogue.
  if (!translations.exist || name.empty() || languages.find('/') != std::string::npos) {
    return name;
  }
  ForgetTranslationsOfOtherLanguages(languages, translations);
  const MessageLocale locale(languages.empty() ? nullptr : translations.languageOnly);
  const std::string translation = dgettext(domain, name.c_str());
  return base::IsPlainText(translation) ? translation : name;
}

}  // namespace

void UseTranslations(const std::filesystem::path& directory) {
  g_Host.translations.Get().exist = !directory.empty();
  if (directory.empty()) {
    return;
  }
  for (const char* domain : {kItemNames, kValueNames}) {
    bindtextdomain(domain, directory.c_str());
    bind_textdomain_codeset(domain, "UTF-8");
  }
}

std::string ItemNameInLanguage(const std::string& name) { return Translated(kItemNames, name); }

std::string ValueNameInLanguage(const std::string& name) { return Translated(kValueNames, name); }

std::string ValueName(const ValueSet& values, ValuePosition position) {
  if (const auto* options = std::get_if<std::vector<Option>>(&values)) {
    return ValueNameInLanguage((*options)[position].name);
  }
  const Range& range = std::get<Range>(values);
  const std::string number = range.values.Text(position);
  return range.unit.empty() ? number : number + " " + ValueNameInLanguage(range.unit);
}

}  // namespace host
