#pragma once

#include <cstdint>
#include <filesystem>

namespace host {

enum class IoCall {
  kOpen,
  kWrite,
  kFlush,
  kMove,  // a file gets another name, or one more, or loses one
};

struct IoFault {
  enum Kind {
    kOnce,
    kFromThenOn,
    kHalf,  // of a write: half of it is written, the rest fails
  };
  IoCall call;
  int error;
  Kind kind;
};

// In a program with this file no flush reaches the disk, because its tests do not need it to. From
// here on the `nth` such call, from 1, on a file below `root` fails, whoever makes it: also in
// SQLite.
void BeginIoFault(const std::filesystem::path& root, const IoFault& fault, int nth);

// Returns whether that call was reached.
bool EndIoFault();

// While one lives, what is below `root` is on a read-only file system, as far as opening, renaming
// and removing files goes. One at a time.
class ReadOnlyFiles {
 public:
  explicit ReadOnlyFiles(const std::filesystem::path& root);
  ~ReadOnlyFiles();
  ReadOnlyFiles(const ReadOnlyFiles&) = delete;
  ReadOnlyFiles& operator=(const ReadOnlyFiles&) = delete;
};

// While one lives, reading `file` at `begin` or behind it fails, as on a bad sector. One at a time.
class UnreadableBytes {
 public:
  UnreadableBytes(const std::filesystem::path& file, std::uintmax_t begin);
  ~UnreadableBytes();
  UnreadableBytes(const UnreadableBytes&) = delete;
  UnreadableBytes& operator=(const UnreadableBytes&) = delete;
};

// While one lives, the files below `root` are on a file system that does not keep when a file was
// made, and gives each log the number of the one before it. One at a time.
class NumbersUsedAgain {
 public:
  explicit NumbersUsedAgain(const std::filesystem::path& root);
  ~NumbersUsedAgain();
  NumbersUsedAgain(const NumbersUsedAgain&) = delete;
  NumbersUsedAgain& operator=(const NumbersUsedAgain&) = delete;
};

}  // namespace host
