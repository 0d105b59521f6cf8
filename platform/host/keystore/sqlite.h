#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "keystore/key_value.h"

struct sqlite3;
struct sqlite3_stmt;

// The part of SQLite that a key file needs, with its errors as exceptions: everything here throws
// StoreError. One thread at a time.

namespace host {

// The process that holds the write lock of a file in write-ahead mode, in any program; 0 when none
// does or it cannot be found.
pid_t HolderOfWriteLock(const std::filesystem::path& file);

// Whether some process, with whatever version of this program, has the file open.
bool IsOpenSomewhere(const std::filesystem::path& file);

class Database {
 public:
  // Whether all that a file holds can be read and fits together.
  static bool IsSound(const std::filesystem::path& file);

  // Opens `file` for reading and writing, creating it if missing; on a read-only file system, for
  // reading. Fails as damaged when the file is missing or empty beside a log: SQLite would remove
  // the log; and when the log beside it is that of another file: SQLite would mix the two. On a
  // read-only file system it reads the file alone then.
  explicit Database(const std::filesystem::path& file);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Runs SQL that has no parameters and whose rows do not matter.
  void Execute(const std::string& sql);

  bool IsWritable() const;

  // The same for this one; damage that keeps it from being read throws.
  bool IsSound();

  // Reserves room for the check of each page (page_check.h): in a file that is still empty, or in
  // the copy that is made of it.
  void ReservePageEnds();

  // Whether the file has that room.
  bool HasReservedPageEnds();

  // Whether a transaction is open.
  bool IsInTransaction() const;

  // The row that the newest INSERT made, and the number of rows that the newest statement changed.
  std::int64_t LastRow() const;
  int ChangedRows() const;

  // Throws for the result code that a call just returned.
  [[noreturn]] void Fail(int code) const;

  // Throws for a file whose content is not ours.
  [[noreturn]] void FailAs(std::string_view reason) const;

 private:
  friend class Statement;
  int Open(const std::string& name, int flags);
  [[noreturn]] void FailAs(int kind, std::string_view reason) const;
  static int OnBusy(void* database, int attempt);

  std::string m_File;
  sqlite3* m_Handle = nullptr;
  std::chrono::steady_clock::time_point m_BusySince;
};

// The rows of one run of a statement; destroying them makes it ready for the next run.
class Rows {
 public:
  ~Rows();
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  // Steps to the next row, initially to the first; false after the last.
  bool Next();

  // Columns of the row, counted from 0. Null reads as 0, empty and nothing.
  std::int64_t Integer(int column) const;
  std::string Text(int column) const;
  std::optional<KeyValue> Value(int column) const;

 private:
  friend class Statement;
  Rows(const Database& database, sqlite3_stmt* statement);

  const Database& m_Database;
  sqlite3_stmt* m_Statement;
};

// A statement that is compiled once and run many times, one run at a time. `database` must
// outlive it.
class Statement {
 public:
  Statement(Database& database, const char* sql);
  ~Statement();
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  // Binds the arguments to the parameters ?1, ?2 and so on. Texts are not copied: they must live
  // as long as the rows are stepped through.
  template <typename... Arguments>
  Rows Query(const Arguments&... arguments) {
    int index = 0;
    (Bind(++index, arguments), ...);
    return Rows(m_Database, m_Statement);
  }

  // The same for a statement whose rows do not matter.
  template <typename... Arguments>
  void Execute(const Arguments&... arguments) {
    Rows rows = Query(arguments...);
    while (rows.Next()) {
    }
  }

 private:
  void Bind(int index, std::int64_t value);
  void Bind(int index, std::string_view text);
  void Bind(int index, const KeyValue& value);
  void Bind(int index, const std::optional<KeyValue>& value);
  void Check(int code) const;

  Database& m_Database;
  sqlite3_stmt* m_Statement = nullptr;
};

// A transaction that holds the file's write lock from its beginning. Rolled back unless committed.
class WriteTransaction {
 public:
  // The statements that begin, commit and roll back; kept compiled by those who write often.
  struct Statements {
    explicit Statements(Database& database);
    Statement begin;
    Statement commit;
    Statement rollback;
  };

  WriteTransaction(Database& database, Statements& statements);
  ~WriteTransaction();
  WriteTransaction(const WriteTransaction&) = delete;
  WriteTransaction& operator=(const WriteTransaction&) = delete;

  void Commit();

 private:
  Database& m_Database;
  Statements& m_Statements;
};

}  // namespace host
