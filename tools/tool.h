#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "common.h"
#include "completion.h"
#include "usage.h"

// The command line of a tool. CLI11 parses it; only tool.cpp, usage.cpp and completion.cpp include
// CLI11,
// because its header takes the compiler longer than most of the code here.
namespace tools {

// Where a value of the command line is stored. Must outlive the tool's run.
using Target = std::variant<std::reference_wrapper<std::string>,
                            std::reference_wrapper<std::optional<std::string>>,
                            std::reference_wrapper<int>, std::reference_wrapper<std::optional<int>>,
                            std::reference_wrapper<std::optional<double>>,
                            std::reference_wrapper<std::vector<std::string>>>;

// A handle to one argument, option or flag of a tool.
class Parameter {
 public:
  Parameter Required() const;
  Parameter OneOf(const std::vector<std::string>& values) const;

  // What a shell completes its value with, beside which others may be valid.
  Parameter CompletedBy(Offer offer) const;

  // For a whole number; one without this may be any that an int holds.
  Parameter AtLeast(int value) const;

  // `problem` says what is wrong with a value; empty when it is valid.
  Parameter Check(const std::function<std::string(const std::string& value)>& problem) const;

  // Not allowed together with `other`, which belongs to the same verb.
  Parameter Excludes(Parameter other) const;

 private:
  friend class Syntax;
  Parameter(CLI::Option* option, Offers& offers) : m_Option(option), m_Offers(offers) {}

  CLI::Option* m_Option;
  Offers& m_Offers;
};

// A handle to the command line syntax of a tool, a group of verbs or a verb.
class Syntax {
 public:
  // A positional argument; several for a list.
  Parameter AddArgument(const std::string& name, Target target,
                        const std::string& description) const;

  // `name` begins with "--"; `value` stands for its value in the help.
  Parameter AddOption(const std::string& name, const std::string& value, Target target,
                      const std::string& description) const;

  Parameter AddFlag(const std::string& name, bool& target, const std::string& description) const;

  // More for the help of a verb, behind its exit codes: a title and lines, each with its end.
  void AddSection(const std::string& text) const;

 private:
  friend class Tool;
  Syntax(CLI::App* app, Offers& offers) : m_App(app), m_Offers(offers) {}

  CLI::App* m_App;
  Offers& m_Offers;
};

// What the help of a verb says beside its arguments and options.
struct VerbHelp {
  // Command lines for a shell.
  std::vector<std::string> examples;
  // What they mean for this verb; 0 and 2 have the tool's meaning where they are not given.
  std::map<ExitCode, std::string> exitCodes;
};

// By verb, with its group in front: "get", "key set".
using VerbHelps = std::map<std::string, VerbHelp>;

// A command line tool: its options, and its verbs, one per command line.
class Tool {
 public:
  // `footer` comes at the end of the help, before the exit codes.
  Tool(const std::string& name, const std::string& description, const std::string& footer);
  ~Tool();
  Tool(const Tool&) = delete;
  Tool& operator=(const Tool&) = delete;

  // The options that every verb accepts.
  Syntax App();

  // Adds a verb to the tool (App), or to one of its groups (AddGroup). `run` is called after the
  // whole command line has been read. The tool's own options may also follow the verb.
  Syntax AddVerb(Syntax parent, const std::string& name, const std::string& description,
                 std::function<ExitCode()> run);
  Syntax AddGroup(const std::string& name, const std::string& description);

  // Completes the help of the verbs and groups that have been added, and adds the verb "help".
  // `json` is the tool's flag of that name, and must outlive the run.
  void AddHelp(const VerbHelps& helps, const bool& json);

  // Who types one of these verbs to this tool is told that they are that tool's.
  void AddOther(const std::string& tool, const VerbHelps& helps);

  // Stores what follows the first "--" of that verb's command line in `command`, uninterpreted. For
  // one verb per tool; `command` must outlive the run.
  void TakeCommand(Syntax verb, std::vector<std::string>& command);

  // Reads the command line, runs its verb and prints failures. Returns the exit status. Instead,
  // `complete -- WORD…` prints what a shell can complete the last word with, and always returns 0.
  int Run(int argc, char** argv);

 private:
  // How many of the arguments are the tool's own; the others are the command of TakeCommand.
  int m_OwnArguments(int argc, char** argv) const;
  int m_RunVerb();
  ExitCode m_PrintHelp(const std::vector<std::string>& words, bool json) const;
  std::vector<Candidate> m_VerbsBehind(const std::vector<std::string>& words) const;
  void m_AddGroupHelp(CLI::App& group);
  void m_PrintHelpJson(const CLI::App& app, const std::string& path) const;

  std::unique_ptr<CLI::App> m_App;
  VerbHelps m_Helps;
  Offers m_Offers;
  OtherVerbs m_Others;
  const CLI::App* m_CommandVerb = nullptr;
  std::vector<std::string>* m_Command = nullptr;
  std::function<ExitCode()> m_Verb;
};

// A time in seconds from the command line, above 0; fractions allowed.
Parameter AddSeconds(Syntax syntax, const std::string& name, std::optional<double>& seconds,
                     const std::string& description);

// The option --bus; `what` comes before the description of its values.
Parameter AddBus(Syntax syntax, std::string& bus, const std::string& what = "");

// A number of things to wait for, at least 1.
Parameter AddCount(Syntax syntax, std::optional<int>& count, const std::string& description);

}  // namespace tools
