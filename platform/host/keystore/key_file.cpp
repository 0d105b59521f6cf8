#include "keystore/key_file.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <variant>

#include "keystore/page_check.h"
#include "keystore/store_files.h"
#include "system/error_log.h"
#include "system/file_descriptor.h"

namespace host {
namespace {

// The versions before kKeyFileVersion.
constexpr std::int64_t kVersionWithoutChecks = 2;
constexpr std::int64_t kVersionWithoutBytes = 1;

constexpr const char* kCreateKeys = "CREATE TABLE keys (key TEXT PRIMARY KEY, value) WITHOUT ROWID";

// The bytes come before the text that they count: after it, reading them would mean reading through
// the text.
constexpr const char* kCreateChanges =
    "CREATE TABLE changes (number INTEGER PRIMARY KEY, at INTEGER,"
    " bytes INTEGER NOT NULL DEFAULT 0, key TEXT, value)";

// Converts the journal of version 1. Programs that still have the file open, and do not count
// bytes, continue with the new one.
constexpr const char* kPutOldChangesAside = "ALTER TABLE changes RENAME TO old";
constexpr const char* kTakeOldChanges =
    "INSERT INTO changes (number, at, key, value) SELECT number, at, key, value FROM old;"
    "DROP TABLE old";

// By how much a journal grows until it is pruned, how much of it goes at a time (more than it grew,
// so that a long one shrinks, yet no writer waits long), and how much of it a watcher that stands
// still can keep. In changes, and in bytes of text: a change of an integer is small.
constexpr std::int64_t kPruneInterval = 1024;
constexpr std::int64_t kPruneLimit = 4 * kPruneInterval;
constexpr std::int64_t kJournalLimit = 1'000'000;
constexpr std::int64_t kPruneIntervalBytes = 1024 * 1024;
constexpr std::int64_t kPruneLimitBytes = 4 * kPruneIntervalBytes;
constexpr std::int64_t kJournalLimitBytes = 16 * 1024 * 1024;

// How much a watcher takes at a time.
constexpr std::int64_t kTakeLimit = 2048;
constexpr std::int64_t kTakeLimitBytes = 4 * 1024 * 1024;

constexpr char kGone[] = "was removed or replaced";

// Wakes the watchers when it ends. The kernel closes the file of a process that is killed, so
// nothing that was committed while one of these lives can stay unannounced. A file that was removed
// is recreated, and the watchers find it.
class Announcement {
 public:
  explicit Announcement(const std::filesystem::path& changed)
      : m_File(::open(changed.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644)) {
    if (!m_File) {
      throw std::system_error(errno, std::generic_category(), "cannot open " + changed.string());
    }
  }

 private:
  FileDescriptor m_File;
};

std::int64_t ReadInteger(Database& database, const char* sql) {
  Statement statement(database, sql);
  Rows rows = statement.Query();
  return rows.Next() ? rows.Integer(0) : 0;
}

// The version of a key file; 0 when the file is still empty. Throws when it is something else.
std::int64_t VersionOf(Database& database) {
  if (ReadInteger(database, "SELECT count(*) FROM sqlite_schema") == 0) {
    return 0;
  }
  if (ReadInteger(database, "PRAGMA application_id") != kKeyFileId) {
    database.FailAs("is not a key file");
  }
  const std::int64_t version = ReadInteger(database, "PRAGMA user_version");
  if (version < kVersionWithoutBytes || version > kKeyFileVersion) {
    database.FailAs("was made by another version of this program");
  }
  return version;
}

std::int64_t BytesOf(const std::optional<KeyValue>& value) {
  const auto* text = value ? std::get_if<std::string>(&*value) : nullptr;
  return text == nullptr ? 0 : static_cast<std::int64_t>(text->size());
}

}  // namespace

std::int64_t MonotonicNow() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::nanoseconds(now).count();
}

KeyFile::Opened::Opened(const std::filesystem::path& file, Durability durability) : Database(file) {
  const std::int64_t version = VersionOf(*this);
  if (!IsWritable() && version >= kVersionWithoutChecks) {
    return;
  }
  if (version == 0 && ReadInteger(*this, "PRAGMA page_count") == 0) {
    ReservePageEnds();
  }
  Execute("PRAGMA journal_mode = WAL");
  if (durability == Durability::kDisk) {
    Execute("PRAGMA synchronous = FULL");
  } else {
    // Where nothing is flushed a short write-ahead log costs no time, and it spares memory.
    Execute("PRAGMA synchronous = OFF; PRAGMA wal_autocheckpoint = 128");
  }
  // Only a process that has the file to itself can add checks: that means rewriting it.
  if (version >= kVersionWithoutChecks) {
    return;
  }
  Execute("BEGIN IMMEDIATE");
  Execute(version == 0 ? kCreateKeys : kPutOldChangesAside);
  Execute(kCreateChanges);
  if (version != 0) {
    Execute(kTakeOldChanges);
  }
  Execute("PRAGMA application_id = " + std::to_string(kKeyFileId));
  Execute("PRAGMA user_version = " +
          std::to_string(HasReservedPageEnds() ? kKeyFileVersion : kVersionWithoutChecks));
  Execute("COMMIT");
}

KeyFile::Reader::Reader(Database& database)
    : get(database, "SELECT value FROM keys WHERE key = ?1"),
      list(database, "SELECT key, value FROM keys WHERE key >= ?1 ORDER BY key"),
      newest(database, "SELECT number, bytes FROM changes ORDER BY number DESC LIMIT 1"),
      after(database,
            "SELECT number, at, key, value FROM changes"
            " WHERE number > ?1 ORDER BY number LIMIT ?2") {}

template <typename Read>
auto KeyFile::WithReader(Read read) {
  if (m_Mutex.try_lock()) {
    const guarded::Lock lock(m_Mutex, std::adopt_lock);
    return read(m_OwnReader);
  }
  const guarded::Lock lock(m_OtherMutex);
  return read(m_OtherReader);
}

KeyFile::KeyFile(const std::filesystem::path& file, Durability durability,
                 std::filesystem::path changed)
    : m_File(file),
      m_Changed(std::move(changed)),
      m_Line(
          m_Changed.parent_path() / (durability == Durability::kDisk ? "line-db" : "line-memory"),
          file),
      m_Database(file, durability),
      m_Store(m_Database,
              "INSERT INTO keys (key, value) VALUES (?1, ?2)"
              " ON CONFLICT DO UPDATE SET value = excluded.value"),
      m_Remove(m_Database, "DELETE FROM keys WHERE key = ?1"),
      m_Append(m_Database, "INSERT INTO changes (at, bytes, key, value) VALUES (?1, ?2, ?3, ?4)"),
      m_Oldest(m_Database, "SELECT number, bytes FROM changes ORDER BY number LIMIT 1"),
      m_Prune(m_Database,
              "DELETE FROM changes WHERE number <= ?1 AND bytes <= ?2"
              " AND (number <= ?3 OR bytes <= ?4)"),
      m_Transaction(m_Database),
      m_OwnReader(m_Database),
      m_Other(file),
      m_OtherReader(m_Other),
      m_Names({file, LogOf(file), LogIndexOf(file)}),
      m_Size(m_Names.Now().size) {}

void KeyFile::LogLoss() {
  if (const std::filesystem::path* lost = m_Names.Now().lost) {
    Told(*lost, kGone);
  }
}

void KeyFile::RefuseAtLoss() {
  const auto [lost, size, isLogEmpty] = m_Names.Now();
  if (lost != nullptr) {
    throw std::runtime_error(Told(*lost, kGone));
  }
  // Other programs may make a file shorter, but not shorter than its pages. Where it has not been
  // longer yet, the last of these may be in the log only, unless that is empty.
  m_IsCut = m_IsCut || ((size < m_Size || isLogEmpty) &&
                        size < ReadInteger(m_Database, "PRAGMA page_count") * off_t{kPageSize});
  m_Size = size;
  if (m_IsCut) {
    throw std::runtime_error(Told(m_File, "was cut short"));
  }
}

std::string KeyFile::Told(const std::filesystem::path& file, const char* loss) {
  std::string told = "key file " + m_File.string() + ": " + file.string() + " " + loss +
                     " while it was in use; what is set is refused: restart the set";
  if (!m_IsLossTold.exchange(true)) {
    LogError("keystore", told);
  }
  return told;
}

std::optional<KeyValue> KeyFile::Get(std::string_view key) {
  return WithReader([key](Reader& reader) {
    Rows rows = reader.get.Query(key);
    return rows.Next() ? rows.Value(0) : std::nullopt;
  });
}

std::vector<std::pair<std::string, KeyValue>> KeyFile::List(std::string_view prefix) {
  return WithReader([prefix](Reader& reader) {
    std::vector<std::pair<std::string, KeyValue>> keys;
    Rows rows = reader.list.Query(prefix);
    while (rows.Next()) {
      std::string key = rows.Text(0);
      if (!key.starts_with(prefix)) {
        break;
      }
      if (auto value = rows.Value(1)) {
        keys.emplace_back(std::move(key), std::move(*value));
      }
    }
    return keys;
  });
}

std::optional<Written> KeyFile::Write(std::string_view key, const std::optional<KeyValue>& value) {
  const WriteLine::Turn turn(m_Line);
  const guarded::Lock lock(m_Mutex);
  const Announcement announcement(m_Changed);
  WriteTransaction transaction(m_Database, m_Transaction);
  RefuseAtLoss();
  if (value) {
    m_Store.Execute(key, *value);
  } else {
    m_Remove.Execute(key);
    if (m_Database.ChangedRows() == 0) {
      return std::nullopt;
    }
  }
  // Under the write lock, so that the times in the journal rise with the numbers.
  const std::int64_t bytesBefore = PlaceOf(m_OwnReader.newest).bytes;
  const std::int64_t bytes = bytesBefore + BytesOf(value);
  m_Append.Execute(MonotonicNow(), bytes, key, value);
  const std::int64_t number = m_Database.LastRow();
  transaction.Commit();
  return Written{.number = number,
                 .isPruneDue = number % kPruneInterval == 0 ||
                               bytes / kPruneIntervalBytes != bytesBefore / kPruneIntervalBytes};
}

KeyFile::Place KeyFile::PlaceOf(Statement& statement) {
  Rows rows = statement.Query();
  return rows.Next() ? Place{.number = rows.Integer(0), .bytes = rows.Integer(1)} : Place();
}

std::int64_t KeyFile::NewestChange() {
  return WithReader([](Reader& reader) { return PlaceOf(reader.newest).number; });
}

JournalPart KeyFile::ChangesAfter(std::int64_t number) {
  return WithReader([number](Reader& reader) {
    JournalPart part{.entries = {}, .isCut = false};
    std::int64_t bytes = 0;
    Rows rows = reader.after.Query(number, kTakeLimit);
    while (bytes < kTakeLimitBytes && rows.Next()) {
      part.entries.push_back(
          {.at = rows.Integer(1),
           .change = {.key = rows.Text(2), .value = rows.Value(3), .number = rows.Integer(0)}});
      bytes += BytesOf(part.entries.back().change.value);
    }
    part.isCut = bytes >= kTakeLimitBytes || std::ssize(part.entries) == kTakeLimit;
    return part;
  });
}

bool KeyFile::Prune(std::int64_t number) {
  const WriteLine::Turn turn(m_Line);
  const guarded::Lock lock(m_Mutex);
  WriteTransaction transaction(m_Database, m_Transaction);
  const Place oldest = PlaceOf(m_Oldest);
  const Place newest = PlaceOf(m_OwnReader.newest);
  m_Prune.Execute(std::min(newest.number - 1, oldest.number - 1 + kPruneLimit),
                  oldest.bytes + kPruneLimitBytes, std::max(number, newest.number - kJournalLimit),
                  newest.bytes - kJournalLimitBytes);
  const bool isCut = m_Database.ChangedRows() > 0;
  const Place left = PlaceOf(m_Oldest);
  transaction.Commit();
  return isCut && (newest.number - left.number >= kJournalLimit ||
                   newest.bytes - left.bytes > kJournalLimitBytes);
}

}  // namespace host
