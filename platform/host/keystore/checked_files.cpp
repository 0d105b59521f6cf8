// SQLite's pager reads and writes through a table of functions that comes with every file it opens.
// In the table of our files two functions are our own; the rest are the system's, called directly,
// so that nothing else becomes slower.
//
// In the log the ends of pages stay zero: SQLite computes a frame's checksum before it writes the
// frame. A frame needs no check of ours either: it has SQLite's, which SQLite itself compares only
// when it recovers.

#include "keystore/checked_files.h"

#include <sqlite3.h>

#include <array>
#include <cstring>
#include <memory>
#include <new>

#include "keystore/page_check.h"
#include "system/host.h"

namespace host {

// Never unregistered: files may be open until the process ends.
struct CheckedFileSystem {
  sqlite3_vfs vfs;
  int systemFileSize;  // of the system's part of a file
};

namespace {

constexpr char kName[] = "keystore";

// Follows the system's part of a file.
struct Checked {
  const sqlite3_io_methods* system;
  sqlite3_io_methods own;
  bool isLog;
  bool hasChecks;
  // Frames of the log that were found sound, each in its slot, with the mark of its page from the
  // second time on: after another process's write a connection reads the same pages again.
  struct Sound {
    std::uint32_t frame;
    std::uint64_t mark;
  };
  std::array<Sound, 64> sound;
};

Checked& CheckedOf(sqlite3_file* file) {
  return *std::launder(reinterpret_cast<Checked*>(reinterpret_cast<char*>(file) +
                                                  g_Host.checkedFiles.Get().systemFileSize));
}

bool IsPage(int size, sqlite3_int64 offset) {
  return size == static_cast<int>(kPageSize) && offset % kPageSize == 0;
}

std::uint32_t PageAt(sqlite3_int64 offset) {
  return static_cast<std::uint32_t>(offset / kPageSize) + 1;
}

bool IsFramesPage(int size, sqlite3_int64 offset) {
  constexpr sqlite3_int64 kFirst = kLogHeaderSize + kFrameHeaderSize;
  return size == static_cast<int>(kPageSize) && offset >= kFirst &&
         (offset - kFirst) % kFrameSize == 0;
}

// Compares a page that was read from the log with the check of its frame. Whoever reads a frame
// keeps the log from being restarted, so the frame before it is there, too.
int CheckFrame(Checked& checked, sqlite3_file* file, const unsigned char* page,
               sqlite3_int64 offset) {
  const auto frame = static_cast<std::uint32_t>(offset / kFrameSize);
  Checked::Sound& sound = checked.sound[frame % checked.sound.size()];
  const std::uint64_t mark = frame == sound.frame ? MarkOf(page, frame) : 0;
  if (mark != 0 && mark == sound.mark) {
    return SQLITE_OK;
  }
  // From the check before the frame to its page, in one call: that costs less than two.
  constexpr std::size_t kSum = 8;
  std::array<unsigned char, kSum + kPageSize + kFrameHeaderSize> bytes;
  const bool isFirst = offset == kLogHeaderSize + kFrameHeaderSize;
  const std::size_t size = isFirst ? kSum + kFrameHeaderSize : bytes.size();
  const int code = checked.system->xRead(file, bytes.data(), static_cast<int>(size),
                                         offset - static_cast<sqlite3_int64>(size));
  if (code != SQLITE_OK) {
    return code;
  }
  if (!IsFrameSound(bytes.data() + size - kFrameHeaderSize, page, bytes.data())) {
    return SQLITE_IOERR_DATA;
  }
  sound = {.frame = frame, .mark = mark};
  return SQLITE_OK;
}

int Read(sqlite3_file* file, void* buffer, int size, sqlite3_int64 offset) {
  Checked& checked = CheckedOf(file);
  const int code = checked.system->xRead(file, buffer, size, offset);
  if (code == SQLITE_IOERR_SHORT_READ && !checked.isLog && IsPage(size, offset)) {
    return SQLITE_IOERR_DATA;  // SQLite would go on with zeros
  }
  if (code != SQLITE_OK) {
    return code;
  }
  auto* bytes = static_cast<unsigned char*>(buffer);
  if (checked.isLog) {
    return IsFramesPage(size, offset) ? CheckFrame(checked, file, bytes, offset) : SQLITE_OK;
  }
  if (offset == 0 && size >= int{kFileHeaderSize}) {
    checked.hasChecks = HasChecks(bytes);
  }
  if (checked.hasChecks && IsPage(size, offset)) {
    if (StateOf(bytes, PageAt(offset)) == PageState::kDamaged) {
      return SQLITE_IOERR_DATA;
    }
    std::memset(bytes + kPageSize - kCheckSize, 0, kCheckSize);
  }
  return SQLITE_OK;
}

int Write(sqlite3_file* file, const void* buffer, int size, sqlite3_int64 offset) {
  Checked& checked = CheckedOf(file);
  const auto* bytes = static_cast<const unsigned char*>(buffer);
  if (!checked.isLog && offset == 0 && size >= int{kFileHeaderSize}) {
    checked.hasChecks = HasChecks(bytes);
  }
  if (checked.isLog || !checked.hasChecks || !IsPage(size, offset)) {
    return checked.system->xWrite(file, buffer, size, offset);
  }
  std::array<unsigned char, kPageSize> page;
  std::memcpy(page.data(), bytes, kPageSize);
  PutCheck(page.data(), PageAt(offset));
  return checked.system->xWrite(file, page.data(), size, offset);
}

int Open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* openedFlags) {
  auto* const system = static_cast<sqlite3_vfs*>(vfs->pAppData);
  const int code = system->xOpen(system, name, file, flags, openedFlags);
  if (code != SQLITE_OK || (flags & (SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_WAL)) == 0) {
    return code;
  }
  auto* const checked =
      new (reinterpret_cast<char*>(file) + g_Host.checkedFiles.Get().systemFileSize)
          Checked{.system = file->pMethods,
                  .own = *file->pMethods,
                  .isLog = (flags & SQLITE_OPEN_WAL) != 0,
                  .hasChecks = false,
                  .sound = {}};
  checked->own.iVersion = 2;  // without mapped pages, which nobody would compare
  checked->own.xRead = Read;
  checked->own.xWrite = Write;
  file->pMethods = &checked->own;
  return SQLITE_OK;
}

CheckedFileSystem* MakeCheckedFileSystem() {
  sqlite3_vfs* const system = sqlite3_vfs_find(nullptr);
  constexpr int kAlignment = alignof(Checked);
  auto made = std::make_unique<CheckedFileSystem>();
  made->systemFileSize = (system->szOsFile + kAlignment - 1) / kAlignment * kAlignment;
  made->vfs = *system;
  made->vfs.zName = kName;
  made->vfs.pNext = nullptr;
  made->vfs.pAppData = system;
  made->vfs.szOsFile = made->systemFileSize + static_cast<int>(sizeof(Checked));
  made->vfs.xOpen = Open;
  if (sqlite3_vfs_register(&made->vfs, 0) != SQLITE_OK) {
    throw std::bad_alloc();
  }
  return made.release();
}

}  // namespace

const char* CheckedFiles() { return g_Host.checkedFiles.Get(MakeCheckedFileSystem).vfs.zName; }

}  // namespace host
