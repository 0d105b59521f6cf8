#include <memory>
#include <vector>

#include "items/catalogue.h"
#include "setctl/verbs.h"
#include "text.h"

namespace setctl {
namespace {

using tools::ExitCode;

std::string ProblemJson(const host::CatalogueProblem& problem) {
  return tools::JsonLine({{"file", problem.file.native()},
                          {"line", problem.line},
                          {"item", problem.item},
                          {"message", problem.message}});
}

ExitCode Check(const Options& options, const std::string& file) {
  const std::vector<host::CatalogueProblem> problems = host::CheckCatalogue(file);
  for (const host::CatalogueProblem& problem : problems) {
    tools::PrintLine(options.json ? ProblemJson(problem) : tools::Escape(host::ToText(problem)));
  }
  return problems.empty() ? ExitCode::kDone : ExitCode::kRefused;
}

}  // namespace

void AddCatalogueVerb(tools::Tool& tool, const Options& options) {
  tools::Syntax catalogue = tool.AddGroup("catalogue", "What the menu is made of");
  auto file = std::make_shared<std::string>();
  tools::Syntax check = tool.AddVerb(catalogue, "check", "Print the mistakes in a catalogue",
                                     [&options, file] { return Check(options, *file); });
  check.AddArgument("FILE", *file, "The catalogue's index, or a file of items").Required();
}

}  // namespace setctl
