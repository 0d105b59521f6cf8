#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "system/environment.h"
#include "system/log.h"

namespace host {

// What the command line of a service says.
struct CommandLine {
  Environment environment;
  std::string bus = "session";    // "session", "system" or the address of a bus
  std::filesystem::path logFile;  // empty: the log's own choice
  std::uint64_t logLimit = kLogLimit;
};

// Thrown when the command line only asks for a text, or is wrong; the text has already been
// printed.
struct CommandLineEnd {
  int exitStatus;
};

// Options that are not given take their values from the environment variables.
CommandLine ReadCommandLine(int argc, const char* const* argv);

}  // namespace host
