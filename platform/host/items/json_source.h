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
    int line;  // from 1; 0 for the whole file
    std::string message;
  };

  explicit JsonSource(std::filesystem::path file);

  // Reads the file into `root`, which is then an object, and returns the mistakes that prevent it:
  // none on success.
  std::vector<Mistake> Read(Json::Value& root);

  // What is not JSON in the file although Read found no mistake: Read tolerates some misspelt
  // numbers and strings, and ignores what follows a zero byte.
  const std::optional<Mistake>& NotJson() const { return m_NotJson; }

  const std::filesystem::path& File() const { return m_File; }

  // The line at `offset` bytes from the beginning, an offset of a value of `root`.
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

// The members of a JSON object, which must outlive it, for repeated look-ups.
class JsonObject {
 public:
  struct Member {
    std::string_view name;
    const Json::Value* value;
  };

  // `object` must be an object.
  explicit JsonObject(const Json::Value& object);

  // Null when there is no such member.
  const Json::Value* Find(std::string_view name) const;

  std::span<const Member> Members() const { return m_Members; }
  const Json::Value& Whole() const { return m_Whole; }

 private:
  const Json::Value& m_Whole;
  std::vector<Member> m_Members;
};

// The text of a JSON string, which must outlive it; empty when `value` is not a string.
std::string_view TextOf(const Json::Value& value);

}  // namespace host
