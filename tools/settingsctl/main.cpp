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
    "  settingsctl monitor --count 1 --timeout 10";

std::string CheckBus(const std::string& bus) {
  return bus == "session" || bus == "system" || bus.find(':') != std::string::npos
             ? ""
             : "use session, system or a bus address such as unix:path=/run/bus, not " + bus;
}

}  // namespace

int main(int argc, char** argv) {
  settingsctl::Options options;
  tools::Tool tool("settingsctl", kDescription, kFooter);
  tool.App()
      .add_option("--bus", options.bus, "session (the default), system or a bus address")
      ->type_name("BUS")
      ->check(CheckBus);
  tools::AddSeconds(tool.App(), "--timeout", options.timeout,
                    "How long an answer may take (5); for monitor: how long to listen");
  tool.App().add_flag("--json", options.json, "Print JSON, one object on a line");
  settingsctl::AddValueVerbs(tool, options);
  settingsctl::AddItemVerbs(tool, options);
  settingsctl::AddTreeVerb(tool, options);
  settingsctl::AddStateVerbs(tool, options);
  settingsctl::AddDisablingVerbs(tool, options);
  settingsctl::AddHoldVerb(tool, options);
  settingsctl::AddRequestVerbs(tool, options);
  settingsctl::AddMonitorVerb(tool, options);
  return tool.Run(argc, argv);
}
