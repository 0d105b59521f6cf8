#pragma once

#include <filesystem>

namespace host {

enum class IoCall { kOpen, kWrite, kFlush };

struct IoFault {
  enum Kind {
    kOnce,
    kFromThenOn,
    kHalf,  // of a write: half of it is written, what is left fails
  };
  IoCall call;
  int error;
  Kind kind;
};

// In a program with this file no flush reaches the disk, which its tests do not need. From here on
// the `nth` such call, from 1, on a file below `root` fails, whoever makes it: also in SQLite.
void BeginIoFault(const std::filesystem::path& root, const IoFault& fault, int nth);

// Returns whether it came to that.
bool EndIoFault();

}  // namespace host
