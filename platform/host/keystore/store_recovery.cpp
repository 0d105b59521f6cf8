#include "keystore/store_recovery.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <span>
#include <system_error>

#include "keystore/page_check.h"
#include "keystore/sqlite.h"
#include "keystore/store_copy.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"
#include "system/error_log.h"
#include "system/file_descriptor.h"

namespace host {
namespace {

using std::filesystem::path;

constexpr std::size_t kMostSetAside = 5;

std::string Text(int error) { return std::generic_category().message(error); }

[[noreturn]] void Fail(const path& file, const std::string& what, int error) {
  throw StoreError(error, "key file " + file.string() + ": " + what + ": " + Text(error));
}

// As many of the bytes as exist.
std::size_t ReadAt(int fd, std::span<unsigned char> bytes, off_t offset) {
  std::size_t got = 0;
  while (got < bytes.size()) {
    const ssize_t more = ::pread(fd, bytes.data() + got, bytes.size() - got, offset + got);
    if (more < 0 && errno == EINTR) {
      continue;
    }
    if (more <= 0) {
      break;
    }
    got += more;
  }
  return got;
}

// Not open, with errno, when the file is missing or cannot be opened for a reason of its own.
// Throws for other reasons: a device that fails for everything says nothing about the file.
FileDescriptor OpenToRead(const path& file) {
  const auto open = [](const path& name) {
    return FileDescriptor(::open(name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  };
  FileDescriptor opened = open(file);
  if (opened || errno == ENOENT) {
    return opened;
  }
  if (FileDescriptor again = open(file)) {
    return again;
  }
  const int error = errno;
  const bool isOfSystem = error == EMFILE || error == ENFILE || error == ENOMEM || error == EINTR;
  if (isOfSystem || !open(file.parent_path())) {
    Fail(file, "cannot be opened", error);
  }
  errno = error;
  return opened;
}

// A log as SQLite reads it: transactions up to the first frame that is damaged.
struct Log {
  std::set<std::uint32_t> pages;        // written by whole transactions
  std::uint32_t pageCount = 0;          // of the file after the last of them; 0 without one
  std::uint32_t frames = 0;             // of whole transactions
  int endsBehind = 0;                   // how many ends of transactions follow the first damage
  std::array<unsigned char, 8> salt{};  // identifies this run of the log
};

Log ReadLog(const path& file) {
  Log log;
  const FileDescriptor opened = OpenToRead(LogOf(file));
  std::array<unsigned char, kLogHeaderSize> header{};
  if (!opened || ReadAt(opened.Get(), header, 0) < header.size()) {
    return log;
  }
  std::copy_n(header.begin() + 16, 8, log.salt.begin());
  bool isSound = IsLogHeaderSound(header.data());
  std::array<unsigned char, 8> before;
  std::copy_n(header.begin() + 24, 8, before.begin());
  std::array<unsigned char, kFrameSize> frame;
  std::set<std::uint32_t> pages;
  for (off_t at = kLogHeaderSize; ReadAt(opened.Get(), frame, at) == frame.size();
       at += kFrameSize) {
    if (!isSound && at == kLogHeaderSize) {
      std::copy_n(frame.begin() + 8, 8, log.salt.begin());
    }
    if (!std::equal(log.salt.begin(), log.salt.end(), frame.begin() + 8)) {
      isSound = false;
      continue;
    }
    isSound = isSound && IsFrameSound(frame.data(), frame.data() + kFrameHeaderSize, before.data());
    const std::uint32_t pageCount = ReadBigEndian(frame.data() + 4);
    if (!isSound) {
      log.endsBehind += pageCount != 0 ? 1 : 0;
      continue;
    }
    std::copy_n(frame.begin() + 16, 8, before.begin());
    pages.insert(ReadBigEndian(frame.data()));
    if (pageCount != 0) {
      log.pages.merge(pages);
      pages.clear();
      log.pageCount = pageCount;
      log.frames = static_cast<std::uint32_t>((at - kLogHeaderSize) / kFrameSize) + 1;
    }
  }
  return log;
}

// What SQLite shares about a log between processes, as stored: how many frames were committed in
// which run of the log, and how many of them are already in the file.
struct LogIndex {
  std::uint32_t frames;
  std::uint32_t foldedIn;
  std::array<unsigned char, 8> salt;
};

std::optional<LogIndex> ReadLogIndex(const path& file) {
  constexpr std::size_t kHeaderSize = 48;
  std::array<unsigned char, 2 * kHeaderSize + 4> bytes;
  const FileDescriptor opened = OpenToRead(LogIndexOf(file));
  constexpr std::size_t kIsInitialised = 12;
  if (!opened || ReadAt(opened.Get(), bytes, 0) < bytes.size() || bytes[kIsInitialised] != 1 ||
      !std::equal(bytes.begin(), bytes.begin() + kHeaderSize, bytes.begin() + kHeaderSize)) {
    return std::nullopt;
  }
  LogIndex index{};
  std::memcpy(&index.frames, bytes.data() + 16, sizeof(index.frames));
  std::copy_n(bytes.begin() + 32, 8, index.salt.begin());
  std::memcpy(&index.foldedIn, bytes.data() + 2 * kHeaderSize, sizeof(index.foldedIn));
  return index;
}

// Judges the first page of a file of `count` pages.
std::optional<std::string> DamageOfFirst(const unsigned char* page, std::uint32_t count) {
  constexpr char kMagic[] = "SQLite format 3";
  if (std::memcmp(page, kMagic, sizeof(kMagic)) != 0) {
    return "is not a database";
  }
  const std::uint32_t id = ReadBigEndian(page + 68);
  if (id != kKeyFileId && !(id == 0 && count <= 1)) {
    return "is not a key file";
  }
  return ReadBigEndian(page + 60) > kKeyFileVersion
             ? std::optional<std::string>("was made by another version of this program")
             : std::nullopt;
}

// Accepts a file in which a program that knows nothing of checks has written pages, if they fit.
std::optional<std::string> AdoptPages(const path& file) {
  if (!Database::IsSound(file)) {
    return "is damaged";
  }
  PutMissingChecks(file);
  return std::nullopt;
}

std::optional<std::string> DamageOfPages(const path& file, int fd, off_t size) {
  const Log log = ReadLog(file);
  std::array<unsigned char, kPageSize> page{};
  const std::size_t got = ReadAt(fd, page, 0);
  const auto inFile = static_cast<std::uint32_t>(size / kPageSize);
  const bool isFirstInLog = log.pages.count(1) != 0;
  if (!isFirstInLog && got < page.size()) {
    return "is cut short";
  }
  const auto damage = DamageOfFirst(page.data(), inFile);
  if (damage && !isFirstInLog) {
    return damage;
  }
  if (!damage && !HasChecks(page.data())) {
    return std::nullopt;  // of an older version, without checks
  }
  // The log says how many pages there are; without one, the file itself does.
  const std::uint32_t count = log.pageCount != 0 ? log.pageCount : ReadBigEndian(page.data() + 28);
  bool areAllChecked = true;
  for (std::uint32_t number = 1; number <= std::min(count, inFile); ++number) {
    if (log.pages.count(number) != 0) {
      continue;
    }
    if (ReadAt(fd, page, static_cast<off_t>(number - 1) * kPageSize) < page.size()) {
      return "cannot be read: " + Text(EIO);
    }
    switch (StateOf(page.data(), number)) {
      case PageState::kSound:
        break;
      case PageState::kUnchecked:
        areAllChecked = false;
        break;
      case PageState::kDamaged:
        return "is damaged in page " + std::to_string(number);
    }
  }
  for (std::uint32_t number = inFile + 1; number <= count; ++number) {
    if (log.pages.count(number) == 0) {
      return "is cut short";
    }
  }
  return areAllChecked ? std::nullopt : AdoptPages(file);
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
  for (const path& old : {made, LogOf(made), LogIndexOf(made)}) {
    std::filesystem::remove(old, error);
  }
  std::filesystem::copy_file(log, LogOf(made), error);
  if (!error) {
    // SQLite removes the log of an empty file.
    std::ofstream(made).close();
    std::filesystem::resize_file(made, kPageSize, error);
  }
  if (error) {
    Fail(file, "cannot be made of its log", error.value());
  }
  bool isMade = false;
  try {
    if (!DamageOf(made)) {
      Database(made).Execute("PRAGMA wal_checkpoint(TRUNCATE)");
      isMade = !DamageOf(made);
    }
  } catch (const StoreError& failure) {
    if (failure.Error() != EUCLEAN) {
      throw;
    }
  }
  if (isMade) {
    GiveToOwnerOf(log, made);
  } else {
    std::filesystem::remove(made, error);
  }
  std::filesystem::remove(LogOf(made), error);
  std::filesystem::remove(LogIndexOf(made), error);
  return isMade;
}

// Puts a file in the place of a damaged one, for `reason`.
void Replace(const path& file, const std::string& reason, bool mayUseCopy) {
  const bool wasThere = IsThere(file);
  const bool hadLog = IsThere(LogOf(file));
  const path made = file.string() + ".new";
  // The copy may be newer than what is left of a log.
  const bool isLogCut = hadLog && IsLogCut(file, false);
  const bool isMade = hadLog && IsMissingOrEmpty(file) && !(isLogCut && IsThere(CopyOf(file))) &&
                      MakeFromLog(file, made);
  std::string line = "key file " + file.string() + " " + reason;
  const path aside = SetAside(file);
  if (wasThere) {
    line += "; it is set aside as " + aside.string();
  } else if (hadLog) {
    line += "; its log is set aside as " + LogOf(aside).string();
  }
  if (isMade) {
    MoveInPlace(made, file);
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
  std::array<unsigned char, 100> header{};
  if (const FileDescriptor opened = OpenToRead(file);
      !opened || ReadAt(opened.Get(), header, 0) < header.size() || HasChecks(header.data())) {
    return;
  }
  KeyFile(file, durability, changed);  // from version 1 to 2
  const path raised = file.string() + ".new";
  std::error_code ignored;
  std::filesystem::remove(raised, ignored);
  {
    Database old(file);
    old.Execute("PRAGMA journal_mode = DELETE");
    old.ReservePageEnds();
    WriteCopy(old, raised);
  }
  Database(raised).Execute("PRAGMA user_version = " + std::to_string(kKeyFileVersion));
  MoveInPlace(raised, file);
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

bool IsOpenSomewhere(const path& file) {
  const FileDescriptor opened(::open(file.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
  // Where SQLite holds a lock for as long as it has a file open.
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0x40000002;
  lock.l_len = 510;
  return opened && ::fcntl(opened.Get(), F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

std::optional<std::string> DamageOf(const path& file) {
  const bool wasMade = HasCopyOrLog(file);
  const FileDescriptor opened = OpenToRead(file);
  if (!opened && errno == ENOENT) {
    return wasMade ? std::optional(AbsenceOf(file)) : std::nullopt;
  }
  if (!opened) {
    return "cannot be read: " + Text(errno);
  }
  struct stat status {};
  if (::fstat(opened.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return "is not a file";
  }
  if (status.st_size == 0) {
    return wasMade ? std::optional(AbsenceOf(file)) : std::nullopt;
  }
  return DamageOfPages(file, opened.Get(), status.st_size);
}

bool IsLogCut(const path& file, bool isSameBoot) {
  const Log log = ReadLog(file);
  const auto index = ReadLogIndex(file);
  if (index && index->frames > index->foldedIn) {
    if (index->salt != log.salt) {
      // Another run of the log, or none. The previous run was folded in before a new one began.
      return isSameBoot;
    }
    if (log.frames < index->frames) {
      return true;
    }
  }
  // A transaction is on disk before the next one begins: when the ends of two are there, the first
  // was on disk. With only one, perhaps nobody was told yet that it was committed.
  return log.endsBehind >= 2 && !(isSameBoot && index && index->salt == log.salt);
}

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
      if (error.Error() != EUCLEAN) {
        throw;
      }
      Replace(file, std::string("cannot be used (") + error.what() + ")", mayUseCopy);
    }
  }
  return open();
}

}  // namespace host
