#include <map>
#include <string>

#include "helps.h"

namespace settingsctl {
namespace {

using tools::ExitCode;

using Codes = std::map<ExitCode, std::string>;

// What every verb that asks the service may end with, beside `own`.
Codes OfService(Codes own) {
  own.emplace(ExitCode::kRefused, "the service failed");
  own.merge(Codes{{ExitCode::kTimedOut, "no answer came in time"},
                  {ExitCode::kNotRunning, "the service or its bus is not running"},
                  {ExitCode::kNotAllowed, "not allowed"}});
  return own;
}

Codes OfItem(Codes own = {}) {
  own.emplace(ExitCode::kNotFound, "no such item");
  return OfService(std::move(own));
}

Codes Answer() {
  return OfItem(
      {{ExitCode::kDone, "yes"}, {ExitCode::kRefused, "no, no such value, or the service failed"}});
}

}  // namespace

tools::VerbHelps Helps() {
  return {
      {"get",
       {{"settingsctl get picturemode", "settingsctl get brightness contrast --json",
         "settingsctl get picturemode --raw"},
        OfService({{ExitCode::kNotFound, "no such item, or it has no value"}})}},
      {"set",
       {{"settingsctl set picturemode movie", "settingsctl set brightness 30 --preview"},
        OfItem({{ExitCode::kRefused, "the item does not accept the value, or the service failed"},
                {ExitCode::kNotFound, "no such item, or it has no value"}})}},
      {"toggle",
       {{"settingsctl toggle gamemode"},
        OfItem({{ExitCode::kUsage, "wrong usage, or the item is no switch"}})}},
      {"step",
       {{"settingsctl step brightness 5", "settingsctl step picturemode -1"},
        OfItem({{ExitCode::kRefused, "there are not so many values, or the service failed"},
                {ExitCode::kUsage, "wrong usage, or the item has no value"}})}},
      {"preview",
       {{"settingsctl preview --end brightness"},
        OfItem({{ExitCode::kRefused, "the service cannot tell, or failed"},
                {ExitCode::kNotFound, "no such item, or it has no value"}})}},
      {"export", {{"settingsctl export", "settingsctl export picture > picture.json"}, OfItem()}},
      {"import",
       {{"settingsctl import values.json --dry-run",
         R"(printf '{"brightness": 30, "gamemode": true}' | settingsctl import -)"},
        OfItem({{ExitCode::kRefused,
                 "a value was refused, the file cannot be read or has an item twice, or the "
                 "service failed"},
                {ExitCode::kNotFound, "no such file, or only unknown items were not set"}})}},
      {"describe",
       {{"settingsctl describe brightness", "settingsctl describe gamemode brightness --json"},
        OfItem()}},
      {"range",
       {{"settingsctl range brightness"},
        OfItem({{ExitCode::kRefused, "the item has no range, or the service failed"}})}},
      {"values",
       {{"settingsctl values picturemode"},
        OfItem({{ExitCode::kRefused, "the item has no list of values, or the service failed"}})}},
      {"path", {{"settingsctl path brightness"}, OfItem()}},
      {"children", {{"settingsctl children picture"}, OfItem()}},
      {"tree", {{"settingsctl tree", "settingsctl tree game --json"}, OfItem()}},
      {"visible",
       {{"settingsctl visible gamepicture --path", "settingsctl visible gamepicture --value rts"},
        Answer()}},
      {"enabled",
       {{"settingsctl enabled gamepicture", "settingsctl enabled gamepicture --async"}, Answer()}},
      {"why", {{"settingsctl why gamepicture", "settingsctl why gamepicture --json"}, OfItem()}},
      {"disable", {{"settingsctl disable brightness contrast --app org.example.game"}, OfItem()}},
      {"enable",
       {{"settingsctl enable brightness --app org.example.game"},
        OfItem({{ExitCode::kRefused,
                 "the application does not disable the item, or the service failed"}})}},
      {"release",
       {{"settingsctl release --app org.example.game"},
        OfService({{ExitCode::kNotFound, "no such application"}})}},
      {"disabled", {{"settingsctl disabled", "settingsctl disabled --json"}, OfService({})}},
      {"who", {{"settingsctl who brightness"}, OfItem()}},
      {"hold",
       {{"settingsctl hold brightness contrast --app org.example.film -- play film.mkv"},
        OfItem({{ExitCode::kDone,
                 "done; otherwise also the command's exit status, 126 and 127 "
                 "when it cannot be run, and 128 + N when signal N killed it"},
                {ExitCode::kRefused, "another program has the name APP, or the service failed"},
                {ExitCode::kNotRunning,
                 "the service or its bus is not running, or did not come back"}})}},
      {"call",
       {{"settingsctl call GetItemValue picturemode",
         "settingsctl call SetItemValue gamemode Value=on PreViewFlag:=true"},
        OfService({{ExitCode::kRefused, "the reply says that the call failed"}})}},
      {"request",
       {{R"(settingsctl request '{"method":"GetItemValue","data":{"menuID":"brightness"}}')"},
        OfService({{ExitCode::kDone, "a reply came, whatever it says"},
                   {ExitCode::kRefused, "the service failed to handle the request"},
                   {ExitCode::kUsage, "wrong usage, or the service cannot read the request"},
                   {ExitCode::kNotAllowed, "the service or the bus does not allow it"}})}},
      {"monitor",
       {{"settingsctl monitor", "settingsctl monitor --count 1 --timeout 10"},
        OfService({{ExitCode::kDone, "N signals came, SIGINT or SIGTERM, or the time is up"},
                   {ExitCode::kRefused, "the output cannot be written"},
                   {ExitCode::kTimedOut, "the time was up before N signals came"},
                   {ExitCode::kNotRunning, "the bus is not running, or went away"}})}},
      {"watch",
       {{"settingsctl watch", "settingsctl watch picturemode --count 1 --timeout 10"},
        OfItem({{ExitCode::kDone, "N lines were printed, SIGINT or SIGTERM, or the time is up"},
                {ExitCode::kRefused, "the output cannot be written, or the service failed"},
                {ExitCode::kTimedOut, "the time was up before there were N lines"},
                {ExitCode::kNotRunning,
                 "the service or its bus is not running, or the bus went away"}})}},
      {"wait",
       {{"settingsctl wait picturemode movie --timeout 60",
         "settingsctl wait gamepicture --enabled"},
        OfItem({{ExitCode::kDone, "it is so, or has become so"},
                {ExitCode::kRefused, "the item never has that value, or the service failed"},
                {ExitCode::kTimedOut, "the time was up before, or no answer came in time"},
                {ExitCode::kNotRunning,
                 "the service or its bus is not running, or the bus went away"}})}},
  };
}

}  // namespace settingsctl
