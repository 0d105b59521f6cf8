#pragma once

#include <map>
#include <string>
#include <vector>

namespace CLI {
class App;
class Error;
}  // namespace CLI

// What a tool says about a command line that it cannot read.
namespace tools {

// The verbs of another tool, by its name, with their groups in front: "get", "key set".
using OtherVerbs = std::map<std::string, std::vector<std::string>>;

// `words` follow the tool's name. One sentence, which names what exists or comes nearest.
std::string UsageProblem(const CLI::App& tool, const CLI::Error& error,
                         const std::vector<std::string>& words, const OtherVerbs& others);

// The same for words that should name a verb, with its group in front if it has one, and do not.
std::string NoSuchVerb(const CLI::App& tool, const std::vector<std::string>& words,
                       const OtherVerbs& others);

}  // namespace tools
