#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "set/keys.h"
#include "set/ports.h"
#include "setctl/verbs.h"
#include "setctl/virtual_set.h"
#include "text.h"

namespace setctl {
namespace {

using tools::ExitCode;
using tools::Failure;
using tools::Quote;
using Sources = std::vector<host::SetSource>;

// The steps of a change to another source.
constexpr int kChangeStart = 25;
constexpr int kSignalOk = 26;
constexpr int kNoSignal = 28;
constexpr int kSourceInfoChange = 128;
constexpr int kPictureSettingDone = 0;
constexpr int kNoPicture = 0;
constexpr std::chrono::milliseconds kBetweenSteps{50};

constexpr char kNone[] = "none";

struct SourceArguments {
  std::string source;
  std::string name;
  std::optional<std::string> detected;
  int signal = 0;
};

// The number that a person means by a port's name or by the number itself.
int SourceNumber(const std::string& text) {
  if (const host::Port* port = host::FindPort(std::string_view(text))) {
    return port->sourceId;
  }
  int number = 0;
  const char* end = text.data() + text.size();
  const auto [read, error] = std::from_chars(text.data(), end, number);
  if (error == std::errc() && read == end && number >= 0) {
    return number;
  }
  std::string names;
  for (const host::Port& port : host::Ports()) {
    names += fmt::format("{}{}", names.empty() ? "" : ", ", port.name);
  }
  throw Failure(ExitCode::kUsage,
                fmt::format("{} is no source; give its number from 0 on, or one of "
                            "{}",
                            Quote(text), names));
}

std::string NameOf(int number) {
  const host::Port* port = host::FindPort(number);
  return port != nullptr ? std::string(port->name) : std::to_string(number);
}

void CheckName(const std::string& name) {
  if (!host::IsSourceName(name)) {
    throw Failure(ExitCode::kUsage, Quote(name) +
                                        " cannot be a source's name: it must be plain text of at "
                                        "most 256 bytes");
  }
}

Sources::iterator Find(Sources& sources, int number) {
  return std::find_if(sources.begin(), sources.end(),
                      [&](const host::SetSource& source) { return source.sourceId == number; });
}

Sources::iterator Existing(Sources& sources, int number) {
  const auto found = Find(sources, number);
  if (found == sources.end()) {
    throw Failure(ExitCode::kNotFound,
                  fmt::format("no source {}; see setctl source list, or add it with setctl source "
                              "add {}",
                              NameOf(number), NameOf(number)));
  }
  return found;
}

std::string SourceText(const host::SetSource& source, bool isCurrent, bool isPreview) {
  std::string text = fmt::format("{:>3}  {:<11}  {}", source.sourceId, NameOf(source.sourceId),
                                 tools::Escape(source.editName));
  if (!source.detectedName.empty()) {
    text += fmt::format(" ({})", tools::Escape(source.detectedName));
  }
  text += source.isEmpty ? "  empty" : "";
  text += isCurrent ? "  current" : "";
  return text + (isPreview ? "  preview" : "");
}

std::string SourceJson(const host::SetSource& source, bool isCurrent, bool isPreview) {
  const host::Port* port = host::FindPort(source.sourceId);
  return tools::JsonLine({{"id", source.sourceId},
                          {"port", port != nullptr ? std::string(port->name) : Json::Value()},
                          {"name", source.editName},
                          {"detected", source.detectedName},
                          {"empty", source.isEmpty},
                          {"current", isCurrent},
                          {"preview", isPreview}});
}

ExitCode List(const Options& options) {
  return Operate(options, [&](VirtualSet& set) {
    const auto current = set.Number(host::kCurrentSourceKey);
    const auto preview = set.Number(host::kPreviewKey);
    for (const host::SetSource& source : set.Sources()) {
      const auto text = options.json ? SourceJson : SourceText;
      tools::PrintLine(text(source, source.sourceId == current, source.sourceId == preview));
    }
  });
}

// An empty port gets its device; one with a device keeps it.
ExitCode Add(const Options& options, const SourceArguments& arguments) {
  host::SetSource added;
  added.sourceId = SourceNumber(arguments.source);
  added.isEmpty = arguments.name.empty();
  const host::Port* port = host::FindPort(added.sourceId);
  added.editName = !added.isEmpty    ? arguments.name
                   : port != nullptr ? std::string(port->label)
                                     : fmt::format("Source {}", added.sourceId);
  added.detectedName = arguments.detected.value_or(arguments.name);
  CheckName(added.editName);
  CheckName(added.detectedName);
  return Operate(options, [&](VirtualSet& set) {
    Sources sources = set.Sources();
    const auto held = Find(sources, added.sourceId);
    const bool isNew = held == sources.end();
    if (!isNew && (added.isEmpty || !held->isEmpty)) {
      throw Failure(ExitCode::kRefused,
                    fmt::format("there is a source {} already, {}; rename it, or remove it first",
                                NameOf(added.sourceId), Quote(held->editName)));
    }
    if (isNew && sources.size() == host::kMostSources) {
      throw Failure(
          ExitCode::kRefused,
          fmt::format("a set has {} sources at most; remove one first", host::kMostSources));
    }
    if (isNew) {
      sources.push_back(added);
    } else {
      *held = added;
    }
    set.Write(host::kSourcesKey, host::WriteSources(sources));
  });
}

// What loses its device is a port that is empty again; what has none goes itself.
ExitCode Remove(const Options& options, const SourceArguments& arguments) {
  const int number = SourceNumber(arguments.source);
  const host::Port* port = host::FindPort(number);
  return Operate(options, [&](VirtualSet& set) {
    Sources sources = set.Sources();
    const auto held = Existing(sources, number);
    if (port != nullptr && port != &host::Ports()[0] && !held->isEmpty) {
      *held = host::EmptyPort(*port);
    } else {
      sources.erase(held);
    }
    set.Write(host::kSourcesKey, host::WriteSources(sources));
  });
}

ExitCode Rename(const Options& options, const SourceArguments& arguments) {
  const int number = SourceNumber(arguments.source);
  CheckName(arguments.name);
  return Operate(options, [&](VirtualSet& set) {
    Sources sources = set.Sources();
    Existing(sources, number)->editName = arguments.name;
    set.Write(host::kSourcesKey, host::WriteSources(sources));
  });
}

void WriteType(VirtualSet& set, int number) {
  set.Write(host::kSourceTypeKey, std::string(host::SourceType(number)));
}

ExitCode Switch(const Options& options, const SourceArguments& arguments) {
  const int number = SourceNumber(arguments.source);
  return Operate(options, [&](VirtualSet& set) {
    Sources sources = set.Sources();
    const bool isEmpty = Existing(sources, number)->isEmpty;
    set.Write(host::kPreviewKey, host::kNoPreview);
    set.Write(host::kCurrentSourceKey, number);
    WriteType(set, number);
    set.Write(host::kSourceStateKey, isEmpty ? kNoPicture : host::kPictureShown);
    // Before the change is said to begin: what comes between that and the picture would take it
    // back.
    set.Write(host::kSignalKey, kSourceInfoChange);
    set.Pause(kBetweenSteps);
    set.Write(host::kSignalKey, kChangeStart);
    set.Pause(kBetweenSteps);
    if (isEmpty) {
      set.Write(host::kSignalKey, kNoSignal);
      return;
    }
    set.Write(host::kPictureSettingKey, kPictureSettingDone);
    set.Pause(kBetweenSteps);
    set.Write(host::kSignalKey, kSignalOk);
  });
}

ExitCode Preview(const Options& options, const SourceArguments& arguments) {
  const bool ends = arguments.source == kNone;
  const int number = ends ? host::kNoPreview : SourceNumber(arguments.source);
  return Operate(options, [&](VirtualSet& set) {
    if (!ends) {
      Sources sources = set.Sources();
      Existing(sources, number);
    }
    set.Write(host::kPreviewKey, number);
    WriteType(set, ends ? set.Number(host::kCurrentSourceKey).value_or(host::Ports()[0].sourceId)
                        : number);
    set.Write(host::kSignalKey, kSourceInfoChange);
  });
}

ExitCode Signal(const Options& options, const SourceArguments& arguments) {
  return Operate(options, [&](VirtualSet& set) { set.Write(host::kSignalKey, arguments.signal); });
}

}  // namespace

void AddSourceVerbs(tools::Tool& tool, const Options& options) {
  using Verb = ExitCode (*)(const Options&, const SourceArguments&);
  auto arguments = std::make_shared<SourceArguments>();
  tools::Syntax group = tool.AddGroup("source", "The set's sources: its tuner and its inputs");
  const auto add = [&](const std::string& name, const std::string& description, Verb verb) {
    return tool.AddVerb(group, name, description,
                        [&options, arguments, verb] { return verb(options, *arguments); });
  };
  const auto takeSource = [&](tools::Syntax verb, const char* description) {
    verb.AddArgument("SOURCE", arguments->source, description).Required();
    return verb;
  };
  const auto takeName = [&](tools::Syntax verb, const char* description) {
    return verb.AddArgument("NAME", arguments->name, description);
  };
  constexpr char kSource[] = "A number, or a port such as hdmi1";

  tool.AddVerb(group, "list", "Print the sources, and which is current",
               [&options] { return List(options); });

  tools::Syntax adding =
      takeSource(add("add", "Attach a device, or add an empty port", Add), kSource);
  takeName(adding, "What the user reads; the port's own name if not given");
  adding.AddOption("--detected", "NAME", arguments->detected,
                   "What the device calls itself, if not NAME");

  takeSource(add("remove", "Unplug a device, or take an empty port out of the list", Remove),
             kSource);

  tools::Syntax renaming = takeSource(add("rename", "Change what the user reads", Rename), kSource);
  takeName(renaming, "The new name").Required();

  takeSource(add("switch", "Play a change to that source, from its start to a picture, or to none",
                 Switch),
             kSource);
  takeSource(add("preview", "Show that source as a preview; none ends it", Preview), kSource);

  add("signal", "Play one signal of the TV service alone", Signal)
      .AddArgument("N", arguments->signal, "e.g. 25 for the start of a change, 28 for no signal")
      .Required();
}

}  // namespace setctl
