#pragma once

#include <json/json.h>

#include <deque>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "items/catalogue_form.h"
#include "items/catalogue_problem.h"
#include "items/json_source.h"

namespace host {

// Whether a value that is neither a list nor an object has the form.
bool Fits(const Form& form, const Json::Value& value);

// Used to read every part of a catalogue: it has the files, the current place, and the mistakes
// found, each with its place.
class CatalogueReader {
 public:
  // Where a value is: its file and its item.
  struct Place {
    JsonSource* source = nullptr;
    std::string item;
  };

  const Place& Here() const { return m_Here; }
  void GoTo(Place place) { m_Here = std::move(place); }
  void GoToItem(std::string item) { m_Here.item = std::move(item); }

  // Opens a file and makes it the current one. Null, and reported, when it cannot be read; its
  // content lives as long as the reader.
  const Json::Value* ReadFile(const std::filesystem::path& file);

  // Records a mistake, by default in the current item.
  void Report(const Json::Value& value, std::string message);
  void Report(const JsonObject& object, std::string_view member, std::string message);
  void Report(CatalogueProblem problem) { m_Problems.push_back(std::move(problem)); }

  // Records what is not JSON in the files, unless a better mistake is known for the same line.
  void ReportWhatIsNotJson();

  const std::vector<CatalogueProblem>& Problems() const { return m_Problems; }

  // The mistakes in the order of files and lines.
  std::vector<CatalogueProblem> TakeProblems();

  // Reports unknown and missing members.
  void CheckMembers(const JsonObject& object, const ObjectForm& form);

  // Nothing when there is no such member, or its form is wrong, which is reported.
  std::optional<std::string> ReadText(const JsonObject& object, const Member& member);
  std::optional<double> ReadNumber(const JsonObject& object, const Member& member);

  // How the current file writes a value.
  std::string_view Written(const Json::Value& value) const { return m_Here.source->Written(value); }

 private:
  std::deque<JsonSource> m_Sources;  // deques: references stay valid while they grow
  std::deque<Json::Value> m_Roots;
  Place m_Here;
  std::vector<CatalogueProblem> m_Problems;
};

}  // namespace host
