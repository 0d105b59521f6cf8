#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "keystore/key_value.h"
#include "keystore/names_kept.h"
#include "keystore/sqlite.h"
#include "keystore/write_line.h"
#include "thread_safety.h"

namespace host {

enum class Durability {
  kDisk,     // a write is on disk when it returns
  kProcess,  // a write outlives its process, not a power loss
};

// A change as the journal has it. `at` is when it was made, in nanoseconds of the monotonic clock,
// which all processes share. Within a file both `at` and `change.number` increase.
struct JournalEntry {
  std::int64_t at;
  KeyChange change;
};

// Consecutive changes, oldest first.
struct JournalPart {
  std::vector<JournalEntry> entries;
  bool isCut;  // there may be more after them
};

// A change that has been made. It is time to prune the journal once it has grown by a certain
// number of changes or bytes, whoever wrote them.
struct Written {
  std::int64_t number;
  bool isPruneDue;
};

// Nanoseconds of the clock of JournalEntry::at.
std::int64_t MonotonicNow();

// A file of keys and the journal of their changes, one SQLite database. It takes every key: which
// ones are valid is up to the store. Any thread; failures throw std::runtime_error.
class KeyFile {
 public:
  // Opens `file`, creating it if missing; its directory exists. `changed` is a file that everybody
  // who waits for changes watches: each write opens it before and closes it after. Writers wait in
  // a line, whose file is beside it; readers wait for nobody. Two processes must not open the same
  // file at the same time.
  KeyFile(const std::filesystem::path& file, Durability durability, std::filesystem::path changed);

  const std::filesystem::path& Name() const { return m_File; }

  // Logs, once, that the names of its files do not lead to them any more. Writing fails then: what
  // is written would be lost when those who have the files open close them.
  void LogLoss();

  std::optional<KeyValue> Get(std::string_view key);
  std::vector<std::pair<std::string, KeyValue>> List(std::string_view prefix);

  // Stores or, without a value, removes a key. Nothing when the key to be removed is missing.
  std::optional<Written> Write(std::string_view key, const std::optional<KeyValue>& value);

  // The number of the newest change, 0 if there has been none.
  std::int64_t NewestChange();

  // The oldest changes with numbers above `number`: some thousands, or some mebibytes, at most.
  JournalPart ChangesAfter(std::int64_t number);

  // Removes from the journal the changes up to and including `number`, and whatever exceeds the
  // limits of a journal, the oldest first and only as many at a time as delay a writer for
  // milliseconds. The newest change always stays, so that numbers continue from it. Returns whether
  // the journal still exceeds its limits.
  bool Prune(std::int64_t number);

 private:
  // What must have happened to the file before statements can be compiled.
  struct Opened : Database {
    Opened(const std::filesystem::path& file, Durability durability);
  };

  // The statements that read.
  struct Reader {
    explicit Reader(Database& database);
    Statement get;
    Statement list;
    Statement newest;
    Statement after;
  };

  // Throws when a write that has begun is refused: as LogLoss says, or the file was cut short.
  void RefuseAtLoss() REQUIRES(m_Mutex);

  // What happened to which file, for a failure, and once in the log.
  std::string Told(const std::filesystem::path& file, const char* loss);

  // What `read` returns for a Reader that nobody else uses: that of the connection that writes,
  // which remembers what it wrote, or the other one while somebody is writing.
  template <typename Read>
  auto WithReader(Read read);

  // A place in the journal: the number of a change, and how many bytes of text all changes up to it
  // have added. Zeros when there is none.
  struct Place {
    std::int64_t number = 0;
    std::int64_t bytes = 0;
  };
  static Place PlaceOf(Statement& statement);

  const std::filesystem::path m_File;
  const std::filesystem::path m_Changed;
  WriteLine m_Line;
  guarded::Mutex m_Mutex;
  Opened m_Database GUARDED_BY(m_Mutex);
  Statement m_Store GUARDED_BY(m_Mutex);
  Statement m_Remove GUARDED_BY(m_Mutex);
  Statement m_Append GUARDED_BY(m_Mutex);
  Statement m_Oldest GUARDED_BY(m_Mutex);
  Statement m_Prune GUARDED_BY(m_Mutex);
  WriteTransaction::Statements m_Transaction GUARDED_BY(m_Mutex);

  Reader m_OwnReader GUARDED_BY(m_Mutex);

  // For reads while a thread is writing: a connection that they need not wait for.
  guarded::Mutex m_OtherMutex;
  Database m_Other GUARDED_BY(m_OtherMutex);
  Reader m_OtherReader GUARDED_BY(m_OtherMutex);

  const NamesKept m_Names;
  off_t m_Size GUARDED_BY(m_Mutex);  // of the file at the newest write
  bool m_IsCut GUARDED_BY(m_Mutex) = false;
  std::atomic<bool> m_IsLossTold = false;
};

}  // namespace host
