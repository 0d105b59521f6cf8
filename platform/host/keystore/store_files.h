#pragma once

#include <filesystem>
#include <string>
#include <vector>

// The files of a store (docs/keystore.md): their names, and what can be seen of them without
// opening them.

namespace host {

// In each of the store's two directories, and in its run directory.
inline constexpr char kKeyFileName[] = "keys.db";
inline constexpr char kChangedName[] = "changed";
inline constexpr char kUsersName[] = "users";

// What SQLite has beside a file while it is open: its log, and what it shares about that.
std::filesystem::path LogOf(const std::filesystem::path& file);
std::filesystem::path LogIndexOf(const std::filesystem::path& file);

// The good copy of a key file, which store_copy.h makes.
std::filesystem::path CopyOf(const std::filesystem::path& file);

// What a key file that is set aside now is called. Such names sort by date.
std::filesystem::path NameAside(const std::filesystem::path& file);

// The files that were set aside for this one, oldest first; each may have its log beside it, as
// LogOf says. A log that was set aside without a file is one of them.
std::vector<std::filesystem::path> SetAsideFiles(const std::filesystem::path& file);

// Whether something has this name, though it may be a link that leads nowhere.
bool IsThere(const std::filesystem::path& file);

// Whether there is no file, or one of no bytes.
bool IsMissingOrEmpty(const std::filesystem::path& file);

// What is wrong with such a key file: the words that follow "key file …".
std::string AbsenceOf(const std::filesystem::path& file);

// Whether something says that there was such a key file, though it may be missing or empty now.
bool HasCopyOrLog(const std::filesystem::path& file);

// Notes that a key file and the log beside it belong together, for HasForeignLog. Without that
// note, or where it cannot be written, or where the file system does not keep when a file was made,
// no log is foreign.
void NotePair(const std::filesystem::path& file);

// Takes that note back.
void ForgetPair(const std::filesystem::path& file);

// Whether a key file took the place of another one, whose log is still beside it.
bool HasForeignLog(const std::filesystem::path& file);

// Whether a file, or the directory where it is missing, is on such a file system.
bool IsOnReadOnlyFileSystem(const std::filesystem::path& file);

}  // namespace host
