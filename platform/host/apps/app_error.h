#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace host {

// Why an application is not started, ended or asked. The text says what is wrong and not what to do
// about it: that depends on who asked.
class AppError : public std::runtime_error {
 public:
  enum class Kind {
    kNotAnId,       // what was given for an application; never asked for
    kNotText,       // an extra datum is not UTF-8
    kNotInstalled,  // it neither runs nor can be started
    kNotRunning,    // it is installed, but what was asked takes one that runs
    kCannotStart,   // the bus could not run its program
    kNoName,        // its program was started and did not become the application in time
    kNoAnswer,      // it runs and did not answer in time
    kNoEnd,         // it was told to end and still runs
    kEnded,         // it ended before it answered
    kRefused,       // it said no, or cannot be asked
    kNotAllowed,    // this user may not ask, end or connect
    kNoBus,         // the bus cannot be connected to
    kBusLost,       // the connection has ended
    kBusSilent,     // the bus did not answer in time
  };

  // The subject is the ID of the application; the name of the bus for what concerns that.
  AppError(Kind kind, std::string subject, const std::string& text)
      : std::runtime_error(text), m_Kind(kind), m_Subject(std::move(subject)) {}

  Kind GetKind() const { return m_Kind; }
  const std::string& Subject() const { return m_Subject; }

 private:
  Kind m_Kind;
  std::string m_Subject;
};

}  // namespace host
