#include "helps.h"
#include "setctl/verbs.h"

namespace {

constexpr char kDescription[] = "Operates the set that the settings service runs on.";

constexpr char kFooter[] =
    "Examples:\n"
    "  setctl source add hdmi1 \"My Console\"\n"
    "  setctl source switch hdmi1\n"
    "  setctl power picture-off\n"
    "  setctl key set db/menu/brightness 30\n"
    "  setctl key get db/menu/brightness\n"
    "  setctl key list db/menu/\n"
    "  setctl key watch memory/ --count 1 --timeout 10\n"
    "  setctl app start com.velmora.tv.gamebar mode=auto_source_change\n"
    "  setctl app state org.pavix.tv-viewer background\n"
    "  setctl log --lines 20 --follow\n"
    "  setctl catalogue check menu.json";

}  // namespace

int main(int argc, char** argv) {
  setctl::Options options;
  tools::Tool tool("setctl", kDescription, kFooter);
  tool.App()
      .AddOption("--root", "DIR", options.root, "Root directory of the set (SETTINGS_ROOT, or /)")
      .Check([](const std::string& root) { return root.empty() ? "the name is empty" : ""; })
      .CompletedBy(tools::PathCandidates);
  tools::AddBus(tool.App(), options.bus, "Bus of the applications: ");
  tool.App().AddFlag("--json", options.json, "Print JSON, one object per line");
  setctl::AddKeyVerbs(tool, options);
  setctl::AddSetVerbs(tool, options);
  setctl::AddLogVerb(tool, options);
  setctl::AddCatalogueVerb(tool, options);
  setctl::AddAppVerbs(tool, options);
  tool.AddHelp(setctl::Helps(), options.json);
  tool.AddOther("settingsctl", settingsctl::Helps());
  return tool.Run(argc, argv);
}
