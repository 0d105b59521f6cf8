#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

// What a shell offers when the user asks it to complete a word (packaging/completion).
namespace tools {

struct Candidate {
  std::string text;
  std::string description;  // may be empty
};

// Finds what a value on the command line can be, of which `begin` is typed; what was typed before
// it is in its targets. May throw, and may be ended at any moment: it must change nothing.
using Offer = std::function<std::vector<Candidate>(const std::string& begin)>;
using Offers = std::map<const CLI::Option*, Offer>;

// The files and directories, which end with "/", that complete a path.
std::vector<Candidate> PathCandidates(const std::string& begin);

// The verbs right below a tool or a group; none below a verb.
std::vector<Candidate> VerbCandidates(const CLI::App& app);

// Prints what completes the last of `words`, which follow the tool's name: a line for each, with
// its description behind a tab. `commandVerb` is that of Tool::TakeCommand, or null. An offer that
// takes too long ends the process, with 0.
void PrintCandidates(CLI::App& tool, const CLI::App* commandVerb, const Offers& offers,
                     const std::vector<std::string>& words);

}  // namespace tools
