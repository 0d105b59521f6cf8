#include "support/process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "support/temp_directory.h"

namespace support {
namespace {

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

Variables Merged(const Variables& variables) {
  Variables merged;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const char* equals = std::strchr(*entry, '=');
    if (equals != nullptr) {
      merged[std::string(*entry, equals - *entry)] = equals + 1;
    }
  }
  for (const auto& [name, value] : variables) {
    merged[name] = value;
  }
  return merged;
}

// The file that a command stands for in the PATH of the new process.
std::string FindCommand(const std::string& name, const std::string& path) {
  std::istringstream directories(path);
  for (std::string directory; std::getline(directories, directory, ':');) {
    const std::string file = directory + "/" + name;
    if (access(file.c_str(), X_OK) == 0) {
      return file;
    }
  }
  return name;
}

pid_t Spawn(std::vector<std::string> command, const Variables& variables, const Files& files) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, files.in.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, files.out.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                   0644);
  posix_spawn_file_actions_addopen(&actions, 2, files.err.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                   0644);
  const Variables merged = Merged(variables);
  std::vector<std::string> environment;
  for (const auto& [name, value] : merged) {
    environment.push_back(name + "=" + value);
  }
  const bool isFile = command[0].find('/') != std::string::npos;
  const std::string file = isFile ? command[0] : FindCommand(command[0], merged.at("PATH"));
  pid_t pid = 0;
  const int error = posix_spawn(&pid, file.c_str(), &actions, nullptr, Pointers(command).data(),
                                Pointers(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    throw std::system_error(error, std::generic_category(), "cannot start " + command[0]);
  }
  return pid;
}

}  // namespace

Process::Process(const std::vector<std::string>& command, const Variables& variables,
                 const Files& files)
    : m_Pid(Spawn(command, variables, files)) {}

Process::~Process() {
  if (Running()) {
    Signal(SIGKILL);
    Wait();
  }
}

bool Process::Running() {
  if (m_Status) {
    return false;
  }
  int status = 0;
  if (waitpid(m_Pid, &status, WNOHANG) != m_Pid) {
    return true;
  }
  m_Status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return false;
}

void Process::Signal(int signal) {
  if (Running()) {
    kill(m_Pid, signal);
  }
}

std::optional<int> Process::Wait(std::chrono::milliseconds limit) {
  WaitUntil([this] { return !Running(); }, limit);
  return m_Status;
}

Outcome RunCommand(const std::vector<std::string>& command, const Variables& variables,
                   const std::string& input, std::chrono::milliseconds limit) {
  TempDirectory directory;
  Files files{directory / "in", directory / "out", directory / "err"};
  std::ofstream(files.in, std::ios::binary) << input;
  Process process(command, variables, files);
  const std::optional<int> status = process.Wait(limit);
  if (!status) {
    throw std::runtime_error(command[0] + " did not end; it said: " + ReadFile(files.err));
  }
  return {*status, ReadFile(files.out), ReadFile(files.err)};
}

}  // namespace support
