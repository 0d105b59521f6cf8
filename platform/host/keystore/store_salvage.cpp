#include "keystore/store_salvage.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <fstream>
#include <map>
#include <set>
#include <system_error>

#include "keystore/file_damage.h"
#include "keystore/key_file.h"
#include "keystore/page_check.h"
#include "keystore/sqlite.h"
#include "keystore/store_copy.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"

namespace host {
namespace {

using std::filesystem::path;

// A directory that is removed with its owner.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    std::string name = std::filesystem::temp_directory_path() / "key-store.XXXXXX";
    if (::mkdtemp(name.data()) == nullptr) {
      throw StoreError(errno,
                       "cannot make " + name + ": " + std::generic_category().message(errno));
    }
    m_Path = name;
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_Path, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  path operator/(const char* name) const { return m_Path / name; }

 private:
  path m_Path;
};

// Copies a key file with its log, or a log alone, which gets a file for its pages.
void CopyWithLog(const path& file, const path& to) {
  const path suffix = LogOf({});
  if (file.native().ends_with(suffix.native())) {
    CopyFile(file, LogOf(to));
    // SQLite removes the log of an empty file.
    std::ofstream(to) << std::string(kPageSize, '\0');
    return;
  }
  CopyFile(file, to);
  std::error_code ignored;
  if (const path log = LogOf(file); std::filesystem::exists(log, ignored)) {
    CopyFile(log, LogOf(to));
  }
}

// The first page says where the tables are, which is the same in every key file.
void ReplaceFirstPage(const path& file, const TemporaryDirectory& directory) {
  const path fresh = directory / "fresh.db";
  KeyFile(fresh, Durability::kProcess, directory / "changed");
  std::array<char, kPageSize> page{};
  std::ifstream(fresh, std::ios::binary).read(page.data(), page.size());
  const auto pages = static_cast<std::uint32_t>(std::filesystem::file_size(file) / kPageSize);
  for (int i = 0; i < 4; ++i) {
    page[28 + i] = static_cast<char>(pages >> (24 - 8 * i));
  }
  PutCheck(reinterpret_cast<unsigned char*>(page.data()), 1);
  std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
  stream.write(page.data(), page.size());
}

bool CanBeOpened(const path& file) {
  try {
    Database database(file);
    Statement(database, "SELECT key, value FROM keys");
    Statement(database, "SELECT key FROM changes");
    return true;
  } catch (const StoreError&) {
    return false;
  }
}

class Reader {
 public:
  explicit Reader(const path& file) : m_Database(file) {}

  // Takes what `sql` returns, beginning at `from`, up to the first damage; false when there is any.
  bool Take(const char* sql, const std::string& from) {
    try {
      Statement statement(m_Database, sql);
      Rows rows = statement.Query(std::string_view(from));
      while (rows.Next()) {
        if (auto value = rows.Value(1)) {
          m_Keys.insert_or_assign(rows.Text(0), std::move(*value));
        }
      }
      return true;
    } catch (const StoreError&) {
      return false;
    }
  }

  // The keys of the changes that can be read.
  std::set<std::string> ChangedKeys() {
    std::set<std::string> keys;
    try {
      Statement statement(m_Database, "SELECT key FROM changes WHERE number > 0");
      Rows rows = statement.Query();
      while (rows.Next()) {
        keys.insert(rows.Text(0));
      }
    } catch (const StoreError&) {
      // More would have been welcome.
    }
    return keys;
  }

  bool IsSound() {
    try {
      return m_Database.IsSound();
    } catch (const StoreError&) {
      return false;
    }
  }

  const std::map<std::string, KeyValue>& Keys() const { return m_Keys; }

 private:
  Database m_Database;
  std::map<std::string, KeyValue> m_Keys;
};

constexpr const char* kForward = "SELECT key, value FROM keys WHERE key >= ?1 ORDER BY key";
constexpr const char* kBackward = "SELECT key, value FROM keys WHERE key >= ?1 ORDER BY key DESC";

}  // namespace

Salvage ReadDamaged(const path& file, const std::vector<std::string>& known) {
  const TemporaryDirectory directory;
  const path copy = directory / "keys.db";
  CopyWithLog(file, copy);
  // SQLite would take what precedes the damage and remove the log.
  const bool isLogWhole = IsLogWhole(copy);
  const bool isFirstPageGood = CanBeOpened(copy);
  if (!isFirstPageGood) {
    ReplaceFirstPage(copy, directory);
    if (!CanBeOpened(copy)) {
      throw StoreError(EIO, "no key can be read in " + file.string() + "; is it a key file?");
    }
  }
  Reader reader(copy);
  const bool isWhole =
      reader.Take(kForward, "") && isFirstPageGood && isLogWhole && reader.IsSound();
  if (!isWhole) {
    reader.Take(kBackward, "");
    std::set<std::string> others = reader.ChangedKeys();
    others.insert(known.begin(), known.end());
    for (const std::string& key : others) {
      if (reader.Keys().count(key) == 0) {
        reader.Take(kForward, key);
      }
    }
  }
  return {.keys = {reader.Keys().begin(), reader.Keys().end()}, .isWhole = isWhole};
}

}  // namespace host
