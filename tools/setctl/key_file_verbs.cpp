#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "keystore/key_store.h"
#include "keystore/store_check.h"
#include "keystore/store_copy.h"
#include "keystore/store_files.h"
#include "keystore/store_salvage.h"
#include "setctl/key_text.h"
#include "setctl/verbs.h"
#include "system/environment.h"
#include "text.h"

namespace setctl {
namespace {

using host::KeyStore;
using host::StoreFile;
using std::filesystem::path;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

struct FileArguments {
  std::string file;
  bool set = false;
};

std::string StateText(StoreFile::State state) {
  switch (state) {
    case StoreFile::State::kWhole:
      return "whole";
    case StoreFile::State::kDamaged:
      return "damaged";
    case StoreFile::State::kMissing:
      return "missing";
    case StoreFile::State::kSetAside:
      break;
  }
  return "set aside";
}

ExitCode Check(const Options& options) {
  return WithSet(options, [&] {
    bool isGood = true;
    for (const StoreFile& file : host::CheckStore(host::StateDir(), host::RunDir())) {
      tools::PrintLine(options.json ? tools::JsonLine({{"file", file.file.native()},
                                                       {"state", StateText(file.state)},
                                                       {"what", file.what}})
                                    : fmt::format("{} {}", file.file.native(), file.what));
      isGood = isGood && (file.state == StoreFile::State::kWhole ||
                          file.state == StoreFile::State::kSetAside);
    }
    return isGood ? ExitCode::kDone : ExitCode::kRefused;
  });
}

ExitCode Backup(const Options& options, const std::string& name) {
  const path file = std::filesystem::absolute(name);
  return WithStore(options, [&](KeyStore&) {
    for (const path& directory : {host::StateDir(), host::RunDir()}) {
      std::error_code ignored;
      if (std::filesystem::equivalent(file.parent_path(), directory, ignored)) {
        throw Failure(ExitCode::kUsage,
                      fmt::format("{} is where the store itself is; choose another directory",
                                  Quote(file.parent_path().native())));
      }
    }
    host::CopyKeyFile(host::StateDir() / host::kKeyFileName, file);
    return ExitCode::kDone;
  });
}

// The keys that there may be, by which those behind a damaged place are found.
// Without a store that can be read there are none: the file is needed most just then.
std::vector<std::string> KnownKeys(KeyStore* store) {
  std::vector<std::string> known;
  try {
    for (const auto& [key, value] : (store != nullptr ? store->List("") : OpenStore()->List(""))) {
      known.push_back(key);
    }
  } catch (const std::runtime_error&) {
  }
  return known;
}

ExitCode Recover(const Options& options, const FileArguments& arguments) {
  const path file = std::filesystem::absolute(arguments.file);
  return WithSet(options, [&] {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(file, ignored)) {
      throw Failure(ExitCode::kNotFound, fmt::format("no file {}; setctl key check lists what was "
                                                     "set aside",
                                                     Quote(file.native())));
    }
    if (std::filesystem::equivalent(file, host::StateDir() / host::kKeyFileName, ignored) ||
        std::filesystem::equivalent(file, host::RunDir() / host::kKeyFileName, ignored)) {
      throw Failure(ExitCode::kUsage,
                    fmt::format("{} is in use; see setctl key list", Quote(file.native())));
    }
    const auto store = arguments.set ? OpenStore() : nullptr;
    const host::Salvage salvage = host::ReadDamaged(file, KnownKeys(store.get()));
    if (store) {
      // All before the first is printed, which may fail.
      for (const auto& [key, value] : salvage.keys) {
        store->Set(key, value);
      }
    }
    for (const auto& [key, value] : salvage.keys) {
      tools::PrintLine(options.json ? KeyJson(key, value) : KeyText(key, value));
    }
    tools::Flush();
    tools::PrintNote(
        fmt::format("{} keys; {}", salvage.keys.size(),
                    salvage.isWhole ? "the file is whole" : "parts of the file cannot be read"));
    return salvage.isWhole ? ExitCode::kDone : ExitCode::kRefused;
  });
}

}  // namespace

void AddKeyFileVerbs(tools::Tool& tool, tools::Syntax group, const Options& options) {
  auto arguments = std::make_shared<FileArguments>();
  tool.AddVerb(group, "check", "Say how the store's files are, and which were set aside",
               [&options] { return Check(options); });

  tool.AddVerb(group, "backup", "Write the db/ keys, as they are at this moment, into a file",
               [&options, arguments] { return Backup(options, arguments->file); })
      .AddArgument("FILE", arguments->file, "Replaced when it is there")
      .Required()
      .CompletedBy(tools::PathCandidates);

  tools::Syntax recover =
      tool.AddVerb(group, "recover", "Print the keys that can be read in a file that was set aside",
                   [&options, arguments] { return Recover(options, *arguments); });
  recover.AddArgument("FILE", arguments->file, "See setctl key check")
      .Required()
      .CompletedBy(tools::PathCandidates);
  recover.AddFlag("--set", arguments->set, "Store them, too");
}

}  // namespace setctl
