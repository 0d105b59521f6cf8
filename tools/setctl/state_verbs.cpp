#include <fmt/format.h>

#include <chrono>
#include <limits>
#include <map>
#include <memory>
#include <regex>
#include <string>

#include "set/keys.h"
#include "set/speakers.h"
#include "setctl/verbs.h"
#include "setctl/virtual_set.h"
#include "text.h"

namespace setctl {
namespace {

using tools::ExitCode;
using tools::Failure;
using tools::Quote;

constexpr char kLanguageKey[] = "db/menu_widget/language";
constexpr char kProtectionKey[] = "memory/ave/protection";
constexpr char kGeneralResetKey[] = "memory/menu/general/reset/progressing";

constexpr std::chrono::milliseconds kGeneralReset{500};

struct StateArguments {
  int number = 0;
  std::string name;
  int width = 0;
  int height = 0;
};

ExitCode WriteNumber(const Options& options, const char* key, int number) {
  return Operate(options, [&](VirtualSet& set) { set.Write(key, number); });
}

ExitCode Resize(const Options& options, const StateArguments& arguments) {
  return Operate(options, [&](VirtualSet& set) {
    host::Window window = set.PictureWindow();
    window.width = arguments.width;
    window.height = arguments.height;
    set.Write(host::kWindowKey, host::WriteWindow(window));
  });
}

ExitCode ChangeSpeaker(const Options& options, const std::string& name) {
  if (name.empty() || host::SpeakerRoute(name) < 0) {
    std::string names;
    for (const std::string_view each : host::SpeakerNames()) {
      names += fmt::format("{}{}", names.empty() ? "" : ", ", each);
    }
    throw Failure(ExitCode::kUsage, fmt::format("no output {}; there are {}", Quote(name), names));
  }
  return Operate(options, [&](VirtualSet& set) { set.Write(host::kSpeakerKey, name); });
}

ExitCode ChangeLanguage(const Options& options, const std::string& name) {
  static const std::regex kLocale("[a-z]{2,3}(_[A-Z]{2})?(\\.[A-Za-z0-9-]{1,16})?(@[a-z]{1,16})?");
  if (!std::regex_match(name, kLocale)) {
    throw Failure(ExitCode::kUsage, Quote(name) +
                                        " is no locale; give a language and a country, such as "
                                        "de_DE");
  }
  return Operate(options, [&](VirtualSet& set) { set.Write(kLanguageKey, name); });
}

void ResetGeneral(VirtualSet& set) {
  set.Write(kGeneralResetKey, 1);
  set.Pause(kGeneralReset);
  set.Write(kGeneralResetKey, 0);
}

// All that is left of a factory reset when the set has started again.
void ResetFactory(VirtualSet& set) {
  const int count = set.Number(host::kFactoryResetCountKey).value_or(0);
  if (count == std::numeric_limits<int>::max()) {
    throw Failure(ExitCode::kRefused, fmt::format("{} cannot count any further; set it to 0",
                                                  host::kFactoryResetCountKey));
  }
  set.Write(host::kFactoryResetCountKey, count + 1);
}

ExitCode Reset(const Options& options, const std::string& what) {
  return Operate(options, what == "general" ? ResetGeneral : ResetFactory);
}

}  // namespace

void AddStateVerbs(tools::Tool& tool, const Options& options) {
  auto arguments = std::make_shared<StateArguments>();

  const auto addNumber = [&](const char* name, const char* description, const char* key,
                             const char* values) {
    return tool
        .AddVerb(
            tool.App(), name, description,
            [&options, arguments, key] { return WriteNumber(options, key, arguments->number); })
        .AddArgument("N", arguments->number, values)
        .Required();
  };
  const auto addName = [&](const char* name, const char* description, const char* argument,
                           const char* values,
                           ExitCode (*verb)(const Options&, const std::string&)) {
    return tool
        .AddVerb(tool.App(), name, description,
                 [&options, arguments, verb] { return verb(options, arguments->name); })
        .AddArgument(argument, arguments->name, values)
        .Required();
  };

  addNumber("game-item", "Change the picture's game item", host::kGameItemKey,
            "1 on, 2 the second game state, others off");
  addNumber("game-mode", "Switch the game mode", host::kGameModeKey, "1 on, 0 off").OneOf({0, 1});
  addNumber("picture-setting", "Tell how far a new source's picture settings are",
            host::kPictureSettingKey, "0 when they are done");
  addNumber("rotate", "Turn the screen", host::kRotationKey, "1 is upright");
  addNumber("protection", "Switch the protection mode", kProtectionKey, "1 on, 0 off");

  const std::map<std::string, int> powers = {
      {"off", host::kPowerOff}, {"picture-off", host::kPowerPictureOff}, {"on", host::kPowerOn}};
  tools::Syntax power =
      tool.AddVerb(tool.App(), "power", "Switch the set", [&options, arguments, powers] {
        return WriteNumber(options, host::kPowerKey, powers.at(arguments->name));
      });
  power.AddArgument("STATE", arguments->name, "off, picture-off or on")
      .Required()
      .OneOf({"off", "picture-off", "on"});

  tools::Syntax window =
      tool.AddVerb(tool.App(), "window", "Change the size of the picture",
                   [&options, arguments] { return Resize(options, *arguments); });
  window.AddArgument("W", arguments->width, "Pixels").Required().AtLeast(0);
  window.AddArgument("H", arguments->height, "Pixels").Required().AtLeast(0);

  addName("speaker", "Send the sound to another output", "NAME", "e.g. bluetooth", ChangeSpeaker);
  addName("language", "Change the menu language", "NAME", "e.g. de_DE", ChangeLanguage);
  addName("reset", "Play a reset of the set", "WHAT", "general or factory", Reset)
      .OneOf({"general", "factory"});
}

}  // namespace setctl
