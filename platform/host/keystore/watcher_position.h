#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "system/file_descriptor.h"

// How far each live watcher has come. A position is a small file that its watcher keeps locked and
// mapped: moving on costs no system call, and the lock goes with the process however it ends.
// Positions count the changes of each key file separately; failures throw std::runtime_error. The
// directory of the positions must not be a symbolic link: the files removed would be somebody
// else's.

namespace host {

inline constexpr std::size_t kKeyFileCount = 2;

// Opens the directory of the positions. Throws std::runtime_error that names it.
FileDescriptor OpenPositions(const std::filesystem::path& directory);

class WatcherPosition {
 public:
  // Adds a position, 0 in every key file, to `directory`. A position of 0 keeps the whole
  // journal, so that nothing is lost between this and the first Set.
  explicit WatcherPosition(const std::filesystem::path& directory);

  // Removes it.
  ~WatcherPosition();
  WatcherPosition(const WatcherPosition&) = delete;
  WatcherPosition& operator=(const WatcherPosition&) = delete;

  std::filesystem::path File() const;

  // Whether writers can still find it.
  bool IsInPlace() const;

  std::int64_t Get(std::size_t keyFile) const;
  void Set(std::size_t keyFile, std::int64_t number);

 private:
  const std::filesystem::path m_Place;
  FileDescriptor m_Directory;
  std::string m_Name;
  FileDescriptor m_File;
  std::int64_t* m_Numbers = nullptr;  // the file's content
};

// For each key file the position of the live watcher that is furthest behind; nothing when there
// are no watchers. Removes what dead watchers left in `directory`.
std::optional<std::array<std::int64_t, kKeyFileCount>> SlowestPosition(
    const std::filesystem::path& directory);

}  // namespace host
