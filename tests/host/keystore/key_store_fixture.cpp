#include "key_store_fixture.h"

#include <poll.h>
#include <sqlite3.h>

#include <algorithm>
#include <sstream>

#include "system/log.h"

namespace host {

std::string Sql(const std::filesystem::path& file, const std::string& sql) {
  sqlite3* database = nullptr;
  std::string first;
  char* error = nullptr;
  const auto keepFirst = [](void* text, int columns, char** values, char**) {
    if (auto* kept = static_cast<std::string*>(text); kept->empty() && columns > 0 && values[0]) {
      *kept = values[0];
    }
    return 0;
  };
  EXPECT_EQ(
      sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr),
      SQLITE_OK);
  sqlite3_busy_timeout(database, 10'000);
  EXPECT_EQ(sqlite3_exec(database, sql.c_str(), keepFirst, &first, &error), SQLITE_OK)
      << file << ": " << error;
  sqlite3_free(error);
  sqlite3_close(database);
  return first;
}

std::vector<KeyChange> TakeAnnounced(KeyWatcher& watcher) {
  std::vector<KeyChange> all;
  pollfd readable{.fd = watcher.Fd(), .events = POLLIN, .revents = 0};
  while (::poll(&readable, 1, 0) == 1) {
    auto some = watcher.TakeChanges();
    std::move(some.begin(), some.end(), std::back_inserter(all));
  }
  return all;
}

std::vector<std::string> ToTexts(const std::vector<KeyChange>& changes) {
  std::vector<std::string> texts;
  std::transform(changes.begin(), changes.end(), std::back_inserter(texts), ToText);
  return texts;
}

std::vector<std::string> Counted(std::string_view key, int last) {
  std::vector<std::string> texts;
  for (int value = 1; value <= last; ++value) {
    texts.push_back(std::string(key) + " " + std::to_string(value));
  }
  return texts;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::filesystem::path LogFile() {
  static const support::TempDirectory directory;
  static const bool isOpen = [] {
    OpenLog(directory / "log");
    return true;
  }();
  EXPECT_TRUE(isOpen);
  return directory / "log";
}

std::vector<std::string> LogLines() {
  EXPECT_TRUE(FlushLog(std::chrono::seconds(10)));
  return Lines(support::ReadFile(LogFile()));
}

int Integer(KeyStore& store, std::string_view key) {
  const auto value = store.Get(key);
  const int* number = value ? std::get_if<int>(&*value) : nullptr;
  return number != nullptr ? *number : 0;
}

std::vector<std::string> OfKey(const std::vector<std::string>& lines, std::string_view key) {
  std::vector<std::string> own;
  std::copy_if(lines.begin(), lines.end(), std::back_inserter(own),
               [&](const std::string& line) { return line.starts_with(std::string(key) + " "); });
  return own;
}

std::unique_ptr<KeyStore> KeyStoreTest::Open() const {
  return std::make_unique<KeyStore>(StateDir(), RunDir());
}

bool KeyStoreTest::Worker::IsReady() const {
  return support::WaitUntil([this] { return !support::ReadFile(out).empty(); });
}

KeyStoreTest::Worker KeyStoreTest::Start(std::vector<std::string> arguments) {
  const std::string name = "worker" + std::to_string(++m_Workers);
  const std::filesystem::path out = m_Root / (name + ".out");
  const std::filesystem::path err = m_Root / (name + ".err");
  arguments.insert(arguments.begin(), {KEY_STORE_WORKER, StateDir(), RunDir()});
  return {std::make_unique<support::Process>(arguments, support::Variables{},
                                             support::Files{"/dev/null", out, err}),
          out, err};
}

void KeyStoreTest::ExpectIntegrity() const {
  for (const auto& file : {DurableFile(), MemoryFile()}) {
    EXPECT_EQ(Sql(file, "PRAGMA integrity_check"), "ok") << file;
  }
}

}  // namespace host
