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

// Whether a value that is no list and no object looks as it should.
bool Fits(const Form& form, const Json::Value& value);

// What every part of a catalogue is read with: the files, the place that has been reached, and
// notes of the mistakes, each with that place.
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

  // Opens a file, in which the reader then is. Null, and reported, when it cannot be read; what
  // is read stays as long as the reader.
  const Json::Value* ReadFile(const std::filesystem::path& file);

  // Notes a mistake, by default in the item that has been reached.
  void Report(const Json::Value& value, std::string message);
  void Report(const JsonObject& object, std::string_view member, std::string message);
  void Report(CatalogueProblem problem) { m_Problems.push_back(std::move(problem)); }

  // Notes what is not JSON in the files, where nothing better is known of the same line.
  void ReportWhatIsNotJson();

  const std::vector<CatalogueProblem>& Problems() const { return m_Problems; }

  // The mistakes in the order of files and lines.
  std::vector<CatalogueProblem> TakeProblems();

  // Reports unknown and missing members.
  void CheckMembers(const JsonObject& object, const ObjectForm& form);

  // Nothing when there is no such member, or it has another form, which is reported.
  std::optional<std::string> ReadText(const JsonObject& object, const Member& member);
  std::optional<double> ReadNumber(const JsonObject& object, const Member& member);

  // How the file that has been reached writes a value.
  std::string_view Written(const Json::Value& value) const { return m_Here.source->Written(value); }

 private:
  std::deque<JsonSource> m_Sources;  // deques: places in them are kept while they grow
  std::deque<Json::Value> m_Roots;
  Place m_Here;
  std::vector<CatalogueProblem> m_Problems;
};

}  // namespace host
