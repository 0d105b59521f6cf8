#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Shared by the tools: exit codes, messages, printing and waiting.
namespace tools {

// The exit codes (docs/commands.md).
enum class ExitCode {
  kDone = 0,
  kRefused = 1,
  kUsage = 2,
  kTimedOut = 3,
  kNotRunning = 8,
  kNotFound = 10,
  kNotAllowed = 13,
};

// Ends the tool with this message, which says what went wrong and what to do, and this code. What
// went wrong with each of several things may come before it, each on a line.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& message, std::vector<std::string> before = {})
      : std::runtime_error(message), m_Code(code), m_Before(std::move(before)) {}

  ExitCode Code() const { return m_Code; }
  const std::vector<std::string>& Before() const { return m_Before; }

 private:
  ExitCode m_Code;
  std::vector<std::string> m_Before;
};

// A time from a command line, where it is given in seconds.
std::chrono::microseconds Duration(double seconds);

// Print one line to standard error: `tool: message`, or a note that is not an error.
void PrintError(std::string_view tool, std::string_view message);
void PrintNote(std::string_view note);

// Ends the tool quietly with 0: nobody reads standard output any more.
struct OutputClosed {};

// Print to standard output. A line may be buffered until Flush or the end of the tool. Throw
// OutputClosed, or a Failure when writing fails for another reason.
void PrintLine(std::string_view line);
void Flush();

// For verbs that listen: once constructed, SIGINT and SIGTERM end the listening instead of the
// process. One at a time; the process's other threads block all signals.
class Listening {
 public:
  // For `seconds`, or without limit.
  explicit Listening(std::optional<double> seconds);
  ~Listening();
  Listening(const Listening&) = delete;
  Listening& operator=(const Listening&) = delete;

  enum class Event {
    kInput,  // `events` happened on `fd`, or `timeout` passed
    kLimit,  // the time for listening is up
    kEnd,    // a signal came, or nobody reads standard output any more
  };

  Event Wait(int fd, short events, std::optional<std::chrono::microseconds> timeout);

 private:
  int m_Signals;
  std::optional<std::chrono::steady_clock::time_point> m_End;
};

}  // namespace tools
