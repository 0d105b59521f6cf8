// CLI11's messages call verbs "subcommands", do not say which word was wrong where several follow,
// and do not say what exists. Its parser stops at the first mistake and keeps little of the line,
// so that the line is read again here.

#include "usage.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <cstddef>
#include <string_view>

#include "nearest.h"
#include "text.h"

namespace tools {
namespace {

using Words = std::vector<std::string>;

bool IsGroup(const CLI::App& app) { return app.get_require_subcommand_min() > 0; }

bool IsOption(std::string_view word) {
  return word.size() > 1 && word.front() == '-' && word != "--";
}

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

const CLI::App* Find(const CLI::App& app, const std::string& verb) {
  const auto found =
      app.get_subcommands([&](const CLI::App* below) { return below->check_name(verb); });
  return found.empty() ? nullptr : found.front();
}

const CLI::Option* FindOption(const CLI::App& app, const std::string& name) {
  const CLI::Option* option = app.get_option_no_throw(name);
  return option == nullptr && app.get_parent() != nullptr ? FindOption(*app.get_parent(), name)
                                                          : option;
}

// How a tool, a group or a verb is called.
std::string Call(const CLI::App& app) {
  return app.get_parent() == nullptr ? app.get_name()
                                     : Call(*app.get_parent()) + " " + app.get_name();
}

// All verbs below, with their groups in front, and the groups.
Words VerbsBelow(const CLI::App& app, const std::string& path) {
  Words verbs;
  Words inGroups;
  for (const CLI::App* below : app.get_subcommands(nullptr)) {
    verbs.push_back(path + below->get_name());
    const Words deeper = VerbsBelow(*below, verbs.back() + " ");
    inGroups.insert(inGroups.end(), deeper.begin(), deeper.end());
  }
  verbs.insert(verbs.end(), inGroups.begin(), inGroups.end());
  return verbs;
}

bool BeginsWithWords(const std::string& line, const std::string& words) {
  return (line + " ").compare(0, words.size() + 1, words + " ") == 0;
}

// A command line as far as it can be understood.
struct Line {
  const CLI::App* app;  // the verb, or the group or the tool when it goes no further
  Words words;          // what is neither an option nor the value of one
  bool isVerb = true;   // false when there is no such verb
};

Line Read(const CLI::App& tool, const Words& words) {
  Line line{&tool, {}};
  bool onlyWords = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (!onlyWords && word == "--") {
      onlyWords = true;
    } else if (!onlyWords && IsOption(word)) {
      const CLI::Option* option = FindOption(*line.app, word);
      i += option != nullptr && TakesValue(*option) ? 1 : 0;
    } else {
      line.words.push_back(word);
      if (line.isVerb && IsGroup(*line.app)) {
        const CLI::App* below = Find(*line.app, word);
        line.app = below == nullptr ? line.app : below;
        line.isVerb = below != nullptr;
      }
    }
  }
  return line;
}

Words OptionNames(const CLI::App& app) {
  Words names;
  for (const CLI::App* one = &app; one != nullptr; one = one->get_parent()) {
    for (const CLI::Option* option : one->get_options()) {
      for (const std::string& name : option->get_lnames()) {
        names.push_back("--" + name);
      }
    }
  }
  return names;
}

std::string HelpOf(const CLI::App& app) { return fmt::format("see {} --help", Call(app)); }

std::string NoVerb(const CLI::App& app) {
  if (app.get_parent() == nullptr) {
    return "no verb given; " + HelpOf(app);
  }
  Words verbs;
  for (const CLI::App* below : app.get_subcommands(nullptr)) {
    verbs.push_back(below->get_name());
  }
  return fmt::format("no verb given after {}; valid: {}", app.get_name(), Joined(verbs));
}

// What no option or argument took.
std::string Unexpected(const CLI::App& app, const std::string& word) {
  if (IsOption(word)) {
    return NoSuch("option", word.substr(0, word.find('=')), OptionNames(app), HelpOf(app));
  }
  return fmt::format("unexpected argument {}; {}", Quote(word), HelpOf(app));
}

// What is wrong with a value that an option misses, or has and does not take; empty when nothing
// is.
std::string WrongValue(const CLI::App& app, const Words& words) {
  for (const std::string& word : words) {
    const std::string name = word.substr(0, word.find('='));
    const CLI::Option* option = IsOption(word) ? FindOption(app, name) : nullptr;
    if (option != nullptr && !TakesValue(*option) && name != word) {
      return fmt::format("{} takes no value", name);
    }
    if (option != nullptr && TakesValue(*option) && word == words.back() && name == word) {
      return fmt::format("{} needs a value, {}", name, option->get_type_name());
    }
  }
  return "";
}

}  // namespace

std::string NoSuchVerb(const CLI::App& tool, const Words& words, const OtherVerbs& others) {
  const std::string line = fmt::format("{}", fmt::join(words, " "));
  for (const auto& [name, verbs] : others) {
    for (const std::string& verb : verbs) {
      if (BeginsWithWords(line, verb)) {
        return fmt::format("{} is a verb of {}", Escape(line), name);
      }
    }
    for (const std::string& verb : verbs) {
      if (BeginsWithWords(verb, words.front())) {
        return fmt::format("{} is a group of verbs of {}", Escape(words.front()), name);
      }
    }
  }
  const CLI::App* app = &tool;
  std::string path;
  for (const std::string& word : words) {
    path += word;
    const CLI::App* below = Find(*app, word);
    if (below == nullptr) {
      break;
    }
    app = below;
    path += " ";
  }
  return NoSuch("verb", path, VerbsBelow(tool, ""), HelpOf(*app));
}

std::string UsageProblem(const CLI::App& tool, const CLI::Error& error, const Words& words,
                         const OtherVerbs& others) {
  const Line line = Read(tool, words);
  const Words unexpected = tool.remaining(true);
  if (!line.isVerb) {
    return NoSuchVerb(tool, line.words, others);
  }
  if (!unexpected.empty()) {
    return Unexpected(*line.app, unexpected.front());
  }
  const std::string wrong = WrongValue(*line.app, words);
  if (!wrong.empty()) {
    return fmt::format("{}; {}", wrong, HelpOf(*line.app));
  }
  if (IsGroup(*line.app)) {
    return NoVerb(*line.app);
  }
  // Every check says what is valid.
  if (dynamic_cast<const CLI::ValidationError*>(&error) != nullptr) {
    return error.what();
  }
  const std::string problem = error.what();
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    // The message begins with the option's name; one without its value is dealt with above.
    return fmt::format("{} given twice; {}", problem.substr(0, problem.find(':')),
                       HelpOf(*line.app));
  }
  return fmt::format("{}; {}", problem, HelpOf(*line.app));
}

}  // namespace tools
