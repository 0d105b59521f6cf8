#include "helps.h"
#include "settingsctl/verbs.h"

namespace {

constexpr char kDescription[] = "Talks to the settings service.";

constexpr char kFooter[] =
    "Examples:\n"
    "  settingsctl get picturemode\n"
    "  settingsctl set picturemode movie\n"
    "  settingsctl tree picture\n"
    "  settingsctl hold brightness --app org.example.game -- sleep 60\n"
    "  settingsctl call SetItemValue gamemode Value=on PreViewFlag:=true\n"
    "  settingsctl request '{\"method\":\"GetItemValue\",\"data\":{\"menuID\":\"brightness\"}}'\n"
    "  settingsctl monitor --count 1 --timeout 10\n"
    "  settingsctl watch picturemode brightness";

}  // namespace

int main(int argc, char** argv) {
  settingsctl::Options options;
  tools::Tool tool("settingsctl", kDescription, kFooter);
  tools::AddBus(tool.App(), options.bus);
  tools::AddSeconds(
      tool.App(), "--timeout", options.timeout,
      "How long to wait for an answer (5); for monitor, watch and wait: the whole time");
  tool.App().AddFlag("--json", options.json, "Print JSON, one object per line");
  settingsctl::AddValueVerbs(tool, options);
  settingsctl::AddAdjustingVerbs(tool, options);
  settingsctl::AddTransferVerbs(tool, options);
  settingsctl::AddDescribeVerb(tool, options);
  settingsctl::AddPreviewVerb(tool, options);
  settingsctl::AddItemVerbs(tool, options);
  settingsctl::AddTreeVerb(tool, options);
  settingsctl::AddStateVerbs(tool, options);
  settingsctl::AddWhyVerb(tool, options);
  settingsctl::AddDisablingVerbs(tool, options);
  settingsctl::AddHoldVerb(tool, options);
  settingsctl::AddRequestVerbs(tool, options);
  settingsctl::AddMonitorVerb(tool, options);
  settingsctl::AddWatchVerb(tool, options);
  settingsctl::AddWaitVerb(tool, options);
  tool.AddHelp(settingsctl::Helps(), options.json);
  tool.AddOther("setctl", setctl::Helps());
  return tool.Run(argc, argv);
}
