#include "items/catalogue_problem.h"

#include <fmt/format.h>

#include <utility>

namespace host {

std::string ToText(const CatalogueProblem& problem) {
  std::string text = problem.file.string();
  if (problem.line > 0) {
    text += fmt::format(":{}", problem.line);
  }
  if (!problem.item.empty()) {
    text += ": " + problem.item;
  }
  return text + ": " + problem.message;
}

CatalogueError::CatalogueError(std::vector<CatalogueProblem> problems)
    : std::runtime_error(ToText(problems.front())), m_Problems(std::move(problems)) {}

}  // namespace host
