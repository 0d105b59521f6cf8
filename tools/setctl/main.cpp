#include "setctl/verbs.h"

namespace {

constexpr char kDescription[] = "Operates the set that the settings service runs on.";

constexpr char kFooter[] =
    "Examples:\n"
    "  setctl key set memory/set/speaker bluetooth\n"
    "  setctl key get db/menu/brightness\n"
    "  setctl key list db/menu/\n"
    "  setctl key watch memory/ --count 1 --timeout 10\n"
    "  setctl log --lines 20 --follow\n"
    "  setctl catalogue check menu.json";

}  // namespace

int main(int argc, char** argv) {
  setctl::Options options;
  tools::Tool tool("setctl", kDescription, kFooter);
  tool.App()
      .add_option("--root", options.root, "Root directory of the set (SETTINGS_ROOT, or /)")
      ->type_name("DIR");
  tool.App().add_flag("--json", options.json, "Print JSON, one object on a line");
  setctl::AddKeyVerbs(tool, options);
  setctl::AddLogVerb(tool, options);
  setctl::AddCatalogueVerb(tool, options);
  return tool.Run(argc, argv);
}
