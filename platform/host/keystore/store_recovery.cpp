#include "keystore/store_recovery.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>

#include "keystore/file_damage.h"
#include "keystore/page_check.h"
#include "keystore/sqlite.h"
#include "keystore/store_copy.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"
#include "system/error_log.h"
#include "system/file_descriptor.h"
#include "system/log.h"

namespace host {
namespace {

using std::filesystem::path;

constexpr std::size_t kMostSetAside = 5;
constexpr std::chrono::milliseconds kLogPatience = std::chrono::seconds(1);
constexpr char kHasDamagedLog[] = "has a damaged log";

[[noreturn]] void Fail(const path& file, const std::string& what, int error) {
  throw StoreError(error, "key file " + file.string() + ": " + what + ": " +
                              std::generic_category().message(error));
}

void RemoveOldest(const path& file) {
  const std::vector<path> aside = SetAsideFiles(file);
  std::error_code ignored;
  for (std::size_t i = 0; i + kMostSetAside < aside.size(); ++i) {
    std::filesystem::remove_all(aside[i], ignored);
    std::filesystem::remove_all(LogOf(aside[i]), ignored);
  }
}

void Rename(const path& from, const path& to) {
  if (IsThere(from) && ::rename(from.c_str(), to.c_str()) != 0 && errno != ENOENT) {
    Fail(from, "cannot be set aside", errno == ENOTDIR ? EACCES : errno);
  }
}

// Says it before it is done: who is killed in between must not leave older values without a word.
void Announce(const std::string& line) {
  LogError("keystore", line);
  FlushLog(kLogPatience);
}

// Gives what is called `from` that name, too, or instead where it can have only one.
void KeepAs(const path& from, const path& aside) {
  if (IsThere(from) && ::link(from.c_str(), aside.c_str()) != 0) {
    Rename(from, aside);
  }
}

// Sets a file aside with its log. `made`, which is on disk, takes its place. `holdsLog` says that
// it has what can be read of the log, which then goes after that. Otherwise the log goes first:
// without it a damaged file is still damaged, but with the log of another file a good one would
// become so. The index goes last: it tells that there was a log. The note of the pair goes before:
// with the log still beside it, `made` is no other file that took the place.
void SetAside(const path& file, const path& aside, const path& made, bool holdsLog) {
  KeepAs(LogOf(file), LogOf(aside));
  KeepAs(file, aside);
  RemoveOldest(file);
  if (!holdsLog) {
    ::unlink(LogOf(file).c_str());
  }
  ForgetPair(file);
  MoveInPlace(made, file);
  ::unlink(LogOf(file).c_str());
  ::unlink(LogIndexOf(file).c_str());
}

// Completes a file that was made to take the place of `other`.
void Finish(const path& other, const path& made) {
  PutMissingChecks(made);
  GiveToOwnerOf(other, made);
  FlushFile(made);
}

// Makes a new file of what there is of a key file, and of the beginning of its log. Returns whether
// it is whole, and then on disk.
bool MakeOfRest(const path& file, std::uintmax_t logSize, const Unfinished& made) {
  if (IsMissingOrEmpty(file)) {
    // SQLite removes the log of an empty file.
    const FileDescriptor opened = MakeNewFile(made.File());
    if (!opened || ::ftruncate(opened.Get(), kPageSize) != 0) {
      Fail(file, "cannot be made of its log", errno);
    }
  } else {
    CopyFile(file, made.File());
  }
  if (logSize > 0) {
    CopyBeginning(LogOf(file), logSize, LogOf(made.File()));
  }
  try {
    if (!DamageOf(made.File())) {
      Database(made.File()).Execute("PRAGMA wal_checkpoint(TRUNCATE)");
      if (!DamageOf(made.File()) && Database::IsSound(made.File())) {
        Finish(IsThere(file) ? file : LogOf(file), made.File());
        return true;
      }
    }
  } catch (const StoreError& failure) {
    if (!failure.IsDamage()) {
      throw;
    }
  }
  made.Remove();
  return false;
}

bool HasGoodCopy(const path& file) {
  const path copy = CopyOf(file);
  return !IsMissingOrEmpty(copy) && !DamageOf(copy);
}

// Puts a file in the place of a damaged one, for `reason`.
void Replace(const path& file, const std::string& reason, bool mayUseCopy) {
  const bool hadLog = IsThere(LogOf(file));
  const path copy = CopyOf(file);
  const bool isCopyGood = mayUseCopy && HasGoodCopy(file);
  const Unfinished made(file);
  // The copy may be newer than what is left of a log.
  const auto cut = hadLog ? CutOfLog(file, false) : std::nullopt;
  const bool isOfLog =
      hadLog && IsMissingOrEmpty(file) && !(cut && isCopyGood) &&
      MakeOfRest(file, cut ? cut->soundSize : std::filesystem::file_size(LogOf(file)), made);
  const bool isOfCopy = !isOfLog && isCopyGood;
  if (isOfCopy) {
    CopyFile(copy, made.File());
    Finish(copy, made.File());
  } else if (!isOfLog) {
    if (!MakeNewFile(made.File())) {
      Fail(file, "cannot be made anew", errno);
    }
    GiveToOwnerOf(IsThere(file) ? file : file.parent_path(), made.File());
  }
  const path aside = NameAside(file);
  path copyAside = aside;
  std::string line = "key file " + file.string() + " " + reason;
  if (IsThere(file)) {
    line += "; it is set aside as " + aside.string();
  } else if (hadLog) {
    line += "; its log is set aside as " + LogOf(aside).string();
  }
  if (isOfLog) {
    line += "; what its log holds takes its place";
    line += cut ? ", without the newest changes" : "";
  } else if (isOfCopy) {
    line += "; its copy " + copy.string() + " takes its place";
  } else {
    if (IsThere(copy)) {
      while (copyAside == aside) {
        copyAside = NameAside(file);
      }
      line += "; its copy is no better and set aside as " + copyAside.string();
    }
    line += "; an empty one takes its place";
  }
  Announce(line);
  if (copyAside != aside) {
    Rename(copy, copyAside);
  }
  SetAside(file, aside, made.File(), isOfLog);
}

// What follows the damage in a log cannot be read, but what precedes it is newer than the copy,
// unless the file has that already. SQLite takes it in any case and would overwrite the rest.
void SetLogAside(const path& file, const LogCut& cut) {
  const std::string line = "key file " + file.string() + ": its log is damaged";
  const path aside = NameAside(file);
  if (cut.isInFile) {
    Announce(line + "; it is set aside as " + LogOf(aside).string() +
             "; the file has all its changes");
    Rename(LogOf(file), LogOf(aside));
    ::unlink(LogIndexOf(file).c_str());
    RemoveOldest(file);
    return;
  }
  const Unfinished made(file);
  // A log that was partly folded in may leave no whole file, with its rest or without.
  if (!MakeOfRest(file, cut.isOlder ? 0 : cut.soundSize, made)) {
    Replace(file, kHasDamagedLog, true);
    return;
  }
  Announce(line + ", and the newest changes are lost; what was there is set aside as " +
           aside.string() + "; the changes before the damage stay");
  SetAside(file, aside, made.File(), true);
}

// Accepts a file in which a program that knows nothing of checks has written pages, if they fit.
void AdoptPages(const path& file) {
  if (Database::IsSound(file)) {
    PutMissingChecks(file);
  } else {
    Replace(file, "is damaged", true);
  }
}

// Nobody uses the index of a log now, and SQLite begins it anew. One that cannot be opened, such as
// a directory, would be in its way.
void RemoveBadIndex(const path& file) {
  const path index = LogIndexOf(file);
  if (!FileDescriptor(::open(index.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC)) && errno != ENOENT) {
    std::error_code ignored;
    std::filesystem::remove_all(index, ignored);
  }
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
  GiveToOwnerOf(file, raised.File());
  MoveInPlace(raised.File(), file);
}

// Where nothing can be moved or written, the good copy is read where it is.
std::unique_ptr<KeyFile> OpenReadOnly(const path& file, Durability durability, const path& changed,
                                      bool isSameBoot) {
  const std::string name = "key file " + file.string();
  const auto cut = CutOfLog(file, isSameBoot);
  auto damage = DamageOf(file);
  if (!damage && IsMissingOrEmpty(file)) {
    damage = AbsenceOf(file);
  }
  if (!damage && cut && (cut->isInFile || cut->isOlder)) {
    damage = kHasDamagedLog;  // which SQLite would read before the file
  }
  if (!damage) {
    try {
      auto opened = std::make_unique<KeyFile>(file, durability, changed);
      if (cut) {
        LogError("keystore", name +
                                 ": its log is damaged, and the newest changes are lost; its file"
                                 " system is read-only, so the log is left as it is");
      }
      return opened;
    } catch (const StoreError& error) {
      // A log that cannot be read is no damage for SQLite.
      if (!error.IsDamage() && !cut) {
        throw;
      }
      damage = std::string("cannot be used (") + error.what() + ")";
    }
  }
  const path copy = CopyOf(file);
  if (!HasGoodCopy(file)) {
    throw StoreError(EROFS, name + " " + *damage +
                                ", and there is no good copy of it; its file system is read-only:"
                                " make it writable, or choose another root");
  }
  auto opened = std::make_unique<KeyFile>(copy, durability, changed);
  LogError("keystore", name + " " + *damage + "; its file system is read-only, so its copy " +
                           copy.string() + " is read where it is");
  return opened;
}

}  // namespace

std::unique_ptr<KeyFile> OpenMended(const path& file, Durability durability, const path& changed,
                                    bool isSameBoot) {
  if (IsOnReadOnlyFileSystem(file)) {
    return OpenReadOnly(file, durability, changed, isSameBoot);
  }
  const auto open = [&] {
    RaiseVersion(file, durability, changed);
    return std::make_unique<KeyFile>(file, durability, changed);
  };
  const auto cut = CutOfLog(file, isSameBoot);
  bool hasUncheckedPages = false;
  const auto damage = DamageOf(file, [&](const path&) { return hasUncheckedPages = true; });
  if (damage) {
    Replace(file, cut && cut->isOlder ? kHasDamagedLog : *damage, true);
  } else if (cut) {
    SetLogAside(file, *cut);
  }
  RemoveBadIndex(file);
  if (!damage && hasUncheckedPages) {
    AdoptPages(file);
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
  // Before the log: an index left alone would say that this file has lost its own.
  ::unlink(LogIndexOf(file).c_str());
  std::error_code ignored;
  if (std::filesystem::file_size(LogOf(file), ignored) == 0) {
    ::unlink(LogOf(file).c_str());  // as a set that ended in order leaves it
    ForgetPair(file);
    return true;
  }
  const path aside = LogOf(NameAside(file));
  Announce("key file " + file.string() +
           " took the place of another one; the log of that one is set aside as " + aside.string());
  Rename(LogOf(file), aside);
  ForgetPair(file);
  RemoveOldest(file);
  return true;
}

}  // namespace host
