#pragma once

#include <optional>
#include <string>

#include "tool.h"

// The verbs of setctl (docs/commands.md). `options` must outlive the tool's run.
namespace setctl {

struct Options {
  std::optional<std::string> root;
  bool json = false;
};

void AddKeyVerbs(tools::Tool& tool, const Options& options);
void AddLogVerb(tools::Tool& tool, const Options& options);
void AddCatalogueVerb(tools::Tool& tool, const Options& options);

// Makes the set of the options the one that this process works on. Called first by each verb that
// works on a set. Throws tools::Failure (wrong usage) when there is no such directory.
void EnterSet(const Options& options);

}  // namespace setctl
