#include <map>
#include <string>

#include "helps.h"

namespace setctl {
namespace {

using tools::ExitCode;

using Codes = std::map<ExitCode, std::string>;

// What every verb that works on a set may end with, beside `own`.
Codes OfSet(Codes own = {}) {
  own.merge(Codes{{ExitCode::kRefused, "the key store failed"},
                  {ExitCode::kNotRunning, "no set runs there"},
                  {ExitCode::kNotAllowed, "the set belongs to another user"}});
  return own;
}

Codes OfKey() { return OfSet({{ExitCode::kNotFound, "no such key"}}); }

Codes OfSource(const std::string& refused = "the key store failed") {
  return OfSet({{ExitCode::kRefused, refused}, {ExitCode::kNotFound, "no such source"}});
}

Codes OfApp(const std::string& refused) {
  return {{ExitCode::kRefused, refused},
          {ExitCode::kTimedOut, "it took longer than --timeout"},
          {ExitCode::kNotRunning, "there is no bus"},
          {ExitCode::kNotFound, "no such application"},
          {ExitCode::kNotAllowed, "not allowed"}};
}

Codes OfLog(Codes own) {
  own.merge(Codes{{ExitCode::kRefused, "the log cannot be read"},
                  {ExitCode::kTimedOut, "the last lines are missing"},
                  {ExitCode::kNotRunning, "there is no log, and no set runs there"},
                  {ExitCode::kNotAllowed, "the log may not be read"}});
  return own;
}

}  // namespace

tools::VerbHelps Helps() {
  return {
      {"key get", {{"setctl key get db/menu/brightness"}, OfKey()}},
      {"key set",
       {{"setctl key set memory/set/speaker bluetooth", "setctl key set db/menu/pin 1234 --string"},
        OfSet()}},
      {"key unset", {{"setctl key unset db/menu/pin"}, OfKey()}},
      {"key list", {{"setctl key list", "setctl key list db/menu/ --json"}, OfSet()}},
      {"key watch",
       {{"setctl key watch memory/set/", "setctl key watch memory/ --count 1 --timeout 10"},
        OfSet({{ExitCode::kDone, "N changes came, SIGINT or SIGTERM, or the time is up"},
               {ExitCode::kTimedOut, "the time was up before N changes came"}})}},
      {"key check",
       {{"setctl key check", "setctl key check --json"},
        OfSet({{ExitCode::kRefused, "a file is damaged or missing"}})}},
      {"key backup",
       {{"setctl key backup keys"},
        OfSet({{ExitCode::kRefused, "the file cannot be written"},
               {ExitCode::kUsage, "wrong usage, or the file would lie beside the store's own"}})}},
      {"key recover",
       {{"setctl key recover keys", "setctl key recover keys --set"},
        OfSet({{ExitCode::kRefused, "parts of the file cannot be read"},
               {ExitCode::kNotFound, "no such file"}})}},
      {"source list", {{"setctl source list", "setctl source list --json"}, OfSet()}},
      {"source add",
       {{R"(setctl source add hdmi1 "My Console" --detected Console)", "setctl source add hdmi3"},
        OfSet({{ExitCode::kRefused, "the source already has a device"}})}},
      {"source remove", {{"setctl source remove hdmi1"}, OfSource()}},
      {"source rename", {{R"(setctl source rename hdmi1 "The Console")"}, OfSource()}},
      {"source switch", {{"setctl source switch hdmi1"}, OfSource()}},
      {"source preview",
       {{"setctl source preview hdmi1", "setctl source preview none"}, OfSource()}},
      {"source signal", {{"setctl source signal 28"}, OfSet()}},
      {"game-item", {{"setctl game-item 1"}, OfSet()}},
      {"game-mode", {{"setctl game-mode 1"}, OfSet()}},
      {"picture-setting", {{"setctl picture-setting 0"}, OfSet()}},
      {"power", {{"setctl power picture-off", "setctl power on --json"}, OfSet()}},
      {"window", {{"setctl window 1280 720"}, OfSet()}},
      {"rotate", {{"setctl rotate 2"}, OfSet()}},
      {"speaker", {{"setctl speaker bluetooth"}, OfSet()}},
      {"language", {{"setctl language de_DE"}, OfSet()}},
      {"protection", {{"setctl protection 1"}, OfSet()}},
      {"reset", {{"setctl reset general"}, OfSet()}},
      {"app list",
       {{"setctl app list", "setctl app list --json"},
        {{ExitCode::kRefused, "the key store failed"},
         {ExitCode::kTimedOut, "it took longer than --timeout"},
         {ExitCode::kNotRunning, "there is no bus, or no set runs there"},
         {ExitCode::kNotAllowed, "not allowed"}}}},
      {"app start",
       {{"setctl app start com.velmora.tv.gamebar mode=auto_source_change"},
        OfApp("it cannot be started, ends before it answers, or does not accept launch requests")}},
      {"app stop",
       {{"setctl app stop com.velmora.tv.gamebar", "setctl app stop com.velmora.tv.gamebar --kill"},
        OfApp("it is not running")}},
      {"app state",
       {{"setctl app state org.pavix.tv-viewer background"},
        OfApp("it is not running, or has no such action")}},
      {"app log",
       {{"setctl app log com.velmora.tv.gamebar --lines 2"},
        OfLog({{ExitCode::kNotFound, "it has no log"}})}},
      {"catalogue check",
       {{"setctl catalogue check menu.json"},
        {{ExitCode::kRefused, "there are mistakes, or the file cannot be read"}}}},
      {"catalogue schema",
       {{"setctl catalogue schema >catalogue.schema.json"},
        {{ExitCode::kRefused, "the output cannot be written"}}}},
      {"log",
       {{"setctl log --lines 20 --follow", "setctl log --level warning --since 10m",
         "setctl log --grep 'GetItemValue.*brightness' --json"},
        OfLog({{ExitCode::kNotFound, "no such log file"}})}},
  };
}

}  // namespace setctl
