#pragma once

#include <json/json.h>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// A JSON file written by people: strict JSON with one object at its top, in which every value
// has a line.
class JsonSource {
 public:
  struct Mistake {
    int line;  // from 1; 0 when the file as a whole is meant
    std::string message;
  };

  explicit JsonSource(std::filesystem::path file);

  // Reads the file into `root`, an object afterwards, and returns what hinders it: nothing, when
  // there is no mistake.
  std::vector<Mistake> Read(Json::Value& root);

  // What of the file is not JSON although Read found nothing: some numbers and texts can be made
  // out that are written otherwise, and what stands behind a zero byte is passed over.
  const std::optional<Mistake>& NotJson() const { return m_NotJson; }

  const std::filesystem::path& File() const { return m_File; }

  // The line at `offset` bytes from the beginning, as a value of `root` gives it.
  int LineAt(std::ptrdiff_t offset);

  // How the file writes `value`.
  std::string_view Written(const Json::Value& value) const;

 private:
  std::vector<Mistake> ReadText();
  std::vector<Mistake> Parse(Json::Value& root);
  std::vector<Mistake> ParseByLibrary(Json::Value& root) const;

  std::filesystem::path m_File;
  std::string m_Text;
  std::optional<Mistake> m_NotJson;
  std::vector<std::ptrdiff_t> m_LineEnds;  // filled when a line is first asked for
};

// The members of a JSON object, which must outlive it, for looking them up many times.
class JsonObject {
 public:
  struct Member {
    std::string_view name;
    const Json::Value* value;
  };

  // `object` is one.
  explicit JsonObject(const Json::Value& object);

  // Null when there is no such member.
  const Json::Value* Find(std::string_view name) const;

  std::span<const Member> Members() const { return m_Members; }
  const Json::Value& Whole() const { return m_Whole; }

 private:
  const Json::Value& m_Whole;
  std::vector<Member> m_Members;
};

// The text of a JSON string, which must outlive it; empty when `value` is none.
std::string_view TextOf(const Json::Value& value);

}  // namespace host
