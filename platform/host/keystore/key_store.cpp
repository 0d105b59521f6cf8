// How a change finds its way to every watcher, once and in order.
//
// A write puts the new value and a journal entry into its file in one transaction: what is visible
// is in the journal, and what is in the journal survives whoever wrote it. A watcher remembers how
// far it has read each journal, so it can sleep, or be slow, without missing anything.
//
// It is woken by a file that every writer has open while it writes. The kernel reports the close,
// and it also closes the file of a process that was killed right after its commit. That is why
// nobody polls, and why no announcement depends on a writer that lives long enough to make it.
//
// The two files have separate locks, so the order between them comes from the clock: an entry
// carries the time when its writer held the lock, and a watcher delivers only what is older than
// the moment before it began to read. If one write returned before another began, then a watcher
// that can deliver the second has also seen the first.
//
// Journals are cut from time to time by a writer, up to the slowest living watcher.

#include "keystore/key_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "keystore/damage_log.h"
#include "keystore/key_file.h"
#include "keystore/sqlite.h"
#include "keystore/store_files.h"
#include "keystore/store_recovery.h"
#include "keystore/wake_up.h"
#include "keystore/watcher_position.h"
#include "system/error_log.h"
#include "system/file_lock.h"

namespace host {
namespace {

constexpr std::string_view kDurablePrefix = "db/";
constexpr std::string_view kMemoryPrefix = "memory/";
constexpr std::size_t kMaxKeySize = 255;

// The key files' indices.
constexpr std::size_t kDurable = 0;
constexpr std::size_t kMemory = 1;
static_assert(kKeyFileCount == 2);

// How many times a writer cuts a journal that exceeds its limits.
constexpr int kMostCuts = 16;

constexpr auto kNow = std::chrono::nanoseconds(1);
constexpr auto kAfterFailure = std::chrono::seconds(1);

[[noreturn]] void FailToCreate(const std::filesystem::path& path) {
  throw std::runtime_error("cannot create " + path.string() + ": " +
                           std::generic_category().message(errno) +
                           "; start as another user or choose another root");
}

// Makes a directory and those above it, each on disk before something is put into it.
void MakeDirectory(const std::filesystem::path& directory) {
  std::error_code ignored;
  if (directory.empty() || std::filesystem::is_directory(directory, ignored)) {
    return;
  }
  const std::filesystem::path parent = directory.parent_path();
  MakeDirectory(parent);
  if (::mkdir(directory.c_str(), 0755) != 0 && errno != EEXIST) {
    FailToCreate(directory);
  }
  if (const FileDescriptor opened(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
      opened) {
    ::fsync(opened.Get());
  }
}

void MakeFile(const std::filesystem::path& file) {
  if (!FileDescriptor(::open(file.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0644))) {
    FailToCreate(file);
  }
}

bool IsControl(unsigned char c) { return c < 0x20 || c == 0x7f; }

}  // namespace

bool IsValidKey(std::string_view key) {
  if (!key.starts_with(kDurablePrefix) && !key.starts_with(kMemoryPrefix)) {
    return false;
  }
  return key.size() <= kMaxKeySize && key.back() != '/' &&
         key.find("//") == std::string_view::npos &&
         std::none_of(key.begin(), key.end(), IsControl);
}

bool IsStoreMade(const std::filesystem::path& stateDir, const std::filesystem::path& runDir) {
  const auto isThere = [](const std::filesystem::path& directory) {
    std::error_code error;
    const std::filesystem::path file = directory / kKeyFileName;
    const std::filesystem::file_status status = std::filesystem::status(file, error);
    return error == std::errc::permission_denied || HasCopyOrLog(file) ||
           (std::filesystem::exists(status) && (!std::filesystem::is_regular_file(status) ||
                                                std::filesystem::file_size(file, error) > 0));
  };
  return isThere(stateDir) && isThere(runDir);
}

struct KeyStore::Impl {
  Impl(const std::filesystem::path& stateDir, const std::filesystem::path& runDir)
      : watchers(runDir / "watchers"), changed(runDir / kChangedName) {
    MakeDirectory(stateDir);
    MakeDirectory(watchers);
    OpenPositions(watchers);
    MakeFile(changed);
    // One process at a time: SQLite fails instead of waiting when two switch the same new file to
    // write-ahead logging.
    const FileDescriptor lock = OpenLocked(runDir, O_RDONLY | O_DIRECTORY);
    std::error_code ignored;
    const bool isSameBoot = std::filesystem::exists(runDir / kKeyFileName, ignored);
    const bool isAlone = TakeUse(runDir / kUsersName);
    const auto open = [&](const std::filesystem::path& file, Durability durability) {
      // Whoever still has a deleted or replaced file open does not have this one, and nothing is
      // left of one that was emptied. One that nobody can write need not be shared.
      const bool isOurs = SetForeignLogAside(file) || (isAlone && !IsOpenSomewhere(file)) ||
                          IsMissingOrEmpty(file) || IsOnReadOnlyFileSystem(file);
      auto opened = isOurs ? OpenMended(file, durability, changed, isSameBoot)
                           : std::make_unique<KeyFile>(file, durability, changed);
      NotePair(file);
      return opened;
    };
    files[kDurable] = open(stateDir / kKeyFileName, Durability::kDisk);
    files[kMemory] = open(runDir / kKeyFileName, Durability::kProcess);
    ::flock(use.Get(), LOCK_SH);
  }

  // Holds a lock while the store is open, by which others see that it is. Returns whether nobody
  // else holds one.
  bool TakeUse(const std::filesystem::path& file) {
    use = FileDescriptor(::open(file.c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0644));
    if (!use) {
      FailToCreate(file);
    }
    return ::flock(use.Get(), LOCK_EX | LOCK_NB) == 0;
  }

  // Index in `files` of where a valid key lives.
  static std::size_t IndexOf(std::string_view key) {
    return key.starts_with(kDurablePrefix) ? kDurable : kMemory;
  }

  KeyFile& FileOf(std::string_view key) { return *files[IndexOf(key)]; }

  bool Write(std::string_view key, const std::optional<KeyValue>& value) {
    if (!IsValidKey(key)) {
      return false;
    }
    const auto written = FileOf(key).Write(key, value);
    if (written && written->isPruneDue) {
      Prune(IndexOf(key), written->number);
    }
    return written.has_value();
  }

  // `newest` is already visible, so a watcher that starts after the directory was read starts after
  // it.
  void Prune(std::size_t index, std::int64_t newest) {
    // The change itself is made, and after a failure a later one tries again.
    GuardedFromDamage("keystore", "cannot cut the journal", [&] {
      // If the directory was removed, watchers take their places in the new one.
      MakeDirectory(watchers);
      const auto slowest = SlowestPosition(watchers);
      const std::int64_t taken = slowest ? std::min((*slowest)[index], newest) : newest;
      // Long texts may be too much until the many small changes in front of them are gone.
      for (int cuts = 0; cuts < kMostCuts && files[index]->Prune(taken); ++cuts) {
      }
    });
  }

  // All watchers of the process notice, and one says so.
  void TellReplaced() {
    struct stat status;
    if (::stat(changed.c_str(), &status) != 0) {
      return;
    }
    const std::int64_t made = status.st_ctim.tv_sec * 1'000'000'000 + status.st_ctim.tv_nsec;
    if (replacementTold.exchange(made) != made) {
      LogError("keystore", changed.string() + " was removed or replaced; it is watched anew");
    }
  }

  const std::filesystem::path watchers;
  const std::filesystem::path changed;
  std::atomic<std::int64_t> replacementTold = 0;  // when the newest known one was made
  FileDescriptor use;
  std::array<std::unique_ptr<KeyFile>, kKeyFileCount> files;
};

KeyStore::KeyStore(const std::filesystem::path& stateDir, const std::filesystem::path& runDir)
    : m_Impl(std::make_shared<Impl>(stateDir, runDir)) {}

KeyStore::~KeyStore() = default;

std::optional<KeyValue> KeyStore::Get(std::string_view key) {
  return IsValidKey(key) ? m_Impl->FileOf(key).Get(key) : std::nullopt;
}

bool KeyStore::Set(std::string_view key, const KeyValue& value) {
  return m_Impl->Write(key, value);
}

bool KeyStore::Unset(std::string_view key) { return m_Impl->Write(key, std::nullopt); }

std::vector<std::pair<std::string, KeyValue>> KeyStore::List(std::string_view prefix) {
  std::vector<std::pair<std::string, KeyValue>> keys;
  for (const auto& file : m_Impl->files) {
    auto found = file->List(prefix);
    std::move(found.begin(), found.end(), std::back_inserter(keys));
  }
  return keys;
}

std::int64_t KeyStore::NewestChange(std::string_view key) {
  if (!IsValidKey(key)) {
    throw std::invalid_argument("key \"" + std::string(key) +
                                "\" does not begin with db/ or memory/");
  }
  return m_Impl->FileOf(key).NewestChange();
}

struct KeyWatcher::Impl {
  explicit Impl(std::shared_ptr<KeyStore::Impl> opened)
      : store(std::move(opened)), wakeUp(store->changed) {
    TakePlace({});
    for (std::size_t i = 0; i < kKeyFileCount; ++i) {
      wakeUp.Keep(store->files[i]->Name());
      position->Set(i, store->files[i]->NewestChange());
    }
    // For its removals: programs that watch and get killed would fill the directory otherwise.
    SlowestPosition(store->watchers);
  }

  // Takes a new place among the watchers, at the given position.
  void TakePlace(const std::array<std::int64_t, kKeyFileCount>& numbers) {
    auto place = std::make_unique<WatcherPosition>(store->watchers);
    for (std::size_t i = 0; i < kKeyFileCount; ++i) {
      place->Set(i, numbers[i]);
    }
    wakeUp.Keep(place->File());
    position = std::move(place);
  }

  std::vector<KeyChange> TakeChanges() {
    // Before the journals are read: whatever this read does not show will wake it again.
    areNamesDoubtful = wakeUp.Clear() || areNamesDoubtful;
    isBehind = false;
    missed = 0;
    try {
      if (areNamesDoubtful) {
        CheckNames();
      }
      return ReadJournals();
    } catch (...) {
      isBehind = false;
      wakeUp.Again(kAfterFailure);
      throw;
    }
  }

  // Finds again what was removed and can be recreated, and reports the rest, once each.
  void CheckNames() {
    try {
      if (wakeUp.FindAgain()) {
        store->TellReplaced();
      }
      if (!position->IsInPlace()) {
        MakeDirectory(store->watchers);
        TakePlace({position->Get(kDurable), position->Get(kMemory)});
      }
      areNamesDoubtful = false;
      isLossTold = false;
    } catch (const std::exception& error) {
      if (!std::exchange(isLossTold, true)) {
        LogError("keystore", std::string("cannot watch the key store any more: ") + error.what());
      }
      wakeUp.Again(kAfterFailure);
    }
    for (const auto& file : store->files) {
      file->LogLoss();
    }
  }

  std::vector<KeyChange> ReadJournals() {
    // Entries from here on wait for the next time: this read may have missed older ones in the
    // other file.
    std::int64_t horizon = MonotonicNow();
    std::array<std::vector<JournalEntry>, kKeyFileCount> journals;
    for (std::size_t i = 0; i < kKeyFileCount; ++i) {
      JournalPart part = store->files[i]->ChangesAfter(position->Get(i));
      if (part.isCut) {
        horizon = std::min(horizon, part.entries.back().at + 1);
        wakeUp.Again(kNow);
        isBehind = true;
      }
      journals[i] = std::move(part.entries);
    }

    std::vector<JournalEntry> due;
    for (std::size_t i = 0; i < kKeyFileCount; ++i) {
      auto& journal = journals[i];
      journal.erase(
          std::partition_point(journal.begin(), journal.end(),
                               [horizon](const JournalEntry& entry) { return entry.at < horizon; }),
          journal.end());
      if (!journal.empty()) {
        Advance(i, journal.front().change.number, journal.back().change.number);
      }
      const auto middle = due.insert(due.end(), std::make_move_iterator(journal.begin()),
                                     std::make_move_iterator(journal.end()));
      std::inplace_merge(due.begin(), middle, due.end(),
                         [](const JournalEntry& a, const JournalEntry& b) { return a.at < b.at; });
    }

    std::vector<KeyChange> changes;
    changes.reserve(due.size());
    for (JournalEntry& entry : due) {
      changes.push_back(std::move(entry.change));
    }
    return changes;
  }

  // Advances to `last` from `first`, the oldest change after the position.
  void Advance(std::size_t index, std::int64_t first, std::int64_t last) {
    const std::int64_t between = first - position->Get(index) - 1;
    if (between > 0) {
      LogError("keystore",
               "this watcher was too slow and missed " + std::to_string(between) + " changes");
      missed += between;
    }
    position->Set(index, last);
  }

  const std::shared_ptr<KeyStore::Impl> store;
  WakeUp wakeUp;
  std::unique_ptr<WatcherPosition> position;
  bool isBehind = false;
  std::int64_t missed = 0;
  bool areNamesDoubtful = false;
  bool isLossTold = false;
};

KeyWatcher::KeyWatcher(KeyStore& store) : m_Impl(std::make_unique<Impl>(store.m_Impl)) {}

KeyWatcher::~KeyWatcher() = default;

int KeyWatcher::Fd() const { return m_Impl->wakeUp.Fd(); }

std::vector<KeyChange> KeyWatcher::TakeChanges() { return m_Impl->TakeChanges(); }

bool KeyWatcher::IsBehind() const { return m_Impl->isBehind; }

std::int64_t KeyWatcher::Missed() const { return m_Impl->missed; }

}  // namespace host
