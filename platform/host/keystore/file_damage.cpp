// SQLite ends a log at its first damage without a word, and looks at a page when it needs it. So
// here both are read as they lie on the disk.

#include "keystore/file_damage.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <set>
#include <span>
#include <system_error>

#include "keystore/page_check.h"
#include "keystore/sqlite.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"
#include "system/file_descriptor.h"

namespace host {
namespace {

using std::filesystem::path;

std::string Text(int error) { return std::generic_category().message(error); }

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
    throw StoreError(error, "key file " + file.string() + ": cannot be opened: " + Text(error));
  }
  errno = error;
  return opened;
}

// A log as SQLite reads it: transactions up to the first frame that is damaged.
struct Log {
  std::set<std::uint32_t> pages;        // written by whole transactions
  std::uint32_t pageCount = 0;          // of the file after the last of them; 0 without one
  std::uint32_t frames = 0;             // of whole transactions
  std::uint32_t length = 0;             // in frames, damaged or not
  bool isReadable = true;               // to its end
  int endsBehind = 0;                   // how many ends of transactions follow the first damage
  std::array<unsigned char, 8> salt{};  // identifies this run of the log
};

Log ReadLog(const path& file) {
  Log log;
  if (HasForeignLog(file)) {
    return log;
  }
  const FileDescriptor opened = OpenToRead(LogOf(file));
  if (!opened) {
    log.isReadable = errno == ENOENT && !IsThere(LogOf(file));
    return log;
  }
  struct stat status {};
  log.isReadable = ::fstat(opened.Get(), &status) == 0 && S_ISREG(status.st_mode);
  std::array<unsigned char, kLogHeaderSize> header{};
  std::size_t got = ReadAt(opened.Get(), header, 0);
  if (got < header.size()) {
    log.isReadable = log.isReadable && static_cast<off_t>(got) == status.st_size;
    return log;
  }
  std::copy_n(header.begin() + 16, 8, log.salt.begin());
  const bool hasHeader = IsLogHeaderSound(header.data());
  bool isSound = hasHeader;
  std::array<unsigned char, 8> before;
  std::copy_n(header.begin() + 24, 8, before.begin());
  std::array<unsigned char, kFrameSize> frame;
  std::set<std::uint32_t> pages;
  off_t at = kLogHeaderSize;
  for (; (got = ReadAt(opened.Get(), frame, at)) == frame.size(); at += kFrameSize) {
    if (!hasHeader && at == kLogHeaderSize) {
      std::copy_n(frame.begin() + 8, 8, log.salt.begin());
    }
    // Only the header says which frames are left from an earlier run.
    if (hasHeader && !std::equal(log.salt.begin(), log.salt.end(), frame.begin() + 8)) {
      isSound = false;
      continue;
    }
    log.length = static_cast<std::uint32_t>((at - kLogHeaderSize) / kFrameSize) + 1;
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
      log.frames = log.length;
    }
  }
  log.isReadable = log.isReadable && at + static_cast<off_t>(got) >= status.st_size;
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
      !std::equal(bytes.begin(), bytes.begin() + kHeaderSize, bytes.begin() + kHeaderSize) ||
      HasForeignLog(file)) {
    return std::nullopt;
  }
  LogIndex index{};
  std::memcpy(&index.frames, bytes.data() + 16, sizeof(index.frames));
  std::copy_n(bytes.begin() + 32, 8, index.salt.begin());
  std::memcpy(&index.foldedIn, bytes.data() + 2 * kHeaderSize, sizeof(index.foldedIn));
  return index;
}

// Whether a log has lost frames that are in the file already. SQLite would overwrite newer pages
// with what is left.
bool IsOlder(const Log& log, const std::optional<LogIndex>& index) {
  return index && index->salt == log.salt && log.frames < index->foldedIn &&
         index->foldedIn <= index->frames;
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

std::optional<std::string> DamageOfPages(const path& file, int fd, off_t size, const Judge& judge) {
  Log log = ReadLog(file);
  if (IsOlder(log, ReadLogIndex(file))) {
    log = {};
  }
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
  // The log says how many pages there are; without one, the first page does, if it is sound itself.
  const std::uint32_t count =
      log.pageCount != 0 ? log.pageCount : std::max(ReadBigEndian(page.data() + 28), 1U);
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
  return areAllChecked || judge(file) ? std::nullopt : std::optional<std::string>("is damaged");
}

}  // namespace

std::optional<std::string> DamageOf(const path& file) {
  return DamageOf(file, [](const path& judged) { return Database::IsSound(judged); });
}

std::optional<std::string> DamageOf(const path& file, const Judge& judge) {
  const auto absence = [&] {
    const bool wasMade = HasCopyOrLog(file) || !SetAsideFiles(file).empty();
    return wasMade ? std::optional(AbsenceOf(file)) : std::nullopt;
  };
  const FileDescriptor opened = OpenToRead(file);
  if (!opened && errno == ENOENT) {
    return absence();
  }
  if (!opened) {
    return "cannot be read: " + Text(errno);
  }
  struct stat status {};
  if (::fstat(opened.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return "is not a file";
  }
  if (status.st_size == 0) {
    return absence();
  }
  return DamageOfPages(file, opened.Get(), status.st_size, judge);
}

std::optional<LogCut> CutOfLog(const path& file, bool isSameBoot) {
  const Log log = ReadLog(file);
  const auto index = ReadLogIndex(file);
  const bool isOfIndex = index && index->salt == log.salt;
  // Another run of the log, or none: the previous run was folded in before a new one began.
  const bool isShort = isOfIndex ? log.frames < index->frames
                                 : isSameBoot && index && index->frames > index->foldedIn;
  // A transaction is on disk before the next one begins: when the ends of two are there, the first
  // was on disk. With only one, perhaps nobody was told yet that it was committed.
  if (!isShort && log.isReadable && (log.endsBehind < 2 || (isSameBoot && isOfIndex))) {
    return std::nullopt;
  }
  // After a restart of the machine what is on disk about the log may be older than the log.
  const bool isLatest = isSameBoot || (isOfIndex && log.length == index->frames);
  return LogCut{.isInFile = isLatest && index && index->foldedIn == index->frames,
                .isOlder = IsOlder(log, index),
                .soundSize = log.frames == 0 ? 0 : kLogHeaderSize + log.frames * kFrameSize};
}

bool IsLogWhole(const path& file) {
  const Log log = ReadLog(file);
  return log.isReadable && log.endsBehind == 0;
}

bool IsOfOlderVersion(const path& file) {
  std::array<unsigned char, kFileHeaderSize> header{};
  const FileDescriptor opened = OpenToRead(file);
  return opened && ReadAt(opened.Get(), header, 0) == header.size() && !HasChecks(header.data());
}

}  // namespace host
