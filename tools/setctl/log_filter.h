#pragma once

#include <regex.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace setctl {

// The fields of a line of a log (docs/logging.md).
struct LogLine {
  std::string time;   // as it is written there
  std::string level;  // one of LogLevels
  std::string tag;
  int pid = 0;
  std::string message;
};

// From the least to the most important.
std::vector<std::string> LogLevels();

// Nothing for a line of another form, such as what a library wrote to standard error.
std::optional<LogLine> ParseLogLine(const std::string& line);

// The line as a JSON object of its fields; of a line of another form all but "message" are null.
std::string LogLineJson(const std::string& line);

// The time that a person wrote: as in a log, without its end or its Z (local time), as a time of
// today, or as the time passed since, e.g. 10m. Nothing when it is none of these.
std::optional<std::chrono::system_clock::time_point> ParseSince(
    const std::string& text, std::chrono::system_clock::time_point now);

// What is wrong with an extended regular expression; empty when nothing is.
std::string PatternProblem(const std::string& pattern);

// Chooses lines, which are passed in their order.
class LogFilter {
 public:
  // Nothing chooses all. The arguments are valid: a level, a pattern, a time.
  LogFilter(const std::optional<std::string>& level, const std::optional<std::string>& pattern,
            const std::optional<std::string>& since);

  // Whether it leaves out anything.
  bool IsActive() const { return !m_LevelsBelow.empty() || m_Pattern || !m_Since.empty(); }

  // A line of another form passes --level, and counts as written when the one before it was.
  bool Passes(const std::string& line);

 private:
  std::vector<std::string> m_LevelsBelow;
  std::shared_ptr<regex_t> m_Pattern;
  std::string m_Since;  // as a log writes it
  bool m_IsSince = false;
};

}  // namespace setctl
