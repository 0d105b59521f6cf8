#pragma once

#include "settingsctl/connection.h"
#include "tool.h"

// The verbs of settingsctl (docs/commands.md). `options` must outlive the tool's run.
namespace settingsctl {

void AddValueVerbs(tools::Tool& tool, const Options& options);
void AddRequestVerbs(tools::Tool& tool, const Options& options);
void AddMonitorVerb(tools::Tool& tool, const Options& options);

}  // namespace settingsctl
