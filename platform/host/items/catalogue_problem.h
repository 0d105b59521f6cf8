#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace host {

// One mistake in a catalogue.
struct CatalogueProblem {
  std::filesystem::path file;
  int line = 0;      // from 1; 0 when the file as a whole is meant
  std::string item;  // its identifier; empty when the mistake is in no item or in the identifier
  std::string message;
};

// "file:line: item: message", without the parts that the problem does not have.
std::string ToText(const CatalogueProblem& problem);

class CatalogueError : public std::runtime_error {
 public:
  // `problems` is not empty.
  explicit CatalogueError(std::vector<CatalogueProblem> problems);

  const std::vector<CatalogueProblem>& Problems() const { return m_Problems; }

 private:
  std::vector<CatalogueProblem> m_Problems;
};

}  // namespace host
