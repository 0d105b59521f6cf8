#include "keystore/key_file.h"

#include <fcntl.h>

#include <cerrno>
#include <chrono>
#include <system_error>

#include "system/file_descriptor.h"

namespace host {
namespace {

// Marks a database as a key file, and its tables as those below.
constexpr std::int64_t kApplicationId = 0x6b657973;
constexpr std::int64_t kVersion = 1;

constexpr const char* kCreate = R"(
  BEGIN IMMEDIATE;
  CREATE TABLE keys (key TEXT PRIMARY KEY, value) WITHOUT ROWID;
  CREATE TABLE changes (number INTEGER PRIMARY KEY, at INTEGER, key TEXT, value);
  PRAGMA application_id = 0x6b657973;
  PRAGMA user_version = 1;
  COMMIT;
)";

// Wakes the watchers when it ends. The kernel closes the file of a process that is killed, so
// nothing that was committed while one of these lives can stay unannounced.
class Announcement {
 public:
  explicit Announcement(const std::filesystem::path& changed)
      : m_File(::open(changed.c_str(), O_WRONLY | O_CLOEXEC)) {
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

// Whether the file is a key file already. Throws when it is something else.
bool IsKeyFile(Database& database) {
  if (ReadInteger(database, "SELECT count(*) FROM sqlite_schema") == 0) {
    return false;
  }
  if (ReadInteger(database, "PRAGMA application_id") != kApplicationId) {
    database.FailAs("is not a key file");
  }
  if (ReadInteger(database, "PRAGMA user_version") != kVersion) {
    database.FailAs("was made by another version of this program");
  }
  return true;
}

}  // namespace

std::int64_t MonotonicNow() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::nanoseconds(now).count();
}

KeyFile::Opened::Opened(const std::filesystem::path& file, Durability durability) : Database(file) {
  const bool isMade = IsKeyFile(*this);
  Execute("PRAGMA journal_mode = WAL");
  if (durability == Durability::kDisk) {
    Execute("PRAGMA synchronous = FULL");
  } else {
    // Where nothing is flushed a short write-ahead log costs no time, and it spares memory.
    Execute("PRAGMA synchronous = OFF; PRAGMA wal_autocheckpoint = 128");
  }
  if (!isMade) {
    Execute(kCreate);
  }
}

KeyFile::KeyFile(const std::filesystem::path& file, Durability durability,
                 std::filesystem::path changed)
    : m_Changed(std::move(changed)),
      m_Database(file, durability),
      m_Get(m_Database, "SELECT value FROM keys WHERE key = ?1"),
      m_List(m_Database, "SELECT key, value FROM keys WHERE key >= ?1 ORDER BY key"),
      m_Store(m_Database,
              "INSERT INTO keys (key, value) VALUES (?1, ?2)"
              " ON CONFLICT DO UPDATE SET value = excluded.value"),
      m_Remove(m_Database, "DELETE FROM keys WHERE key = ?1"),
      m_Append(m_Database, "INSERT INTO changes (at, key, value) VALUES (?1, ?2, ?3)"),
      m_Newest(m_Database, "SELECT max(number) FROM changes"),
      m_After(m_Database,
              "SELECT number, at, key, value FROM changes"
              " WHERE number > ?1 ORDER BY number LIMIT ?2"),
      m_Prune(m_Database,
              "DELETE FROM changes WHERE number <= min(?1,"
              " (SELECT max(number) FROM changes) - 1,"
              " (SELECT min(number) FROM changes) - 1 + ?2)"),
      m_Transaction(m_Database) {}

std::optional<KeyValue> KeyFile::Get(std::string_view key) {
  const std::lock_guard lock(m_Mutex);
  Rows rows = m_Get.Query(key);
  return rows.Next() ? rows.Value(0) : std::nullopt;
}

std::vector<std::pair<std::string, KeyValue>> KeyFile::List(std::string_view prefix) {
  const std::lock_guard lock(m_Mutex);
  std::vector<std::pair<std::string, KeyValue>> keys;
  Rows rows = m_List.Query(prefix);
  while (rows.Next()) {
    std::string key = rows.Text(0);
    if (!key.starts_with(prefix)) {
      break;
    }
    keys.emplace_back(std::move(key), rows.Value(1).value());
  }
  return keys;
}

std::optional<std::int64_t> KeyFile::Write(std::string_view key,
                                           const std::optional<KeyValue>& value) {
  const std::lock_guard lock(m_Mutex);
  const Announcement announcement(m_Changed);
  WriteTransaction transaction(m_Database, m_Transaction);
  if (value) {
    m_Store.Execute(key, *value);
  } else {
    m_Remove.Execute(key);
    if (m_Database.ChangedRows() == 0) {
      return std::nullopt;
    }
  }
  // Under the write lock, so that the times in the journal rise with the numbers.
  m_Append.Execute(MonotonicNow(), key, value);
  const std::int64_t number = m_Database.LastRow();
  transaction.Commit();
  return number;
}

std::int64_t KeyFile::NewestChange() {
  const std::lock_guard lock(m_Mutex);
  Rows rows = m_Newest.Query();
  return rows.Next() ? rows.Integer(0) : 0;
}

std::vector<JournalEntry> KeyFile::ChangesAfter(std::int64_t number, std::int64_t limit) {
  const std::lock_guard lock(m_Mutex);
  std::vector<JournalEntry> entries;
  Rows rows = m_After.Query(number, limit);
  while (rows.Next()) {
    entries.push_back(
        {.at = rows.Integer(1),
         .change = {.key = rows.Text(2), .value = rows.Value(3), .number = rows.Integer(0)}});
  }
  return entries;
}

void KeyFile::Prune(std::int64_t number, std::int64_t limit) {
  const std::lock_guard lock(m_Mutex);
  WriteTransaction transaction(m_Database, m_Transaction);
  m_Prune.Execute(number, limit);
  transaction.Commit();
}

}  // namespace host
