#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

// What is wrong with the files of a store. Only for files that nobody has open: they are read
// behind SQLite's back.

namespace host {

// Whether what a key file holds fits together, though another program has written pages without
// checks.
using Judge = std::function<bool(const std::filesystem::path&)>;

// What is wrong with a key file, read with its log unless that is older, or another file's: the
// words that follow "key file …". Nothing when it is whole, or when it is missing or empty and has
// neither a copy nor a log nor was set aside. Only `judge`, who is asked about a file that has
// pages without checks, may change anything. Throws StoreError when the damage cannot be determined
// now.
std::optional<std::string> DamageOf(const std::filesystem::path& file, const Judge& judge);

// The same, judged by SQLite, which folds a log in when it closes the file.
std::optional<std::string> DamageOf(const std::filesystem::path& file);

// How a log lacks what was written to it.
struct LogCut {
  bool isInFile;             // its key file has all changes
  bool isOlder;              // than its key file, into which what is left of it must not be folded
  std::uintmax_t soundSize;  // of its beginning, in bytes; 0 without a whole transaction
};

// What changes that were made are missing from the log of a key file that is otherwise whole, or
// cannot be read there; nothing when none is. `isSameBoot` says that the machine has not restarted
// since the store was last used: what SQLite kept in memory about the log is then its latest state.
std::optional<LogCut> CutOfLog(const std::filesystem::path& file, bool isSameBoot);

// Whether the log of a key file, if there is one, has no transaction behind a damaged place. Nobody
// need have been told that the last one was made.
bool IsLogWhole(const std::filesystem::path& file);

// Whether the pages of a key file that is whole have no checks yet.
bool IsOfOlderVersion(const std::filesystem::path& file);

}  // namespace host
