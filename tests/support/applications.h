#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

// What the applications of a set leave in its root directory.
namespace support {

// The lines of an application's log, without time and process.
std::vector<std::string> ApplicationLog(const std::filesystem::path& root, const std::string& id);

// The process of every application that ever wrote a log there.
std::vector<pid_t> ApplicationProcesses(const std::filesystem::path& root);

// Whether a process, which need not be a child, has ended or does so in time.
bool WaitForEnd(pid_t pid);

}  // namespace support
