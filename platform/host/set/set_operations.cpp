#include "set/set_operations.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <limits>
#include <utility>

#include "base/number.h"
#include "set/keys.h"
#include "set/languages.h"
#include "set/ports.h"
#include "set/set_error.h"
#include "set/speakers.h"
#include "system/host.h"
#include "tv_service.h"

namespace host {
namespace {

constexpr char kNone[] = "none";

std::vector<std::string> NoValues() { return {}; }

std::string FromZero() {
  return fmt::format("a number from 0 to {}", std::numeric_limits<int>::max());
}

std::optional<int> NumberFromZero(const std::string& text) {
  const auto number = base::ParseWhole<int>(text);
  return number && *number >= 0 ? number : std::nullopt;
}

// `choices` are all valid values, with their meanings.
Parameter OneOf(const std::string& name, const std::string& noun, const std::string& description,
                std::vector<std::pair<std::string, KeyValue>> choices) {
  std::vector<std::string> names;
  for (const auto& [text, value] : choices) {
    names.push_back(text);
  }
  const auto read = [choices = std::move(choices)](const std::string& given) {
    std::optional<KeyValue> meant;
    for (const auto& [text, value] : choices) {
      meant = text == given ? value : meant;
    }
    return meant;
  };
  return {name, noun, description, true, [names] { return names; }, "", read};
}

Parameter NumberOneOf(const std::string& noun, const std::string& description,
                      const std::vector<int>& numbers) {
  std::vector<std::pair<std::string, KeyValue>> choices;
  for (const int number : numbers) {
    choices.emplace_back(std::to_string(number), number);
  }
  return OneOf("N", noun, description, choices);
}

std::vector<std::string> PortNames() {
  std::vector<std::string> names;
  for (const Port& port : Ports()) {
    names.emplace_back(port.name);
  }
  return names;
}

std::optional<KeyValue> ReadSource(const std::string& text) {
  const Port* port = FindPort(std::string_view(text));
  return port != nullptr ? port->sourceId : NumberFromZero(text);
}

Parameter Source() {
  return {"SOURCE",   "source",  "A number, or a port such as hdmi1", true, PortNames,
          FromZero(), ReadSource};
}

Parameter SourceOrNone() {
  Parameter parameter = Source();
  parameter.values = [] {
    std::vector<std::string> names = PortNames();
    names.insert(names.begin(), kNone);
    return names;
  };
  parameter.read = [](const std::string& text) {
    return text == kNone ? kNoPreview : ReadSource(text);
  };
  return parameter;
}

Parameter Name(const std::string& name, const std::string& description, bool isRequired) {
  const auto read = [](const std::string& text) {
    return IsSourceName(text) ? std::optional<KeyValue>(text) : std::nullopt;
  };
  return {name,       "source name", description,
          isRequired, NoValues,      fmt::format("plain text of at most {} bytes", kMostSourceName),
          read};
}

Parameter Pixels(const std::string& name) {
  return {name, "size", "Pixels", true, NoValues, FromZero(), NumberFromZero};
}

Parameter Language() {
  const auto read = [](const std::string& text) {
    return IsLanguage(text) ? std::optional<KeyValue>(text) : std::nullopt;
  };
  return {"NAME",
          "language",
          "e.g. de_DE",
          true,
          TranslatedLanguages,
          "any of these with a country, such as de_DE, or another locale of this machine",
          read};
}

Parameter Speaker() {
  std::vector<std::pair<std::string, KeyValue>> choices;
  for (const std::string_view name : kSpeakerNames) {
    choices.emplace_back(name, std::string(name));
  }
  return OneOf("NAME", "output", "e.g. bluetooth", choices);
}

// An operation that writes its one argument to a key.
Operation Write(const std::string& name, const std::string& description, const std::string& key,
                Parameter parameter) {
  return {
      name, description, {std::move(parameter)}, [key](const SetView&, const Arguments& arguments) {
        return Steps{{key, arguments[0].value()}};
      }};
}

int Number(const std::optional<KeyValue>& argument) { return std::get<int>(argument.value()); }

std::string Text(const std::optional<KeyValue>& argument) {
  return argument ? std::get<std::string>(*argument) : "";
}

std::vector<Operation> MakeOperations() {
  using Given = const Arguments&;
  return {
      {"source add",
       "Attach a device, or add an empty port",
       {Source(), Name("NAME", "The name that the user sees (default: the port's)", false),
        Name("--detected", "The name that the device reports (default: NAME)", false)},
       [](const SetView& view, Given given) {
         return AddSource(view, Number(given[0]), Text(given[1]),
                          given[2] ? std::optional(Text(given[2])) : std::nullopt);
       }},
      {"source remove",
       "Unplug a device, or remove an empty port",
       {Source()},
       [](const SetView& view, Given given) { return RemoveSource(view, Number(given[0])); }},
      {"source rename",
       "Change the name that the user sees",
       {Source(), Name("NAME", "The new name", true)},
       [](const SetView& view, Given given) {
         return RenameSource(view, Number(given[0]), Text(given[1]));
       }},
      {"source switch",
       "Switch to a source, with all signals of the change",
       {Source()},
       [](const SetView& view, Given given) { return SwitchTo(view, Number(given[0])); }},
      {"source preview",
       "Show a source as a preview; none ends it",
       {SourceOrNone()},
       [](const SetView& view, Given given) { return Preview(view, Number(given[0])); }},
      Write("source signal", "Send one signal of the TV service", kSignalKey,
            NumberOneOf(
                "signal", "25 for the start of a change, 28 for no signal",
                {SIGNAL_EXT_SOURCE_CHANGE_START, SIGNAL_EXT_SOURCE_SIGNAL_OK,
                 SIGNAL_EXT_SOURCE_NOT_SUPPORT, SIGNAL_EXT_SOURCE_NO_SIGNAL,
                 SIGNAL_EXT_SOURCE_UNPLUG, SIGNAL_EXT_SOURCE_STOP, SIGNAL_SOURCE_INFO_CHANGE})),
      Write("game-item", "Change the picture's game item", kGameItemKey,
            NumberOneOf("game item", "1 on, 2 the second game state, 0 off", {0, 1, 2})),
      Write("game-mode", "Turn the game mode on or off", kGameModeKey,
            NumberOneOf("game mode", "1 on, 0 off", {0, 1})),
      Write("picture-setting", "Report whether a new source's picture settings are done",
            kPictureSettingKey,
            NumberOneOf("picture setting", "0 when they are done, 1 before",
                        {kPictureSettingDone, 1})),
      Write("power", "Turn the set off or on", kPowerKey,
            OneOf("STATE", "power state", "The new state",
                  {{"off", kPowerOff}, {"picture-off", kPowerPictureOff}, {"on", kPowerOn}})),
      {"window",
       "Change the size of the picture",
       {Pixels("W"), Pixels("H")},
       [](const SetView& view, Given given) {
         return Resize(view, Number(given[0]), Number(given[1]));
       }},
      Write("rotate", "Rotate the screen", kRotationKey,
            NumberOneOf("rotation", "1 is upright, 2 on its side, 0 not known", {0, 1, 2, 3})),
      Write("speaker", "Send the sound to another output", kSpeakerKey, Speaker()),
      Write("language", "Change the menu language", kLanguageKey, Language()),
      Write("protection", "Turn the protection mode on or off", kProtectionKey,
            NumberOneOf("protection mode", "1 on, 0 off", {0, 1})),
      {"reset",
       "Simulate a reset of the set",
       {OneOf("WHAT", "reset", "Which reset", {{"general", "general"}, {"factory", "factory"}})},
       [](const SetView& view, Given given) {
         return Text(given[0]) == "general" ? GeneralReset() : FactoryReset(view);
       }},
  };
}

}  // namespace

const std::vector<Operation>& Operations() {
  return g_Host.operations.Get([] { return new std::vector<Operation>(MakeOperations()); });
}

Arguments ReadArguments(const Operation& operation, const Texts& texts) {
  Arguments arguments;
  for (std::size_t i = 0; i < operation.parameters.size(); ++i) {
    const Parameter& parameter = operation.parameters[i];
    const std::optional<std::string>& text = texts.at(i);
    if (!text && parameter.isRequired) {
      throw SetError(SetError::Kind::kMissing, parameter.name,
                     fmt::format("{} is missing", parameter.name));
    }
    arguments.push_back(text ? parameter.read(*text) : std::nullopt);
    if (text && !arguments.back()) {
      std::vector<std::string> valid = parameter.values();
      if (!parameter.others.empty()) {
        valid.push_back(parameter.others);
      }
      throw SetError(SetError::Kind::kNotAllowed, *text,
                     fmt::format("invalid {} \"{}\"; valid: {}", parameter.noun, *text,
                                 fmt::join(valid, ", ")));
    }
  }
  return arguments;
}

}  // namespace host
