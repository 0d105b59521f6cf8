#include "keystore/sqlite.h"

#include <fcntl.h>
#include <sqlite3.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "keystore/checked_files.h"
#include "keystore/page_check.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"
#include "system/file_descriptor.h"
#include "system/lock_holder.h"

namespace host {
namespace {

// How long a call waits for a program that has not joined the line of writers and holds the file's
// lock, and how often it looks. SQLite's own waiting sleeps up to 100 ms at a time, which is long
// compared with a write of 20 µs.
constexpr auto kBusyLimit = std::chrono::seconds(kHeldTooLongSeconds);
constexpr auto kBusyPause = std::chrono::microseconds(200);

// Memory for pages of one file. A set's keys fit; what does not comes from the system's cache. A
// transaction that outgrows it is not written to the log in parts: the checks of the frames would
// not be valid until its end.
constexpr const char* kCacheSize = "PRAGMA cache_size = -256; PRAGMA cache_spill = OFF";

bool IsDamage(int code) {
  return (code & 0xff) == SQLITE_CORRUPT || (code & 0xff) == SQLITE_NOTADB ||
         code == SQLITE_IOERR_DATA || code == SQLITE_IOERR_SHORT_READ;
}

// What a failure is for a caller: an errno of StoreError.
int KindOf(int code, int systemError) {
  if (IsDamage(code)) {
    return EUCLEAN;
  }
  switch (code & 0xff) {
    case SQLITE_BUSY:
      return EAGAIN;
    case SQLITE_FULL:
      return ENOSPC;
    case SQLITE_READONLY:
      return code == SQLITE_READONLY_DBMOVED ? EIO : EROFS;
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
      return systemError == EROFS || systemError == ENOSPC ? systemError : EACCES;
    default:
      return systemError == EROFS || systemError == ENOSPC ? systemError : EIO;
  }
}

std::string Advice(int kind, const std::string& file) {
  switch (kind) {
    case EUCLEAN:
      return "it is mended when the set starts the next time; see setctl key check";
    case EAGAIN:
      return HeldTooLong(HolderOfWriteLock(file));
    case EACCES:
      return "start as another user or choose another root";
    case EROFS:
      return "its file system is read-only: make it writable, or choose another root";
    case ENOSPC:
      return "make room on its file system";
    default:
      return "check its file system";
  }
}

// What opens a file that can no longer be written. Without a log of its own there is nothing to
// share with other processes either; with a log, SQLite reads that, too.
std::string ReadOnlyUri(const std::filesystem::path& file) {
  std::string uri = "file:";
  for (const char c : file.string()) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    if (byte <= ' ' || byte >= 0x7f || c == '%' || c == '?' || c == '#') {
      uri += {'%', kDigits[byte >> 4], kDigits[byte & 0xf]};
    } else {
      uri += c;
    }
  }
  std::error_code ignored;
  const auto log = std::filesystem::file_size(LogOf(file), ignored);
  return uri + (ignored || log == 0 || HasForeignLog(file) ? "?immutable=1" : "");
}

}  // namespace

pid_t HolderOfWriteLock(const std::filesystem::path& file) {
  constexpr off_t kWriteLock = 120;
  return HolderOfByte(LogIndexOf(file), kWriteLock);
}

bool IsOpenSomewhere(const std::filesystem::path& file) {
  const FileDescriptor opened(::open(file.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
  // Where SQLite holds a lock for as long as it has a file open.
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0x40000002;
  lock.l_len = 510;
  return opened && ::fcntl(opened.Get(), F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

Database::Database(const std::filesystem::path& file) : m_File(file) {
  try {
    std::error_code ignored;
    if (IsMissingOrEmpty(file) && std::filesystem::exists(LogOf(file), ignored)) {
      FailAs("it is empty, but there is a log of it");
    }
    const bool isReadOnly = IsOnReadOnlyFileSystem(file);
    if (!isReadOnly && HasForeignLog(file)) {
      FailAs("it took the place of another one, whose log is beside it");
    }
    const int code = isReadOnly ? Open(ReadOnlyUri(file), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI)
                                : Open(m_File, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
    if (code != SQLITE_OK) {
      Fail(code);
    }
    if (!isReadOnly && !IsWritable()) {
      Fail(SQLITE_PERM);
    }
    sqlite3_busy_handler(m_Handle, &Database::OnBusy, this);
    Execute(kCacheSize);
  } catch (...) {
    sqlite3_close(m_Handle);
    throw;
  }
}

int Database::Open(const std::string& name, int flags) {
  return sqlite3_open_v2(name.c_str(), &m_Handle,
                         flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, CheckedFiles());
}

bool Database::IsWritable() const { return sqlite3_db_readonly(m_Handle, "main") == 0; }

Database::~Database() {
  // The last one to close a file folds its log in and removes it by name. When the file was
  // replaced, that log is another's; when it was emptied, the log may be all that is left.
  int isReplaced = 0;
  sqlite3_file_control(m_Handle, "main", SQLITE_FCNTL_HAS_MOVED, &isReplaced);
  if (isReplaced != 0 || IsMissingOrEmpty(m_File)) {
    sqlite3_db_config(m_Handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  }
  sqlite3_close(m_Handle);
}

void Database::Execute(const std::string& sql) {
  const int code = sqlite3_exec(m_Handle, sql.c_str(), nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) {
    Fail(code);
  }
}

bool Database::IsSound(const std::filesystem::path& file) {
  try {
    return Database(file).IsSound();
  } catch (const StoreError& error) {
    if (!error.IsDamage()) {
      throw;
    }
    return false;
  }
}

bool Database::IsSound() {
  Statement check(*this, "PRAGMA integrity_check(1)");
  Rows rows = check.Query();
  return rows.Next() && rows.Text(0) == "ok";
}

void Database::ReservePageEnds() {
  int size = kCheckSize;
  const int code = sqlite3_file_control(m_Handle, "main", SQLITE_FCNTL_RESERVE_BYTES, &size);
  if (code != SQLITE_OK) {
    Fail(code);
  }
}

bool Database::HasReservedPageEnds() {
  int size = -1;  // asks
  return sqlite3_file_control(m_Handle, "main", SQLITE_FCNTL_RESERVE_BYTES, &size) == SQLITE_OK &&
         size == static_cast<int>(kCheckSize);
}

bool Database::IsInTransaction() const { return sqlite3_get_autocommit(m_Handle) == 0; }

std::int64_t Database::LastRow() const { return sqlite3_last_insert_rowid(m_Handle); }

int Database::ChangedRows() const { return sqlite3_changes(m_Handle); }

void Database::Fail(int code) const {
  const int system = sqlite3_system_errno(m_Handle);
  std::string reason =
      sqlite3_extended_errcode(m_Handle) == code ? sqlite3_errmsg(m_Handle) : sqlite3_errstr(code);
  if (code == SQLITE_IOERR_DATA || code == SQLITE_IOERR_SHORT_READ) {
    reason = code == SQLITE_IOERR_DATA ? "a page is damaged" : "it is cut short";
  }
  const bool bySystem =
      !IsDamage(code) && ((code & 0xff) == SQLITE_CANTOPEN || (code & 0xff) == SQLITE_IOERR);
  if (bySystem && system != 0) {
    reason += ": " + std::generic_category().message(system);
  }
  FailAs(KindOf(code, bySystem ? system : 0), reason);
}

void Database::FailAs(std::string_view reason) const { FailAs(EUCLEAN, reason); }

void Database::FailAs(int kind, std::string_view reason) const {
  throw StoreError(kind,
                   "key file " + m_File + ": " + std::string(reason) + "; " + Advice(kind, m_File));
}

int Database::OnBusy(void* database, int attempt) {
  auto& self = *static_cast<Database*>(database);
  const auto now = std::chrono::steady_clock::now();
  if (attempt == 0) {
    self.m_BusySince = now;
  }
  if (now - self.m_BusySince >= kBusyLimit) {
    return 0;
  }
  std::this_thread::sleep_for(kBusyPause);
  return 1;
}

Rows::Rows(const Database& database, sqlite3_stmt* statement)
    : m_Database(database), m_Statement(statement) {}

Rows::~Rows() { sqlite3_reset(m_Statement); }

bool Rows::Next() {
  const int code = sqlite3_step(m_Statement);
  if (code != SQLITE_ROW && code != SQLITE_DONE) {
    m_Database.Fail(code);
  }
  return code == SQLITE_ROW;
}

std::int64_t Rows::Integer(int column) const { return sqlite3_column_int64(m_Statement, column); }

std::string Rows::Text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(m_Statement, column));
  return text == nullptr ? std::string()
                         : std::string(text, sqlite3_column_bytes(m_Statement, column));
}

std::optional<KeyValue> Rows::Value(int column) const {
  switch (sqlite3_column_type(m_Statement, column)) {
    case SQLITE_NULL:
      return std::nullopt;
    case SQLITE_INTEGER:
      return sqlite3_column_int(m_Statement, column);
    default:
      return Text(column);
  }
}

Statement::Statement(Database& database, const char* sql) : m_Database(database) {
  const int code = sqlite3_prepare_v3(database.m_Handle, sql, -1, SQLITE_PREPARE_PERSISTENT,
                                      &m_Statement, nullptr);
  if (code == SQLITE_ERROR) {
    database.FailAs(sqlite3_errmsg(database.m_Handle));  // it lacks a table
  }
  Check(code);
}

Statement::~Statement() { sqlite3_finalize(m_Statement); }

void Statement::Bind(int index, std::int64_t value) {
  Check(sqlite3_bind_int64(m_Statement, index, value));
}

void Statement::Bind(int index, std::string_view text) {
  // A null pointer would bind NULL, which is not the empty text.
  Check(sqlite3_bind_text64(m_Statement, index, text.empty() ? "" : text.data(), text.size(),
                            SQLITE_STATIC, SQLITE_UTF8));
}

void Statement::Bind(int index, const KeyValue& value) {
  if (const int* number = std::get_if<int>(&value)) {
    Bind(index, std::int64_t{*number});
  } else {
    Bind(index, std::string_view(std::get<std::string>(value)));
  }
}

void Statement::Bind(int index, const std::optional<KeyValue>& value) {
  if (value) {
    Bind(index, *value);
  } else {
    Check(sqlite3_bind_null(m_Statement, index));
  }
}

void Statement::Check(int code) const {
  if (code != SQLITE_OK) {
    m_Database.Fail(code);
  }
}

WriteTransaction::Statements::Statements(Database& database)
    : begin(database, "BEGIN IMMEDIATE"),
      commit(database, "COMMIT"),
      rollback(database, "ROLLBACK") {}

WriteTransaction::WriteTransaction(Database& database, Statements& statements)
    : m_Database(database), m_Statements(statements) {
  m_Statements.begin.Execute();
}

WriteTransaction::~WriteTransaction() {
  // Some failures have rolled it back already.
  if (m_Database.IsInTransaction()) {
    try {
      m_Statements.rollback.Execute();
    } catch (const std::exception&) {
      // The failure that led here is on its way to the caller.
    }
  }
}

void WriteTransaction::Commit() { m_Statements.commit.Execute(); }

}  // namespace host
