#include "tool.h"

#include <fmt/format.h>
#include <json/json.h>
#include <signal.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>
#include <sstream>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "base/number.h"
#include "base/version.h"
#include "text.h"

namespace tools {
namespace {

constexpr char kExitCodes[] =
    "Exit codes:\n"
    "  0 done                       8 the service, its bus or set is not running\n"
    "  1 refused, or answered no   10 no such item or key\n"
    "  2 wrong usage               13 not allowed\n"
    "  3 timed out";

// More than three years; far below what the clocks can count.
constexpr double kMostSeconds = 1e8;

std::string ExamplesText(const VerbHelp& help) {
  std::string text = "Examples:\n";
  for (const std::string& example : help.examples) {
    text += "  " + example + "\n";
  }
  return text;
}

std::string VerbFooter(const VerbHelp& help) {
  std::string footer = ExamplesText(help) + "\nExit codes:\n";
  for (const auto& [code, meaning] : help.exitCodes) {
    footer += fmt::format("{:>4} {}\n", static_cast<int>(code), meaning);
  }
  return footer + "\n";
}

// The name of the check that every whole number has: CLI11's own words for one that it cannot read
// would be others, and it reads one that begins with a zero as octal.
constexpr char kWhole[] = "whole";

std::function<std::string(std::string&)> WholeFrom(int least) {
  return [least](std::string& text) {
    const std::optional<int> number = base::ParseWhole<int>(text);
    if (!number || *number < least) {
      return fmt::format("{} is not a whole number from {} to {}", Quote(text), least,
                         std::numeric_limits<int>::max());
    }
    text = std::to_string(*number);
    return std::string();
  };
}

template <typename Kind>
constexpr bool kIsWhole = std::is_same_v<Kind, int> || std::is_same_v<Kind, std::optional<int>>;

Json::Value ParameterJson(const CLI::Option& option) {
  Json::Value json;
  json["name"] = option.get_positional() ? option.get_name() : "--" + option.get_lnames().front();
  if (!option.get_snames().empty()) {
    json["short"] = "-" + option.get_snames().front();
  }
  json["value"] = option.get_positional() ? "" : option.get_type_name();
  json["description"] = option.get_description();
  json["required"] = option.get_required();
  json["many"] = option.get_items_expected_max() > 1;
  return json;
}

}  // namespace

Parameter Parameter::Required() const {
  m_Option->required();
  return *this;
}

Parameter Parameter::OneOf(const std::vector<std::string>& values) const {
  m_Option->check([values](const std::string& text) {
    const bool isOne = std::find(values.begin(), values.end(), text) != values.end();
    return isOne ? "" : fmt::format("{} is not one of {}", Quote(text), Joined(values));
  });
  return CompletedBy([values](const std::string&) {
    std::vector<Candidate> candidates;
    for (const std::string& value : values) {
      candidates.push_back({value, ""});
    }
    return candidates;
  });
}

Parameter Parameter::CompletedBy(Offer offer) const {
  m_Offers[m_Option] = std::move(offer);
  return *this;
}

Parameter Parameter::AtLeast(int value) const {
  m_Option->get_validator(kWhole)->operation(WholeFrom(value));
  return *this;
}

Parameter Parameter::Check(const std::function<std::string(const std::string&)>& problem) const {
  m_Option->check(problem);
  return *this;
}

Parameter Parameter::Excludes(Parameter other) const {
  m_Option->excludes(other.m_Option);
  return *this;
}

Parameter Syntax::AddArgument(const std::string& name, Target target,
                              const std::string& description) const {
  return AddOption(name, "", target, description);
}

Parameter Syntax::AddOption(const std::string& name, const std::string& value, Target target,
                            const std::string& description) const {
  CLI::Option* const option = std::visit(
      [&]<typename Kind>(std::reference_wrapper<Kind> place) {
        CLI::Option* const added = m_App->add_option(name, place.get(), description);
        return kIsWhole<Kind>
                   ? added->transform(
                         CLI::Validator(WholeFrom(std::numeric_limits<int>::min()), ""), kWhole)
                   : added;
      },
      target);
  return Parameter(option->type_name(value), m_Offers);
}

Parameter Syntax::AddFlag(const std::string& name, bool& target,
                          const std::string& description) const {
  return Parameter(m_App->add_flag(name, target, description), m_Offers);
}

void Syntax::AddSection(const std::string& text) const {
  m_App->footer(text + "\n" + m_App->get_footer());
}

Tool::Tool(const std::string& name, const std::string& description, const std::string& footer)
    : m_App(std::make_unique<CLI::App>(description, name)) {
  m_App->set_help_flag("-h,--help", "Print this help and exit");
  m_App->set_version_flag("--version", name + " " + base::kVersion, "Print the version and exit");
  m_App->footer(footer + "\n\n" + kExitCodes);
  m_App->require_subcommand(1);
  m_App->get_formatter()->column_width(34);
  m_App->get_formatter()->label("SUBCOMMAND", "VERB");
  m_App->get_formatter()->label("SUBCOMMANDS", "VERBS");
}

Tool::~Tool() = default;

Syntax Tool::App() { return Syntax(m_App.get(), m_Offers); }

Syntax Tool::AddVerb(Syntax parent, const std::string& name, const std::string& description,
                     std::function<ExitCode()> run) {
  CLI::App* verb = parent.m_App->add_subcommand(name, description);
  verb->group("Verbs");
  verb->footer("The options of " + m_App->get_name() + " may also be given here.");
  verb->fallthrough();
  verb->callback([this, run = std::move(run)] { m_Verb = run; });
  return Syntax(verb, m_Offers);
}

Syntax Tool::AddGroup(const std::string& name, const std::string& description) {
  CLI::App* group = m_App->add_subcommand(name, description);
  group->group("Verbs");
  group->footer("");
  group->fallthrough();
  group->require_subcommand(1);
  return Syntax(group, m_Offers);
}

void Tool::AddOther(const std::string& tool, const VerbHelps& helps) {
  for (const auto& [verb, help] : helps) {
    m_Others[tool].push_back(verb);
  }
}

void Tool::AddHelp(const VerbHelps& helps, const bool& json) {
  m_Helps = helps;
  auto words = std::make_shared<std::vector<std::string>>();
  AddVerb(App(), "help", "Print the help of the tool, or of a verb",
          [this, words, &json] { return m_PrintHelp(*words, json); })
      .AddArgument("VERB", *words, "The verb, with its group in front if it has one")
      .CompletedBy([this, words](const std::string&) { return m_VerbsBehind(*words); });
  m_Helps["help"] = {{m_App->get_name() + " help", m_App->get_name() + " help --json"},
                     {{ExitCode::kUsage, "wrong usage, or no such verb"}}};
  for (auto& [path, help] : m_Helps) {
    help.exitCodes.emplace(ExitCode::kDone, "done");
    help.exitCodes.emplace(ExitCode::kUsage, "wrong usage");
    CLI::App* verb = m_App.get();
    std::istringstream names(path);
    for (std::string name; names >> name;) {
      verb = verb->get_subcommand(name);
    }
    verb->footer(VerbFooter(help) + verb->get_footer());
  }
  for (CLI::App* group : m_App->get_subcommands(nullptr)) {
    if (group->get_require_subcommand_min() > 0) {
      m_AddGroupHelp(*group);
    }
  }
}

// An example of each verb.
void Tool::m_AddGroupHelp(CLI::App& group) {
  VerbHelp help;
  for (const CLI::App* verb : group.get_subcommands(nullptr)) {
    help.examples.push_back(m_Helps.at(group.get_name() + " " + verb->get_name()).examples.front());
  }
  group.footer(ExamplesText(help));
  m_Helps[group.get_name()] = std::move(help);
}

ExitCode Tool::m_PrintHelp(const std::vector<std::string>& words, bool json) const {
  const CLI::App* app = m_App.get();
  std::string path = app->get_name();
  for (const std::string& word : words) {
    const std::vector<const CLI::App*> named =
        app->get_subcommands([&](const CLI::App* below) { return below->check_name(word); });
    if (named.empty()) {
      throw Failure(ExitCode::kUsage, NoSuchVerb(*m_App, words, m_Others));
    }
    app = named.front();
    path += " " + word;
  }
  if (json) {
    m_PrintHelpJson(*app, path);
  } else {
    std::string text = app->get_formatter()->make_help(app, path, CLI::AppFormatMode::Normal);
    text.erase(text.find_last_not_of('\n') + 1);
    PrintLine(text);
  }
  return ExitCode::kDone;
}

// What can follow in the name of a verb; nothing behind the name of one.
std::vector<Candidate> Tool::m_VerbsBehind(const std::vector<std::string>& words) const {
  const CLI::App* app = m_App.get();
  for (const std::string& word : words) {
    app = app->get_subcommand(word);
  }
  return VerbCandidates(*app);
}

// One line for the tool, a group or a verb, and one for each of those below it.
void Tool::m_PrintHelpJson(const CLI::App& app, const std::string& path) const {
  Json::Value arguments(Json::arrayValue);
  Json::Value options(Json::arrayValue);
  for (const CLI::Option* option : app.get_options()) {
    (option->get_positional() ? arguments : options).append(ParameterJson(*option));
  }
  Json::Value examples(Json::arrayValue);
  Json::Value codes(Json::objectValue);
  const std::size_t space = path.find(' ');
  const auto help = m_Helps.find(space == std::string::npos ? "" : path.substr(space + 1));
  if (help != m_Helps.end()) {
    for (const std::string& example : help->second.examples) {
      examples.append(example);
    }
    for (const auto& [code, meaning] : help->second.exitCodes) {
      codes[std::to_string(static_cast<int>(code))] = meaning;
    }
  }
  const std::vector<const CLI::App*> below =
      app.get_subcommands([](const CLI::App* one) { return !one->get_group().empty(); });
  PrintLine(JsonLine({{"command", path},
                      {"description", app.get_description()},
                      {"verb", below.empty()},
                      {"arguments", arguments},
                      {"options", options},
                      {"examples", examples},
                      {"exitCodes", codes},
                      {"footer", app.get_footer()}}));
  for (const CLI::App* one : below) {
    m_PrintHelpJson(*one, path + " " + one->get_name());
  }
}

void Tool::TakeCommand(Syntax verb, std::vector<std::string>& command) {
  m_CommandVerb = verb.m_App;
  m_Command = &command;
}

// CLI11 would pass what follows "--" to the verb's own arguments. No option of a tool has a value
// that is a verb's name, so the first such name is the verb.
int Tool::m_OwnArguments(int argc, char** argv) const {
  const auto isVerb = [this](const char* argument) {
    return !m_App->get_subcommands([&](const CLI::App* verb) { return verb->check_name(argument); })
                .empty();
  };
  char** const end = argv + argc;
  char** const verb = std::find_if(argv + 1, end, isVerb);
  if (m_CommandVerb == nullptr || verb == end || !m_CommandVerb->check_name(*verb)) {
    return argc;
  }
  const auto isMark = [](const char* argument) { return std::string_view(argument) == "--"; };
  return static_cast<int>(std::find_if(verb, end, isMark) - argv);
}

int Tool::Run(int argc, char** argv) {
  // Writing the output notices a reader that has gone away.
  signal(SIGPIPE, SIG_IGN);
  if (argc > 2 && argv[1] == std::string_view("complete") && argv[2] == std::string_view("--")) {
    try {
      PrintCandidates(*m_App, m_CommandVerb, m_Offers, {argv + 3, argv + argc});
    } catch (...) {
      // A message would stand in the middle of what the user types.
    }
    return 0;
  }
  const int own = m_OwnArguments(argc, argv);
  if (own < argc) {
    m_Command->assign(argv + own + 1, argv + argc);
  }
  try {
    m_App->parse(own, argv);
  } catch (const CLI::Success& helpOrVersion) {
    return m_App->exit(helpOrVersion);
  } catch (const CLI::ParseError& error) {
    PrintError(m_App->get_name(), UsageProblem(*m_App, error, {argv + 1, argv + own}, m_Others));
    return static_cast<int>(ExitCode::kUsage);
  }
  return m_RunVerb();
}

int Tool::m_RunVerb() {
  ExitCode code = ExitCode::kRefused;
  try {
    code = m_Verb();
    Flush();
  } catch (const OutputClosed&) {
    code = ExitCode::kDone;
  } catch (const Failure& failure) {
    for (const std::string& line : failure.Before()) {
      PrintError(m_App->get_name(), line);
    }
    PrintError(m_App->get_name(), failure.what());
    code = failure.Code();
  } catch (const std::exception& exception) {
    PrintError(m_App->get_name(), exception.what());
  }
  return static_cast<int>(code);
}

Parameter AddSeconds(Syntax syntax, const std::string& name, std::optional<double>& seconds,
                     const std::string& description) {
  return syntax.AddOption(name, "SECONDS", seconds, description).Check([](const std::string& text) {
    const std::optional<double> value = base::ParseDecimal(text);
    return value && *value > 0 && *value <= kMostSeconds
               ? std::string()
               : fmt::format("{} is not a number of seconds above 0 and at most {}", Quote(text),
                             kMostSeconds);
  });
}

Parameter AddBus(Syntax syntax, std::string& bus, const std::string& what) {
  return syntax
      .AddOption("--bus", "BUS", bus, what + "session (the default), system or a bus address")
      .Check([](const std::string& text) {
        return text == "session" || text == "system" || text.find(':') != std::string::npos
                   ? ""
                   : Quote(text) +
                         " is no bus; use session, system or a bus address such as "
                         "unix:path=/run/bus";
      })
      .CompletedBy([](const std::string&) {
        return std::vector<Candidate>{{"session", ""}, {"system", ""}};
      });
}

Parameter AddCount(Syntax syntax, std::optional<int>& count, const std::string& description) {
  return syntax.AddOption("--count", "N", count, description).AtLeast(1);
}

}  // namespace tools
