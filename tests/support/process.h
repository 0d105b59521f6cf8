#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/wait.h"

namespace support {

using Variables = std::map<std::string, std::string>;

// Where the three standard files of a process come from and go to; "/dev/null" unless said.
struct Files {
  std::filesystem::path in = "/dev/null";
  std::filesystem::path out = "/dev/null";
  std::filesystem::path err = "/dev/null";
};

// A running process. Ended and waited for by the destructor, if nobody did it before.
class Process {
 public:
  // `command[0]` is looked up in the PATH of the new process. `variables` come on top of this
  // process's own. Throws std::system_error when it cannot be started.
  Process(const std::vector<std::string>& command, const Variables& variables, const Files& files);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t Pid() const { return m_Pid; }
  bool Running();

  // No effect on a process that has ended.
  void Signal(int signal);

  // The exit status, 128 + the signal's number for a process that a signal ended; nothing when
  // it still runs after `limit`.
  std::optional<int> Wait(std::chrono::milliseconds limit = kPatience);

 private:
  pid_t m_Pid;
  std::optional<int> m_Status;
};

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

// Runs a command to its end. Throws std::runtime_error, the command killed, when that takes
// longer than `limit`.
Outcome RunCommand(const std::vector<std::string>& command, const Variables& variables = {},
                   const std::string& input = "", std::chrono::milliseconds limit = kPatience);

}  // namespace support
