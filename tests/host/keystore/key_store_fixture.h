#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "change_text.h"
#include "keystore/key_store.h"
#include "support/process.h"
#include "support/temp_directory.h"

namespace host {

// The first column of the first row that `sql` returns for an SQLite file, as text; empty when
// there are no rows. An SQL error fails the test.
std::string Sql(const std::filesystem::path& file, const std::string& sql);

// Takes changes until `watcher` has none, never asking before its descriptor says that there are
// any.
std::vector<KeyChange> TakeAnnounced(KeyWatcher& watcher);

std::vector<std::string> ToTexts(const std::vector<KeyChange>& changes);

// What ToTexts returns for writes of 1, 2, … `last` to `key`.
std::vector<std::string> Counted(std::string_view key, int last);

std::vector<std::string> Lines(const std::string& text);

// The log of this program, which is opened by the first call and only once.
std::filesystem::path LogFile();

// What the log says up to now.
std::vector<std::string> LogLines();

// The integer in a key; 0 when it holds none.
int Integer(KeyStore& store, std::string_view key);

// The lines of `lines` that begin with `key` and a space.
std::vector<std::string> OfKey(const std::vector<std::string>& lines, std::string_view key);

// A store in its own directory, opened at will by the test and by other processes.
class KeyStoreTest : public ::testing::Test {
 protected:
  std::filesystem::path StateDir() const { return m_Root / "var"; }
  std::filesystem::path RunDir() const { return m_Root / "run"; }
  std::filesystem::path DurableFile() const { return StateDir() / "keys.db"; }
  std::filesystem::path MemoryFile() const { return RunDir() / "keys.db"; }

  std::unique_ptr<KeyStore> Open() const;

  // A process that does what key_store_worker.cpp says.
  struct Worker {
    std::unique_ptr<support::Process> process;
    std::filesystem::path out;
    std::filesystem::path err;

    support::Process* operator->() const { return process.get(); }
    std::vector<std::string> Said() const { return Lines(support::ReadFile(out)); }

    // Waits until it has said something.
    bool IsReady() const;
  };
  Worker Start(std::vector<std::string> arguments);

  // Both files are sound, as SQLite judges them.
  void ExpectIntegrity() const;

 private:
  support::TempDirectory m_Root;
  int m_Workers = 0;
};

}  // namespace host
