#include "items/json_source.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <utility>

#include "base/json.h"

namespace host {
namespace {

// JsonCpp describes each mistake by a line "* Line 3, Column 5" and indented lines that say what.
// What it finds further on the same line follows from the first.
std::vector<JsonSource::Mistake> Mistakes(const std::string& description) {
  std::vector<JsonSource::Mistake> mistakes;
  std::istringstream lines(description);
  int place = 0;
  for (std::string line; std::getline(lines, line);) {
    const bool isPlace = std::sscanf(line.c_str(), "* Line %d,", &place) == 1;
    const bool isKnown = !mistakes.empty() && mistakes.back().line == place;
    if (!isPlace && !isKnown && line.starts_with("  ")) {
      mistakes.push_back({place, "not JSON: " + line.substr(2)});
    }
  }
  return mistakes;
}

std::vector<JsonSource::Mistake> NoObject() { return {{1, "the file must be one object"}}; }

}  // namespace

JsonSource::JsonSource(std::filesystem::path file) : m_File(std::move(file)) {}

std::vector<JsonSource::Mistake> JsonSource::Read(Json::Value& root) {
  std::vector<Mistake> mistakes = ReadText();
  return mistakes.empty() ? Parse(root) : mistakes;
}

std::vector<JsonSource::Mistake> JsonSource::ReadText() {
  std::error_code error;
  const auto size = std::filesystem::file_size(m_File, error);
  if (error) {
    return {{0, "cannot be read: " + error.message()}};
  }
  m_Text.resize(size);
  std::ifstream stream(m_File, std::ios::binary);
  if (!stream.read(m_Text.data(), static_cast<std::streamsize>(size))) {
    return {{0, "cannot be read: check its permissions"}};
  }
  if (const char* problem = base::ByteOrderMarkProblem(m_Text)) {
    return {{1, problem}};
  }
  return {};
}

// The JSON library describes each mistake that it finds. What it accepts although it is not JSON is
// kept for later: the loader may have a better message for the same value.
std::vector<JsonSource::Mistake> JsonSource::Parse(Json::Value& root) {
  if (const std::optional<base::JsonFault> fault =
          base::ReadJson(m_Text, base::kMaxJsonDepth, root)) {
    std::vector<Mistake> mistakes = ParseByLibrary(root);
    if (mistakes.empty()) {
      m_NotJson = {LineAt(static_cast<std::ptrdiff_t>(fault->at)), "not JSON: " + fault->problem};
    }
    return mistakes;
  }
  return root.isObject() ? std::vector<Mistake>() : NoObject();
}

std::vector<JsonSource::Mistake> JsonSource::ParseByLibrary(Json::Value& root) const {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["collectComments"] = false;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string description;
  try {
    if (!reader->parse(m_Text.data(), m_Text.data() + m_Text.size(), &root, &description)) {
      return Mistakes(description);
    }
  } catch (const Json::Exception& exception) {  // nested deeper than JsonCpp's own limit
    return {{0, std::string("not JSON: ") + exception.what()}};
  }
  return root.isObject() ? std::vector<Mistake>() : NoObject();
}

int JsonSource::LineAt(std::ptrdiff_t offset) {
  if (m_LineEnds.empty()) {
    for (std::size_t end = m_Text.find('\n'); end != std::string::npos;
         end = m_Text.find('\n', end + 1)) {
      m_LineEnds.push_back(static_cast<std::ptrdiff_t>(end));
    }
  }
  const auto above = std::lower_bound(m_LineEnds.begin(), m_LineEnds.end(), offset);
  return static_cast<int>(above - m_LineEnds.begin()) + 1;
}

std::string_view JsonSource::Written(const Json::Value& value) const {
  return std::string_view(m_Text).substr(value.getOffsetStart(),
                                         value.getOffsetLimit() - value.getOffsetStart());
}

JsonObject::JsonObject(const Json::Value& object) : m_Whole(object) {
  m_Members.reserve(object.size());
  for (auto member = object.begin(); member != object.end(); ++member) {
    const char* end = nullptr;
    const char* begin = member.memberName(&end);
    m_Members.push_back({std::string_view(begin, end), &*member});
  }
}

const Json::Value* JsonObject::Find(std::string_view name) const {
  const auto found = std::find_if(m_Members.begin(), m_Members.end(),
                                  [&](const Member& member) { return member.name == name; });
  return found == m_Members.end() ? nullptr : found->value;
}

std::string_view TextOf(const Json::Value& value) {
  const char* begin = nullptr;
  const char* end = nullptr;
  return value.isString() && value.getString(&begin, &end) ? std::string_view(begin, end)
                                                           : std::string_view();
}

}  // namespace host
