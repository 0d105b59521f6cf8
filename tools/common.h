#pragma once

#include <chrono>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

// What every tool has: exit codes, messages, and ways to print and to wait.
namespace tools {

// How a tool ends (docs/commands.md).
enum class ExitCode {
  kDone = 0,
  kRefused = 1,
  kUsage = 2,
  kTimedOut = 3,
  kNotRunning = 8,
  kNotFound = 10,
  kNotAllowed = 13,
};

// Ends the tool with this message, which says what was wrong and what to do, and this code.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& message) : std::runtime_error(message), m_Code(code) {}

  ExitCode Code() const { return m_Code; }

 private:
  ExitCode m_Code;
};

// A time from a command line, where it is given in seconds.
std::chrono::microseconds Duration(double seconds);

// One line to standard error as it is: `tool: message`, and a note that is no error.
void PrintError(std::string_view tool, std::string_view message);
void PrintNote(std::string_view note);

// Ends the tool quietly and with 0: nobody reads standard output any more.
struct OutputClosed {};

// Standard output. A line may wait in a buffer until Flush or the end of the tool. Throw
// OutputClosed, or a Failure when nothing can be written for another reason.
void PrintLine(std::string_view line);
void Flush();

// For verbs that listen: from the construction on SIGINT and SIGTERM no longer end the process
// but the listening. One at a time; the process's other threads block all signals.
class Listening {
 public:
  // For `seconds`, or without end.
  explicit Listening(std::optional<double> seconds);
  ~Listening();
  Listening(const Listening&) = delete;
  Listening& operator=(const Listening&) = delete;

  enum class Event {
    kInput,  // `events` happened on `fd`, or `timeout` passed
    kLimit,  // the time for listening is over
    kEnd,    // by a signal, or because nobody reads standard output any more
  };

  Event Wait(int fd, short events, std::optional<std::chrono::microseconds> timeout);

 private:
  int m_Signals;
  std::optional<std::chrono::steady_clock::time_point> m_End;
};

}  // namespace tools
