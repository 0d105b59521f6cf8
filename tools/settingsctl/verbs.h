#pragma once

#include "settingsctl/connection.h"
#include "tool.h"

// The verbs of settingsctl (docs/commands.md). `options` must outlive the tool's run.
namespace settingsctl {

void AddValueVerbs(tools::Tool& tool, const Options& options);
void AddAdjustingVerbs(tools::Tool& tool, const Options& options);
void AddTransferVerbs(tools::Tool& tool, const Options& options);
void AddDescribeVerb(tools::Tool& tool, const Options& options);
void AddPreviewVerb(tools::Tool& tool, const Options& options);
void AddItemVerbs(tools::Tool& tool, const Options& options);
void AddTreeVerb(tools::Tool& tool, const Options& options);
void AddStateVerbs(tools::Tool& tool, const Options& options);
void AddWhyVerb(tools::Tool& tool, const Options& options);
void AddDisablingVerbs(tools::Tool& tool, const Options& options);
void AddHoldVerb(tools::Tool& tool, const Options& options);
void AddRequestVerbs(tools::Tool& tool, const Options& options);
void AddMonitorVerb(tools::Tool& tool, const Options& options);
void AddWatchVerb(tools::Tool& tool, const Options& options);
void AddWaitVerb(tools::Tool& tool, const Options& options);

}  // namespace settingsctl
