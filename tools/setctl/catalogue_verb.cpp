#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <utility>
#include <vector>

#include "items/catalogue.h"
#include "items/catalogue_schema.h"
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

// The mistakes in a file of items whose rules may refer to items of other files.
std::vector<host::CatalogueProblem> CheckPart(const std::filesystem::path& file,
                                              const std::filesystem::path& index) {
  std::vector<host::CatalogueProblem> problems;
  std::size_t others = 0;
  for (host::CatalogueProblem& problem : host::CheckCatalogue(index)) {
    if (problem.file.filename() == file.filename()) {
      problem.file = file;
      problems.push_back(std::move(problem));
    } else {
      ++others;
    }
  }
  if (others > 0) {
    tools::PrintNote(
        fmt::format("mistakes in other files, {}, may hide some in this one; see "
                    "setctl catalogue check {}",
                    others, tools::Escape(index.native())));
  }
  return problems;
}

ExitCode Check(const Options& options, const std::string& file) {
  const std::filesystem::path index = host::FindIndexOf(file);
  const std::vector<host::CatalogueProblem> problems =
      index.empty() ? host::CheckCatalogue(file) : CheckPart(file, index);
  for (const host::CatalogueProblem& problem : problems) {
    tools::PrintLine(options.json ? ProblemJson(problem) : tools::Escape(host::ToText(problem)));
  }
  return problems.empty() ? ExitCode::kDone : ExitCode::kRefused;
}

}  // namespace

void AddCatalogueVerb(tools::Tool& tool, const Options& options) {
  tools::Syntax catalogue = tool.AddGroup("catalogue", "Check the catalogue of menu items");
  auto file = std::make_shared<std::string>();
  tools::Syntax check = tool.AddVerb(catalogue, "check", "Print the mistakes in a catalogue",
                                     [&options, file] { return Check(options, *file); });
  check.AddArgument("FILE", *file, "The catalogue's index, or a file of items")
      .Required()
      .CompletedBy(tools::PathCandidates);
  tool.AddVerb(catalogue, "schema", "Print the JSON Schema of a catalogue's files", [] {
    tools::PrintLine(host::CatalogueSchema());
    return ExitCode::kDone;
  });
}

}  // namespace setctl
