#include "items/catalogue_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "items/text.h"

namespace host {
namespace {

constexpr std::size_t kMaxKeyBytes = 255;

bool IsKeyCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '-' || c == '.' || c == '/';
}

// Narrower than what the key store takes, so that keys can be typed and read aloud.
bool IsItemKey(std::string_view key) {
  const bool isInStore = key.starts_with("db/") || key.starts_with("memory/");
  const bool isPreview = key.starts_with(kPreviewKeys);
  return isInStore && !isPreview && key.size() <= kMaxKeyBytes && key.back() != '/' &&
         key.find("//") == key.npos && std::all_of(key.begin(), key.end(), IsKeyCharacter);
}

// What the set keeps its state in, and what programs tell each other in; those with a slash at the
// end are all keys below it.
constexpr std::string_view kTakenKeys[] = {
    "db/factory/factory_reset_count",
    "db/menu/refresh_menu",
    "db/sysman/rotation_state",
    "memory/ave/protection",
    "memory/detection/game",
    "memory/gamebar/launch_by_erbrightness",
    "memory/menu/disabled_items",
    "memory/menu/general/reset/progressing",
    "memory/multiscreen/info",
    "memory/set/",
    "memory/tv-viewer/",
};

}  // namespace

bool IsTakenKey(std::string_view key) {
  return std::any_of(std::begin(kTakenKeys), std::end(kTakenKeys), [&](std::string_view taken) {
    return taken.ends_with('/') ? key.starts_with(taken) : key == taken;
  });
}

const Json::Value* CatalogueReader::ReadFile(const std::filesystem::path& file) {
  m_Here.source = &m_Sources.emplace_back(file);
  Json::Value& root = m_Roots.emplace_back();
  const auto mistakes = m_Here.source->Read(root);
  for (const JsonSource::Mistake& mistake : mistakes) {
    Report({file, mistake.line, m_Here.item, mistake.message});
  }
  return mistakes.empty() ? &root : nullptr;
}

void CatalogueReader::Report(const Json::Value& value, std::string message) {
  JsonSource& source = *m_Here.source;
  Report({source.File(), source.LineAt(value.getOffsetStart()), m_Here.item, std::move(message)});
}

void CatalogueReader::Report(const JsonObject& object, std::string_view member,
                             std::string message) {
  Report(*object.Find(member), std::move(message));
}

void CatalogueReader::ReportWhatIsNotJson() {
  for (const JsonSource& source : m_Sources) {
    const std::optional<JsonSource::Mistake>& mistake = source.NotJson();
    if (mistake &&
        std::none_of(m_Problems.begin(), m_Problems.end(), [&](const CatalogueProblem& known) {
          return known.file == source.File() && known.line == mistake->line;
        })) {
      Report({source.File(), mistake->line, "", mistake->message});
    }
  }
}

std::vector<CatalogueProblem> CatalogueReader::TakeProblems() {
  const auto place = [&](const CatalogueProblem& problem) {
    const auto source =
        std::find_if(m_Sources.begin(), m_Sources.end(),
                     [&](const JsonSource& candidate) { return candidate.File() == problem.file; });
    return std::pair(source - m_Sources.begin(), problem.line);
  };
  std::stable_sort(
      m_Problems.begin(), m_Problems.end(),
      [&](const CatalogueProblem& a, const CatalogueProblem& b) { return place(a) < place(b); });
  return std::move(m_Problems);
}

void CatalogueReader::CheckMembers(const JsonObject& object, std::string_view what,
                                   std::span<const KnownMember> members) {
  for (const JsonObject::Member& given : object.Members()) {
    if (std::none_of(members.begin(), members.end(),
                     [&](const KnownMember& known) { return known.name == given.name; })) {
      std::string known;
      for (const KnownMember& member : members) {
        known += fmt::format("{}{}", known.empty() ? "" : ", ", member.name);
      }
      Report(*given.value,
             fmt::format("unknown member \"{}\": {} takes {}", given.name, what, known));
    }
  }
  for (const KnownMember& member : members) {
    if (member.isRequired && object.Find(member.name) == nullptr) {
      Report(object.Whole(),
             fmt::format("member \"{}\" is missing: {} needs it", member.name, what));
    }
  }
}

std::optional<std::string> CatalogueReader::ReadText(const JsonObject& object,
                                                     std::string_view name) {
  const Json::Value* member = object.Find(name);
  if (member == nullptr) {
    return std::nullopt;
  }
  const std::string_view text = TextOf(*member);
  if (text.empty() || !IsPlainText(text)) {
    Report(*member, fmt::format("\"{}\" must be a text of at least one character, UTF-8 without "
                                "control characters",
                                name));
    return std::nullopt;
  }
  return std::string(text);
}

// Read from the file's own text: JsonCpp would read the number by the rules of the locale.
std::optional<double> CatalogueReader::ReadNumber(const JsonObject& object, std::string_view name) {
  const Json::Value* value = object.Find(name);
  if (value == nullptr) {
    return std::nullopt;
  }
  const auto number = value->isNumeric() ? ParseNumber(Written(*value)) : std::nullopt;
  if (!number) {
    Report(*value, fmt::format("\"{}\" must be a number like 5, -5 or 0.5", name));
  }
  return number;
}

std::optional<std::string> CatalogueReader::ReadKey(const JsonObject& object) {
  const auto key = ReadText(object, "key");
  if (key && !IsItemKey(*key)) {
    Report(object, "key",
           fmt::format("key \"{}\" must begin with db/ or memory/, have letters, "
                       "digits, \"_\", \"-\" and \".\" between single slashes, at "
                       "most {} bytes in all, and not lie in {}",
                       *key, kMaxKeyBytes, kPreviewKeys));
  }
  return key;
}

}  // namespace host
