#include "store_state.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>

#include "support/temp_directory.h"
#include "system/log.h"

namespace host {
namespace {

// The log of this program, which is only opened once.
const std::filesystem::path& LogFile() {
  static const support::TempDirectory directory;
  static const std::filesystem::path file = [] {
    OpenLog(directory / "log");
    return directory / "log";
  }();
  return file;
}

// Whether a line at ERROR since `begin` is about the file.
bool IsTold(std::uintmax_t begin, const std::filesystem::path& file) {
  const std::string log = LogSince(begin);
  for (std::size_t at = 0; at < log.size();) {
    const std::size_t end = log.find('\n', at);
    const std::string line = log.substr(at, end - at);
    if (line.find(" E ") != std::string::npos && line.find(file.string()) != std::string::npos) {
      return true;
    }
    at = end == std::string::npos ? log.size() : end + 1;
  }
  return false;
}

}  // namespace

void Outcomes::Add(const std::string& what, Fate fate) { ++m_Counts[what][fate]; }

int Outcomes::Count(Fate fate) const {
  int count = 0;
  for (const auto& [what, fates] : m_Counts) {
    const auto found = fates.find(fate);
    count += found == fates.end() ? 0 : found->second;
  }
  return count;
}

void Outcomes::Print(const std::string& title) const {
  std::printf("%-44s %6s %8s %6s %6s %6s\n", title.c_str(), "kept", "reported", "told", "shut",
              "silent");
  for (const auto& [what, fates] : m_Counts) {
    const auto count = [&fates = fates](Fate fate) {
      const auto found = fates.find(fate);
      return found == fates.end() ? 0 : found->second;
    };
    std::printf("%-44s %6d %8d %6d %6d %6d\n", what.c_str(), count(Fate::kKept),
                count(Fate::kReported), count(Fate::kTold), count(Fate::kNotOpened),
                count(Fate::kSilent));
  }
}

std::uintmax_t LogSize() {
  const std::filesystem::path& file = LogFile();
  FlushLog(std::chrono::seconds(10));
  return std::filesystem::file_size(file);
}

std::string LogSince(std::uintmax_t begin) {
  FlushLog(std::chrono::seconds(10));
  return support::ReadFile(LogFile()).substr(begin);
}

Fate Judge(const StoreFiles& files, const ExpectedKeys& keys, std::uintmax_t logBegin,
           bool isReported) {
  Fate worst = isReported ? Fate::kReported : Fate::kKept;
  try {
    KeyStore store(files.StateDir(), files.RunDir());
    for (const auto& [key, expected] : keys) {
      Fate fate = Fate::kKept;
      try {
        const auto value = store.Get(key);
        const bool isAttempted = expected.attempted && value == expected.attempted;
        if (value != expected.newest && !isAttempted) {
          const auto& file = key.starts_with("db/") ? files.Durable() : files.Memory();
          fate = IsTold(logBegin, file) ? Fate::kTold : Fate::kSilent;
        }
      } catch (const std::exception&) {
        fate = Fate::kReported;
      }
      worst = std::max(worst, fate);
      if (worst == Fate::kSilent) {
        break;
      }
    }
  } catch (const std::exception& error) {
    std::printf("not opened: %s\n", error.what());
    worst = Fate::kNotOpened;
  }
  return worst;
}

}  // namespace host
