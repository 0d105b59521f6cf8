#include "items/catalogue_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "base/number.h"
#include "base/utf8.h"
#include "items/number_grid.h"

namespace host {

// A number such as 2.0 counts as an integer for JsonCpp; here it does not.
bool Fits(const Form& form, const Json::Value& value) {
  switch (form.sort) {
    case Sort::kTruth:
      return value.isBool();
    case Sort::kInteger:
      return value.type() != Json::realValue && value.isInt();
    case Sort::kText: {
      const std::string_view text = TextOf(value);
      return value.isString() && base::IsPlainText(text) && (form.canBeEmpty || !text.empty()) &&
             text.size() <= MostBytes(form) && (form.shape == nullptr || Fits(*form.shape, text)) &&
             (form.words.empty() || IsAmong(form.words, text));
    }
    default:
      return value.isNumeric();
  }
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

void CatalogueReader::CheckMembers(const JsonObject& object, const ObjectForm& form) {
  for (const JsonObject::Member& given : object.Members()) {
    if (std::none_of(form.members.begin(), form.members.end(),
                     [&](const Member& known) { return known.name == given.name; })) {
      std::string known;
      for (const Member& member : form.members) {
        known += fmt::format("{}{}", known.empty() ? "" : ", ", member.name);
      }
      Report(*given.value,
             fmt::format("unknown member \"{}\": {} takes {}", given.name, form.what, known));
    }
  }
  for (const Member& member : form.members) {
    if (member.isRequired && object.Find(member.name) == nullptr) {
      Report(object.Whole(),
             fmt::format("member \"{}\" is missing: {} needs it", member.name, form.what));
    }
  }
}

std::optional<std::string> CatalogueReader::ReadText(const JsonObject& object,
                                                     const Member& member) {
  const Json::Value* value = object.Find(member.name);
  if (value == nullptr) {
    return std::nullopt;
  }
  const std::string text(TextOf(*value));
  if (!Fits(kText, *value)) {
    Report(*value, fmt::format("\"{}\" must be a non-empty string, UTF-8 without "
                               "control characters",
                               member.name));
    return std::nullopt;
  }
  if (!Fits(*member.form, *value)) {
    Report(*value, MistakeIn(*member.form, text));
    return std::nullopt;
  }
  return text;
}

// Read from the file's own text: JsonCpp would read the number by the rules of the locale.
std::optional<double> CatalogueReader::ReadNumber(const JsonObject& object, const Member& member) {
  const Json::Value* value = object.Find(member.name);
  if (value == nullptr) {
    return std::nullopt;
  }
  const auto number =
      Fits(*member.form, *value) ? base::ParseDecimal(Written(*value)) : std::nullopt;
  if (!number) {
    Report(*value, fmt::format("\"{}\" must be a number like 5, -5 or 0.5", member.name));
  }
  return number;
}

}  // namespace host
