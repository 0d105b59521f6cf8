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

class Damages : public ::testing::Test {
 protected:
  Damages() {
    MakeStore({m_Directory / "making"});
    for (const char* name : kStates) {
      // A process that is killed leaves its log and its index.
      EXPECT_EQ(std::filesystem::exists(LogOf(StoreFiles{m_Directory / name}.Durable())),
                std::string(name) != "making");
    }
  }

  // Text on several pages, and numbers.
  static KeyValue ValueOf(int key, int generation) {
    return key % 2 == 0 ? KeyValue(generation * 1000 + key)
                        : KeyValue(std::string(300, static_cast<char>('a' + key % 26)) +
                                   std::to_string(generation));
  }

  // A store with a good copy, as it is after a proper end and, beside it, as it is after all its
  // users were killed, before and after the log was folded in while somebody was reading.
  void MakeStore(const StoreFiles& files) {
    const auto write = [this](KeyStore& store, int generation) {
      for (int key = 0; key < kKeys; ++key) {
        for (const char* place : {"db/", "memory/"}) {
          const std::string name = place + std::to_string(key);
          store.Set(name, ValueOf(key, generation));
          m_Keys[name].newest = ValueOf(key, generation);
        }
      }
    };
    {
      KeyStore store(files.StateDir(), files.RunDir());
      write(store, 1);
    }
    CopyKeyFile(files.Durable(), CopyOf(files.Durable()));
    KeyStore store(files.StateDir(), files.RunDir());
    write(store, 2);
    std::filesystem::copy(files.root, m_Directory / "killed",
                          std::filesystem::copy_options::recursive);
    for (const path& file : {files.Durable(), files.Memory()}) {
      Database(file).Execute("PRAGMA wal_checkpoint(PASSIVE)");
    }
    std::filesystem::copy(files.root, m_Directory / "folded in",
                          std::filesystem::copy_options::recursive);
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

  static constexpr const char* kStates[] = {"making", "killed", "folded in"};

  // A fresh copy of the store in one of these states.
  StoreFiles Fresh(const std::string& name) {
    const path root = m_Directory / "case";
    std::filesystem::remove_all(root);
    std::filesystem::copy(m_Directory / name, root, std::filesystem::copy_options::recursive);
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
    std::string what = state == "making" ? "at rest, " : state + ", ";
    what += many == 2 ? "two files" : "";
    for (int i = 0; i < many; ++i) {
      const path file = candidates[Below(candidates.size())];
      Do(damage, file);
      if (many == 1) {
        what += file.parent_path().filename().string() + "/" + file.filename().string();
      }
    }
    const Fate fate = Judge(files, m_Keys, logBegin, false);
    outcomes.Add(what + ": " + NameOf(damage), fate);
    EXPECT_LT(fate, Fate::kNotOpened)
        << "case " << number << ", " << what << ": " << NameOf(damage);
  }
  outcomes.Print("damage");
  EXPECT_EQ(outcomes.Count(Fate::kSilent), 0);
  // Damage was done and noticed.
  EXPECT_GT(outcomes.Count(Fate::kTold), kCases / 10);
}

}  // namespace
}  // namespace host
