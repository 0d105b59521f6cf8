#include "keystore/store_keeper.h"

#include <malloc.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

#include "keystore/names_kept.h"
#include "keystore/sqlite.h"
#include "keystore/store_copy.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"
#include "keystore/wake_up.h"
#include "system/error_log.h"
#include "system/file_descriptor.h"
#include "system/signals_blocked.h"

namespace host {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using std::filesystem::path;

// A moment of writing: if two are equal, nothing was written in between.
struct LogState {
  off_t size = 0;
  std::int64_t writtenAt = 0;
  bool operator==(const LogState&) const = default;
};

LogState StateOfLog(const path& log) {
  struct stat status {};
  if (::stat(log.c_str(), &status) != 0) {
    return {};
  }
  return {status.st_size,
          std::int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec};
}

using Time = std::filesystem::file_time_type;

// When a file was written; nothing when it does not exist.
std::optional<Time> TimeOf(const path& file) {
  std::error_code error;
  const Time time = std::filesystem::last_write_time(file, error);
  return error ? std::nullopt : std::optional(time);
}

// The number of the newest change in a key file, which exists; 0 when there is none.
std::int64_t NewestChangeIn(const path& file) {
  Database database(file);
  Statement newest(database, "SELECT max(number) FROM changes");
  Rows rows = newest.Query();
  return rows.Next() ? rows.Integer(0) : 0;
}

}  // namespace

struct StoreKeeper::Impl {
  Impl(const path& stateDir, const path& runDir, Times given)
      : file(stateDir / kKeyFileName),
        log(LogOf(file)),
        names({file, log, LogIndexOf(file)}),
        times(given),
        written(runDir / kChangedName),
        end(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!end) {
      throw std::system_error(errno, std::generic_category(), "cannot keep the key store");
    }
    const SignalsBlocked signalsBlocked;
    thread = std::thread([this] { Run(); });
  }

  ~Impl() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t ignored = ::write(end.Get(), &one, sizeof(one));
    thread.join();
    Keep();
  }

  void Run() {
    // What an earlier run of the set left in the log is folded in, too.
    bool isDue = true;
    std::optional<steady_clock::time_point> next = steady_clock::now();
    auto latest = steady_clock::now() + times.longest;
    while (Wait(next, !isDue)) {
      // Writers wake this thread once and not at every write.
      const LogState before = StateOfLog(log);
      const auto now = steady_clock::now();
      if (!isDue) {
        latest = now + times.longest;
      }
      if (!Wait(std::min(now + times.quiet, latest), false)) {
        return;
      }
      FindWritten();
      isDue = StateOfLog(log) != before && steady_clock::now() < latest;
      next = isDue ? std::optional(steady_clock::now()) : Keep();
    }
  }

  // Goes on hearing of writes, also when the file that announces them was removed and made again.
  void FindWritten() {
    isNameDoubtful = written.Clear() || isNameDoubtful;
    if (isNameDoubtful) {
      isNameDoubtful = !Try(watchFailure, [this] { written.FindAgain(); });
      if (isNameDoubtful) {
        written.Again(times.afterHindrance);
      }
    }
  }

  // Folds in and copies what was written. Returns when to do so again if nothing is written:
  // nothing when all is done.
  std::optional<steady_clock::time_point> Keep() {
    // By its name, another file would get the log of this one. Whoever has this one open says so.
    if (names.Now().lost != nullptr) {
      return std::nullopt;
    }
    bool isFolded = false;
    Try(foldFailure, [&] { isFolded = Fold(); });
    const auto again = steady_clock::now() + times.afterHindrance;
    const auto copy = Copy();
    return isFolded ? copy : std::min(copy.value_or(again), again);
  }

  // Copies what was written when it is time for that. Returns when to do so if it is not, or if it
  // failed: nothing when the copy is as new as the store.
  std::optional<steady_clock::time_point> Copy() {
    const auto now = steady_clock::now();
    const auto copyTime = TimeOf(CopyOf(file));
    if (!TimeOf(file) || (copyTime && IsCopyNew())) {
      return std::nullopt;
    }
    // A copy from the future was made before the clock was set back: nobody knows its age.
    const auto age = copyTime ? Time::clock::now() - *copyTime : Time::duration::min();
    if (age >= Time::duration::zero() && age < times.betweenCopies) {
      return now + std::chrono::ceil<milliseconds>(times.betweenCopies - age);
    }
    // A copy that cannot be made costs as much, and leaves nothing that has an age.
    if (now < copyAgain) {
      return copyAgain;
    }
    const bool isCopied = Try(copyFailure, [this] { CopyKeyFile(file, CopyOf(file)); });
    // The memory that this took is not needed again for a long time.
    ::malloc_trim(0);
    if (isCopied) {
      return std::nullopt;
    }
    return copyAgain = now + times.betweenCopies;
  }

  // Whether the copy has all changes. Times would not tell: the clock may have been set back.
  bool IsCopyNew() const {
    try {
      return NewestChangeIn(CopyOf(file)) == NewestChangeIn(file);
    } catch (const StoreError&) {
      return false;  // whoever makes the copy says why
    }
  }

  // Whether nothing is left in the log. Its content goes into the file first, for which nobody has
  // to wait; the log is cut while nobody is reading, or not at all.
  bool Fold() {
    return StateOfLog(log).size == 0 || (Checkpoint("PASSIVE") && Checkpoint("TRUNCATE"));
  }

  bool Checkpoint(const std::string& how) {
    Database database(file);
    database.Execute("PRAGMA busy_timeout = 0");
    Statement checkpoint(database, ("PRAGMA wal_checkpoint(" + how + ")").c_str());
    Rows rows = checkpoint.Query();
    return rows.Next() && rows.Integer(0) == 0 && rows.Integer(1) == rows.Integer(2);
  }

  // Logs a failure unless it is the one that was logged last of its kind.
  template <typename Body>
  bool Try(std::string& logged, Body body) {
    try {
      body();
      logged.clear();
      return true;
    } catch (const std::exception& error) {
      if (logged != error.what()) {
        logged = error.what();
        LogError("keystore", "cannot keep the key store: " + logged);
      }
      return false;
    }
  }

  // Waits until `moment` (nothing: forever), or until something is written if that matters. False
  // at the end of the keeper.
  bool Wait(std::optional<steady_clock::time_point> moment, bool orWritten) {
    for (;;) {
      int timeout = -1;
      if (moment) {
        const auto left = std::chrono::ceil<milliseconds>(*moment - steady_clock::now()).count();
        timeout = static_cast<int>(std::clamp<std::int64_t>(left, 0, 60'000));
      }
      pollfd fds[] = {{end.Get(), POLLIN, 0}, {orWritten ? written.Fd() : -1, POLLIN, 0}};
      ::poll(fds, 2, timeout);
      if (fds[0].revents != 0) {
        return false;
      }
      if (fds[1].revents != 0 || (moment && steady_clock::now() >= *moment)) {
        return true;
      }
    }
  }

  const path file;
  const path log;
  const NamesKept names;
  const Times times;
  WakeUp written;
  bool isNameDoubtful = false;
  const FileDescriptor end;
  std::string watchFailure;
  std::string foldFailure;
  std::string copyFailure;
  steady_clock::time_point copyAgain;  // when the newest failure is followed by another attempt
  std::thread thread;
};

StoreKeeper::StoreKeeper(const path& stateDir, const path& runDir, Times times)
    : m_Impl(std::make_unique<Impl>(stateDir, runDir, times)) {}

StoreKeeper::~StoreKeeper() = default;

}  // namespace host
