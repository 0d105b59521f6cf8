#include "keystore/store_recovery.h"

#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <system_error>

#include "keystore/file_damage.h"
#include "keystore/page_check.h"
#include "keystore/sqlite.h"
#include "keystore/store_copy.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"
#include "system/error_log.h"

namespace host {
namespace {

using std::filesystem::path;

constexpr std::size_t kMostSetAside = 5;

[[noreturn]] void Fail(const path& file, const std::string& what, int error) {
  throw StoreError(error, "key file " + file.string() + ": " + what + ": " +
                              std::generic_category().message(error));
}

void RemoveOldest(const path& file) {
  const std::vector<path> aside = SetAsideFiles(file);
  std::error_code ignored;
  for (std::size_t i = 0; i + kMostSetAside < aside.size(); ++i) {
    std::filesystem::remove_all(aside[i], ignored);
    std::filesystem::remove(LogOf(aside[i]), ignored);
  }
}

void Rename(const path& from, const path& to) {
  if (IsThere(from) && ::rename(from.c_str(), to.c_str()) != 0 && errno != ENOENT) {
    Fail(from, "cannot be set aside", errno == ENOTDIR ? EACCES : errno);
  }
}

// The log first: without its log the file is still damaged, but with the log of another file a good
// one would become so.
path SetAside(const path& file) {
  const path aside = NameAside(file);
  Rename(LogOf(file), LogOf(aside));
  Rename(file, aside);
  ::unlink(LogIndexOf(file).c_str());
  RemoveOldest(file);
  return aside;
}

// Makes the new file `made` of the log of `file` alone. Returns whether the log holds every page.
bool MakeFromLog(const path& file, const path& made) {
  const path log = LogOf(file);
  std::error_code error;
  std::filesystem::copy_file(log, LogOf(made), error);
  if (!error) {
    // SQLite removes the log of an empty file.
    std::ofstream(made).close();
    std::filesystem::resize_file(made, kPageSize, error);
  }
  if (error) {
    Fail(file, "cannot be made of its log", error.value());
  }
  try {
    if (DamageOf(made)) {
      return false;
    }
    Database(made).Execute("PRAGMA wal_checkpoint(TRUNCATE)");
    if (DamageOf(made)) {
      return false;
    }
  } catch (const StoreError& failure) {
    if (!failure.IsDamage()) {
      throw;
    }
    return false;
  }
  GiveToOwnerOf(log, made);
  return true;
}

// Puts a file in the place of a damaged one, for `reason`.
void Replace(const path& file, const std::string& reason, bool mayUseCopy) {
  const bool wasThere = IsThere(file);
  const bool hadLog = IsThere(LogOf(file));
  const Unfinished made(file);
  // The copy may be newer than what is left of a log.
  const bool isLogCut = hadLog && IsLogCut(file, false);
  const bool isMade = hadLog && IsMissingOrEmpty(file) && !(isLogCut && IsThere(CopyOf(file))) &&
                      MakeFromLog(file, made.File());
  std::string line = "key file " + file.string() + " " + reason;
  const path aside = SetAside(file);
  if (wasThere) {
    line += "; it is set aside as " + aside.string();
  } else if (hadLog) {
    line += "; its log is set aside as " + LogOf(aside).string();
  }
  if (isMade) {
    MoveInPlace(made.File(), file);
    line += "; what its log holds takes its place";
    LogError("keystore", isLogCut ? line + ", without the newest changes" : line);
    return;
  }
  const path copy = CopyOf(file);
  const bool hasCopy = IsThere(copy);
  if (hasCopy && mayUseCopy && !DamageOf(copy)) {
    PutInPlace(copy, file);
    line += "; its copy " + copy.string() + " takes its place";
  } else {
    if (hasCopy) {
      const path aside = NameAside(file);
      Rename(copy, aside);
      line += "; its copy is no better and set aside as " + aside.string();
      RemoveOldest(file);
    }
    line += "; an empty one takes its place";
  }
  LogError("keystore", line);
}

// What follows the damage in a log cannot be read, but what precedes it is newer than the copy.
// SQLite takes that and would overwrite the rest.
void SetLogAside(const path& file) {
  const path aside = NameAside(file);
  std::error_code error;
  std::filesystem::copy_file(file, aside, error);
  if (!error && IsThere(LogOf(file))) {
    std::filesystem::copy_file(LogOf(file), LogOf(aside), error);
  }
  if (error) {
    Fail(file, "cannot be set aside", error.value());
  }
  RemoveOldest(file);
  LogError(
      "keystore",
      "key file " + file.string() +
          ": its log is damaged, and the newest changes are lost; what was there is set aside as " +
          aside.string() + "; the changes before the damage stay");
  // Begins a new run of the log, so that nobody takes the frames of the old one for current ones.
  Database database(file);
  database.Execute("PRAGMA wal_checkpoint(TRUNCATE)");
}

// A file of an older version has no room for checks. It is rewritten.
void RaiseVersion(const path& file, Durability durability, const path& changed) {
  if (!IsOfOlderVersion(file)) {
    return;
  }
  KeyFile(file, durability, changed);  // from version 1 to 2
  const Unfinished raised(file);
  {
    Database old(file);
    old.Execute("PRAGMA journal_mode = DELETE");
    old.ReservePageEnds();
    WriteCopy(old, raised.File());
  }
  Database(raised.File()).Execute("PRAGMA user_version = " + std::to_string(kKeyFileVersion));
  MoveInPlace(raised.File(), file);
}

// Where nothing can be moved or written, the good copy is read where it is.
std::unique_ptr<KeyFile> OpenReadOnly(const path& file, Durability durability,
                                      const path& changed) {
  auto damage = DamageOf(file);
  if (!damage && IsMissingOrEmpty(file)) {
    damage = AbsenceOf(file);
  }
  if (!damage) {
    return std::make_unique<KeyFile>(file, durability, changed);
  }
  const path copy = CopyOf(file);
  if (!IsThere(copy) || DamageOf(copy)) {
    throw StoreError(EROFS, "key file " + file.string() + " " + *damage +
                                ", and there is no good copy of it; its file system is read-only:"
                                " make it writable, or choose another root");
  }
  auto opened = std::make_unique<KeyFile>(copy, durability, changed);
  LogError("keystore", "key file " + file.string() + " " + *damage +
                           "; its file system is read-only, so its copy " + copy.string() +
                           " is read where it is");
  return opened;
}

}  // namespace

std::unique_ptr<KeyFile> OpenMended(const path& file, Durability durability, const path& changed,
                                    bool isSameBoot) {
  if (IsOnReadOnlyFileSystem(file)) {
    return OpenReadOnly(file, durability, changed);
  }
  const auto open = [&] {
    RaiseVersion(file, durability, changed);
    return std::make_unique<KeyFile>(file, durability, changed);
  };
  if (const auto damage = DamageOf(file)) {
    Replace(file, *damage, true);
  } else if (IsLogCut(file, isSameBoot)) {
    SetLogAside(file);
  }
  for (const bool mayUseCopy : {true, false}) {
    try {
      return open();
    } catch (const StoreError& error) {
      if (!error.IsDamage()) {
        throw;
      }
      Replace(file, std::string("cannot be used (") + error.what() + ")", mayUseCopy);
    }
  }
  return open();
}

bool SetForeignLogAside(const path& file) {
  if (!HasForeignLog(file) || IsOnReadOnlyFileSystem(file)) {
    return false;
  }
  ::unlink(LogIndexOf(file).c_str());
  std::error_code ignored;
  if (std::filesystem::file_size(LogOf(file), ignored) == 0) {
    ::unlink(LogOf(file).c_str());  // as a set that ended in order leaves it
    return true;
  }
  const path aside = LogOf(NameAside(file));
  Rename(LogOf(file), aside);
  RemoveOldest(file);
  LogError("keystore", "key file " + file.string() +
                           " took the place of another one; the log of that one is set aside as " +
                           aside.string());
  return true;
}

}  // namespace host
