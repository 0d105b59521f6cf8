#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common.h"

// The command line of a tool.
namespace tools {

// A command line tool: its options, and the verbs of which each command line has one.
class Tool {
 public:
  // `footer` comes at the end of the help, before the exit codes.
  Tool(const std::string& name, const std::string& description, const std::string& footer);

  CLI::App& App() { return m_App; }

  // Adds a verb to the tool, or to a group of verbs (of AddGroup) in it. `run` is called after
  // the whole command line was read. The tool's own options may stand behind the verb, too.
  CLI::App* AddVerb(CLI::App& parent, const std::string& name, const std::string& description,
                    std::function<ExitCode()> run);
  CLI::App* AddGroup(const std::string& name, const std::string& description);

  // Lets what stands behind the first "--" of that verb's command line be a command, put into
  // `command` without a look at it. One verb of a tool; `command` must outlive the run.
  void TakeCommand(const CLI::App& verb, std::vector<std::string>& command);

  // Reads the command line, runs its verb and prints what failed. Returns the exit status.
  int Run(int argc, char** argv);

 private:
  // How many of the arguments are the tool's own; the others are the command of TakeCommand.
  int m_OwnArguments(int argc, char** argv) const;
  int m_RunVerb();

  CLI::App m_App;
  const CLI::App* m_CommandVerb = nullptr;
  std::vector<std::string>* m_Command = nullptr;
  std::function<ExitCode()> m_Verb;
};

// A time in seconds from the command line, above 0; fractions are welcome.
CLI::Option* AddSeconds(CLI::App& app, const std::string& name, std::optional<double>& seconds,
                        const std::string& description);

// The option --bus; `what` comes before the description of its values.
CLI::Option* AddBus(CLI::App& app, std::string& bus, const std::string& what = "");

// A number of things to wait for, at least 1.
CLI::Option* AddCount(CLI::App& app, std::optional<int>& count, const std::string& description);

}  // namespace tools
