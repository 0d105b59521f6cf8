#include "keystore/store_check.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <optional>

#include "keystore/file_damage.h"
#include "keystore/sqlite.h"
#include "keystore/store_error.h"
#include "keystore/store_files.h"
#include "keystore/store_salvage.h"
#include "system/file_descriptor.h"
#include "system/file_lock.h"

namespace host {
namespace {

using std::filesystem::path;
using State = StoreFile::State;

// While others use a file only SQLite may touch it.
std::optional<std::string> DamageInUse(const path& file) {
  return Database::IsSound(file) ? std::nullopt : std::optional<std::string>("is damaged");
}

// SQLite would fold the log in when it closes the file, so it gets a copy.
bool DoPagesFit(const path& file) {
  try {
    return ReadDamaged(file, {}).isWhole;
  } catch (const StoreError& error) {
    if (!error.IsDamage() && error.Error() != EIO) {
      throw;
    }
    return false;
  }
}

std::optional<std::string> DamageAtRest(const path& file, bool isSameBoot) {
  const bool isLogCut = CutOfLog(file, isSameBoot).has_value();
  const auto judge = [&](const path& judged) { return isLogCut || DoPagesFit(judged); };
  if (auto damage = DamageOf(file, judge)) {
    return damage;
  }
  return isLogCut ? std::optional<std::string>("has lost the end of its log") : std::nullopt;
}

StoreFile Check(const path& file, bool isInUse, bool isSameBoot) {
  if (IsMissingOrEmpty(file)) {
    return {file, IsThere(file) ? State::kDamaged : State::kMissing, AbsenceOf(file)};
  }
  std::error_code ignored;
  const bool isShared = isInUse && !IsOnReadOnlyFileSystem(file);
  if (HasForeignLog(file) && (isShared || std::filesystem::file_size(LogOf(file), ignored) > 0)) {
    return {file, State::kDamaged, "took the place of another one, whose log is beside it"};
  }
  const auto damage = isInUse ? DamageInUse(file) : DamageAtRest(file, isSameBoot);
  return {file, damage ? State::kDamaged : State::kWhole, damage.value_or("is whole")};
}

}  // namespace

std::vector<StoreFile> CheckStore(const path& stateDir, const path& runDir) {
  std::optional<FileDescriptor> lock;
  FileDescriptor use;
  bool isInUse = false;
  if (std::filesystem::is_directory(runDir)) {
    // Nobody can open the store meanwhile.
    lock = OpenLocked(runDir, O_RDONLY | O_DIRECTORY);
    use = FileDescriptor(::open((runDir / kUsersName).c_str(), O_RDONLY | O_CLOEXEC));
    isInUse = use && ::flock(use.Get(), LOCK_EX | LOCK_NB) != 0;
  }
  const bool isSameBoot = IsThere(runDir / kKeyFileName);
  std::vector<StoreFile> files;
  for (const path& directory : {stateDir, runDir}) {
    const path file = directory / kKeyFileName;
    if (directory == stateDir || isInUse || IsThere(file)) {
      files.push_back(Check(file, isInUse || IsOpenSomewhere(file), isSameBoot));
    }
    if (IsThere(CopyOf(file))) {
      files.push_back(Check(CopyOf(file), false, isSameBoot));
    }
    for (const path& aside : SetAsideFiles(file)) {
      files.push_back({aside, State::kSetAside, "was set aside"});
    }
  }
  return files;
}

}  // namespace host
