#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/private_bus.h"
#include "support/process.h"
#include "support/temp_directory.h"

// A line of the daemon's log, without what differs from run to run.
struct LogLine {
  char priority;         // D, I, W or E
  std::string module;    // the source module that logged
  std::string function;  // the function in it
  std::string message;   // process ids are written as PID, addresses as PTR, bus names as SENDER

  bool operator==(const LogLine&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const LogLine& line);

// A whole set in a directory of its own: a private bus, the key store and the real daemon.
class TelevisionSet {
 public:
  // `model` is one of data/models, or the path of a file without its ".json".
  explicit TelevisionSet(const std::string& model = "full");

  // Prints the daemon's log if the running test has failed.
  ~TelevisionSet();

  // Starts the daemon and waits until it is ready. Throws std::runtime_error with its log when
  // it does not get there. `wrapper` is a command that becomes the one behind it, such as nice.
  // With $SANDBOX_OF_UNIT the daemon runs in the sandbox that this unit describes.
  void StartDaemon(const std::vector<std::string>& wrapper = {});

  // Ends the daemon as a service manager does. Returns its exit status.
  int EndDaemon();

  // Ends the daemon without giving it a chance to do anything.
  void KillDaemon();

  support::Process& Daemon() { return *m_Daemon; }

  // The environment in which the tools find this set.
  support::Variables Variables() const;

  // Runs one of the set's tools, or any other command, in that environment.
  support::Outcome Run(const std::vector<std::string>& command, const std::string& input = "");

  // What the daemon wrote so far, as it stands and line by line.
  std::string LogText() const;
  std::vector<LogLine> LogLines() const;

  // Waits until some line of the log has this message; false when it does not come.
  bool WaitForLog(const std::string& message) const;

  const std::filesystem::path& Root() const { return m_Root.Path(); }
  const support::PrivateBus& Bus() const { return m_Bus; }
  support::PrivateBus& Bus() { return m_Bus; }

 private:
  std::vector<std::string> Sandbox() const;

  support::TempDirectory m_Root;
  support::PrivateBus m_Bus;
  std::string m_ModelFile;
  std::unique_ptr<support::Process> m_Daemon;
};
