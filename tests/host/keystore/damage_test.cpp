// Damages the files of a store in a thousand ways and looks at what becomes of its values. Prints
// how often each outcome occurred (docs/reliability.md).

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>

#include "keystore/sqlite.h"
#include "keystore/store_copy.h"
#include "keystore/store_files.h"
#include "store_state.h"
#include "support/temp_directory.h"

namespace host {
namespace {

using std::filesystem::path;

constexpr int kCases = 1000;
constexpr int kKeys = 40;
constexpr std::uintmax_t kPage = 4096;

enum class Damage { kTruncate, kFlip, kZero, kSwap };
constexpr Damage kDamages[] = {Damage::kTruncate, Damage::kFlip, Damage::kZero, Damage::kSwap};

const char* NameOf(Damage damage) {
  switch (damage) {
    case Damage::kTruncate:
      return "cut";
    case Damage::kFlip:
      return "one bit flipped";
    case Damage::kZero:
      return "some bytes zeroed";
    default:
      return "two pages swapped";
  }
}

// A store after a proper end; and after all its users were killed, when nothing of the log was in
// the file yet, what had been written before a slow reader began, or everything.
constexpr const char* kStates[] = {"at rest", "after a kill", "after a kill, half folded",
                                   "after a kill, folded"};

// What a slow reader does to a file: what is written now stays in the log.
struct SlowReader {
  explicit SlowReader(const path& file) : database(file) {
    database.Execute("BEGIN");
    Statement(database, "SELECT count(*) FROM keys").Execute();
  }
  Database database;
};

void Fold(const path& file) { Database(file).Execute("PRAGMA wal_checkpoint(PASSIVE)"); }

class Damages : public ::testing::Test {
 protected:
  Damages() {
    MakeStore({m_Directory / kStates[0]});
    for (const char* state : kStates) {
      // A process that is killed leaves its log and its index.
      EXPECT_EQ(std::filesystem::exists(LogOf(StoreFiles{m_Directory / state}.Durable())),
                state != kStates[0]);
    }
  }

  // Text on several pages, and numbers.
  static KeyValue ValueOf(int key, int generation) {
    return key % 2 == 0 ? KeyValue(generation * 1000 + key)
                        : KeyValue(std::string(300, static_cast<char>('a' + key % 26)) +
                                   std::to_string(generation));
  }

  // A store with a good copy, in all states.
  void MakeStore(const StoreFiles& files) {
    const auto write = [this](KeyStore& store, int generation, int begin, int end) {
      for (int key = begin; key < end; ++key) {
        for (const char* place : {"db/", "memory/"}) {
          const std::string name = place + std::to_string(key);
          store.Set(name, ValueOf(key, generation));
          m_Keys[name].newest = ValueOf(key, generation);
        }
      }
    };
    const auto save = [&](const char* state) {
      std::filesystem::copy(files.root, m_Directory / state,
                            std::filesystem::copy_options::recursive);
    };
    {
      KeyStore store(files.StateDir(), files.RunDir());
      write(store, 1, 0, kKeys);
    }
    CopyKeyFile(files.Durable(), CopyOf(files.Durable()));
    KeyStore store(files.StateDir(), files.RunDir());
    write(store, 2, 0, kKeys / 2);
    {
      const SlowReader ofDurable(files.Durable());
      const SlowReader ofMemory(files.Memory());
      write(store, 2, kKeys / 2, kKeys);
      save(kStates[1]);
      Fold(files.Durable());
      Fold(files.Memory());
      save(kStates[2]);
    }
    Fold(files.Durable());
    Fold(files.Memory());
    save(kStates[3]);
  }

  // The files of a store that are worth damaging.
  static std::vector<path> FilesOf(const StoreFiles& files) {
    std::vector<path> found;
    for (const path& file : {files.Durable(), files.Memory()}) {
      for (const char* suffix : {"", "-wal", "-shm"}) {
        std::error_code missing;
        const path each = file.string() + suffix;
        if (std::filesystem::file_size(each, missing) > 0 && !missing) {
          found.push_back(each);
        }
      }
    }
    return found;
  }

  std::uintmax_t Below(std::uintmax_t end) {
    return std::uniform_int_distribution<std::uintmax_t>(0, end - 1)(m_Random);
  }

  void Do(Damage damage, const path& file) {
    std::string bytes = support::ReadFile(file);
    const std::uintmax_t at = Below(bytes.size());
    switch (damage) {
      case Damage::kTruncate:
        bytes.resize(at);
        break;
      case Damage::kFlip:
        bytes[at] = static_cast<char>(bytes[at] ^ (1 << Below(8)));
        break;
      case Damage::kZero:
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                    std::min<std::uintmax_t>(bytes.size() - at, 1 + Below(2 * kPage)), '\0');
        break;
      case Damage::kSwap: {
        const std::uintmax_t pages = std::max<std::uintmax_t>(bytes.size() / kPage, 1);
        const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(Below(pages) * kPage);
        const auto second = bytes.begin() + static_cast<std::ptrdiff_t>(Below(pages) * kPage);
        if (bytes.size() >= kPage && first != second) {
          std::swap_ranges(first, first + kPage, second);
        }
        break;
      }
    }
    std::ofstream(file, std::ios::binary | std::ios::trunc) << bytes;
  }

  StoreFiles Fresh(const std::string& state) {
    const path root = m_Directory / "case";
    std::filesystem::remove_all(root);
    std::filesystem::copy(m_Directory / state, root, std::filesystem::copy_options::recursive);
    return {root};
  }

  support::TempDirectory m_Directory;
  ExpectedKeys m_Keys;
  std::minstd_rand m_Random{7};
};

TEST_F(Damages, ChangeNoValueWithoutAWordAndTheStoreOpens) {
  Outcomes outcomes;
  for (int number = 0; number < kCases; ++number) {
    const std::string state = kStates[number % std::size(kStates)];
    const StoreFiles files = Fresh(state);
    const std::uintmax_t logBegin = LogSize();
    const std::vector<path> candidates = FilesOf(files);
    const Damage damage = kDamages[number / std::size(kStates) % std::size(kDamages)];
    // Every seventh time two together.
    const int many = number % 7 == 0 ? 2 : 1;
    std::string what = state + ", " + (many == 2 ? "two files" : "");
    for (int i = 0; i < many; ++i) {
      const path file = candidates[Below(candidates.size())];
      Do(damage, file);
      if (many == 1) {
        what += file.parent_path().filename().string() + "/" + file.filename().string();
      }
    }
    const Fate fate = Judge(files, m_Keys, logBegin, false);
    outcomes.Add(what + ": " + NameOf(damage), fate);
    const std::string which = "case " + std::to_string(number) + ", " + what + ": ";
    EXPECT_LT(fate, Fate::kNotOpened) << which << NameOf(damage);
    // And it is whole from now on.
    for (const path& file : {files.Durable(), files.Memory()}) {
      EXPECT_TRUE(Database::IsSound(file)) << which << NameOf(damage) << ": " << file;
    }
  }
  outcomes.Print("damage");
  EXPECT_EQ(outcomes.Count(Fate::kSilent), 0);
  // Damage was done and noticed.
  EXPECT_GT(outcomes.Count(Fate::kTold), kCases / 10);
}

}  // namespace
}  // namespace host
