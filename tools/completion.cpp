// The words before the last are read here and not by CLI11, which takes only a complete command
// line. Their values are stored in their targets all the same, so that an offer sees --bus, --root
// and the arguments before its own where the verb itself would look for them.

#include "completion.h"

#include <fmt/format.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "common.h"
#include "text.h"

namespace tools {
namespace {

// A key that the user presses must not hang, whatever happened to the service.
constexpr suseconds_t kPatience = 40'000;  // µs

// During its lifetime, the process ends once the patience is over.
class Hurry {
 public:
  Hurry() {
    signal(SIGALRM, [](int) { _exit(0); });
    const itimerval patience{{0, 0}, {0, kPatience}};
    setitimer(ITIMER_REAL, &patience, nullptr);
  }
  ~Hurry() {
    const itimerval none{};
    setitimer(ITIMER_REAL, &none, nullptr);
  }
  Hurry(const Hurry&) = delete;
  Hurry& operator=(const Hurry&) = delete;
};

bool BeginsWith(const std::string& text, std::string_view begin) {
  return text.compare(0, begin.size(), begin) == 0;
}

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

class Line {
 public:
  Line(CLI::App& tool, const CLI::App* commandVerb, const Offers& offers)
      : m_App(&tool), m_CommandVerb(commandVerb), m_Offers(offers) {}

  // False when nothing that may follow is known.
  bool Read(const std::string& word);

  std::vector<Candidate> Complete(const std::string& begin) const;

 private:
  bool m_TakesVerb() const { return m_App->get_require_subcommand_min() > 0; }
  bool m_ReadOption(const std::string& word);
  void m_Give(CLI::Option* option, const std::string& value);
  CLI::Option* m_FindOption(const std::string& name) const;
  CLI::Option* m_NextArgument() const;
  std::vector<Candidate> m_Options() const;
  std::vector<Candidate> m_ValuesOf(const CLI::Option* option, const std::string& begin) const;

  CLI::App* m_App;  // the verb as far as it is known
  const CLI::App* m_CommandVerb;
  const Offers& m_Offers;
  CLI::Option* m_Waiting = nullptr;  // the option whose value comes next
  bool m_OnlyArguments = false;
  std::set<const CLI::Option*> m_Given;
};

bool Line::Read(const std::string& word) {
  if (m_Waiting != nullptr) {
    m_Give(std::exchange(m_Waiting, nullptr), word);
    return true;
  }
  if (!m_OnlyArguments && word == "--") {
    m_OnlyArguments = true;
    return m_App != m_CommandVerb;
  }
  if (!m_OnlyArguments && BeginsWith(word, "--")) {
    return m_ReadOption(word);
  }
  if (m_TakesVerb()) {
    const auto verbs =
        m_App->get_subcommands([&](const CLI::App* verb) { return verb->check_name(word); });
    m_App = verbs.empty() ? m_App : verbs.front();
    return !verbs.empty();
  }
  CLI::Option* const argument = m_NextArgument();
  if (argument != nullptr) {
    m_Give(argument, word);
  }
  return argument != nullptr;
}

bool Line::m_ReadOption(const std::string& word) {
  const std::size_t equals = word.find('=');
  CLI::Option* const option = m_FindOption(word.substr(0, equals));
  if (option == nullptr) {
    return false;
  }
  if (!TakesValue(*option)) {
    m_Given.insert(option);
  } else if (equals == std::string::npos) {
    m_Waiting = option;
  } else {
    m_Give(option, word.substr(equals + 1));
  }
  return true;
}

void Line::m_Give(CLI::Option* option, const std::string& value) {
  m_Given.insert(option);
  option->add_result(value);
  option->run_callback();
}

CLI::Option* Line::m_FindOption(const std::string& name) const {
  for (CLI::App* app = m_App; app != nullptr; app = app->get_parent()) {
    if (CLI::Option* const option = app->get_option_no_throw(name)) {
      return option;
    }
  }
  return nullptr;
}

// A list takes all that follows.
CLI::Option* Line::m_NextArgument() const {
  for (CLI::Option* option : m_App->get_options()) {
    const bool isList = option->get_items_expected_max() > 1;
    if (option->get_positional() && (isList || m_Given.count(option) == 0)) {
      return option;
    }
  }
  return nullptr;
}

std::vector<Candidate> Line::m_Options() const {
  const auto isExcluded = [&](const CLI::Option* option) {
    const auto& others = option->get_excludes();
    return std::any_of(others.begin(), others.end(),
                       [&](const CLI::Option* other) { return m_Given.count(other) != 0; });
  };
  std::vector<Candidate> options;
  std::set<std::string> names;
  for (const CLI::App* app = m_App; app != nullptr; app = app->get_parent()) {
    for (const CLI::Option* option : app->get_options()) {
      const bool fits = m_Given.count(option) == 0 && !isExcluded(option);
      for (const std::string& name : option->get_lnames()) {
        if (names.insert(name).second && fits) {
          options.push_back({"--" + name, option->get_description()});
        }
      }
    }
  }
  return options;
}

std::vector<Candidate> Line::m_ValuesOf(const CLI::Option* option, const std::string& begin) const {
  const auto offer = m_Offers.find(option);
  if (offer == m_Offers.end()) {
    return {};
  }
  const Hurry hurry;
  return offer->second(begin);
}

std::vector<Candidate> Line::Complete(const std::string& begin) const {
  std::vector<Candidate> candidates;
  const std::size_t equals = begin.find('=');
  if (m_Waiting != nullptr) {
    candidates = m_ValuesOf(m_Waiting, begin);
  } else if (!m_OnlyArguments && BeginsWith(begin, "--") && equals != std::string::npos) {
    const std::string name = begin.substr(0, equals);
    candidates = m_ValuesOf(m_FindOption(name), begin.substr(equals + 1));
    for (Candidate& candidate : candidates) {
      candidate.text = name + "=" + candidate.text;
    }
  } else if (!m_OnlyArguments && BeginsWith(begin, "-")) {
    candidates = m_Options();
  } else if (m_TakesVerb()) {
    candidates = VerbCandidates(*m_App);
  } else if (CLI::Option* const argument = m_NextArgument()) {
    candidates = m_ValuesOf(argument, begin);
  } else if (!m_OnlyArguments) {
    candidates = m_Options();
  }
  return candidates;
}

}  // namespace

std::vector<Candidate> PathCandidates(const std::string& begin) {
  namespace fs = std::filesystem;
  const std::string directory = begin.substr(0, begin.rfind('/') + 1);
  const bool hidden = begin.compare(directory.size(), 1, ".") == 0;
  std::vector<Candidate> candidates;
  std::error_code problem;
  fs::directory_iterator entries(directory.empty() ? "." : directory, problem);
  for (; !problem && entries != fs::directory_iterator(); entries.increment(problem)) {
    const std::string name = entries->path().filename();
    std::error_code ignored;
    if (hidden || !BeginsWith(name, ".")) {
      candidates.push_back({directory + name + (entries->is_directory(ignored) ? "/" : ""), ""});
    }
  }
  std::sort(candidates.begin(), candidates.end(),
            [](const Candidate& a, const Candidate& b) { return a.text < b.text; });
  return candidates;
}

std::vector<Candidate> VerbCandidates(const CLI::App& app) {
  std::vector<Candidate> verbs;
  for (const CLI::App* verb : app.get_subcommands(nullptr)) {
    verbs.push_back({verb->get_name(), verb->get_description()});
  }
  return verbs;
}

void PrintCandidates(CLI::App& tool, const CLI::App* commandVerb, const Offers& offers,
                     const std::vector<std::string>& words) {
  if (words.empty()) {
    return;
  }
  Line line(tool, commandVerb, offers);
  for (std::size_t i = 0; i + 1 < words.size(); ++i) {
    if (!line.Read(words[i])) {
      return;
    }
  }
  for (const Candidate& candidate : line.Complete(words.back())) {
    // What a terminal must not see cannot be offered.
    if (BeginsWith(candidate.text, words.back()) && Escape(candidate.text) == candidate.text) {
      PrintLine(candidate.description.empty()
                    ? candidate.text
                    : fmt::format("{}\t{}", candidate.text, Escape(candidate.description)));
    }
  }
  Flush();
}

}  // namespace tools
