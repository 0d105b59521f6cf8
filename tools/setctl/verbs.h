#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "keystore/key_store.h"
#include "tool.h"

namespace host {
class KeyStore;
}

// The verbs of setctl (docs/commands.md). `options` must outlive the tool's run.
namespace setctl {

struct Options {
  std::optional<std::string> root;
  std::string bus = "session";
  bool json = false;
};

void AddKeyVerbs(tools::Tool& tool, const Options& options);
void AddKeyFileVerbs(tools::Tool& tool, tools::Syntax keyGroup, const Options& options);
void AddLogVerb(tools::Tool& tool, const Options& options);
void AddCatalogueVerb(tools::Tool& tool, const Options& options);
void AddSetVerbs(tools::Tool& tool, const Options& options);
void AddAppVerbs(tools::Tool& tool, const Options& options);

// Makes this process work on the set given by the options. Called first by each verb that works on
// a set. Throws tools::Failure (wrong usage) when there is no such directory.
void EnterSet(const Options& options);

// Throws tools::Failure when the entered set has no key store: only the daemon creates it. Called
// by each verb that needs one.
void RequireSet();

// Enters the set and runs `verb`. Missing permissions end the tool with kNotAllowed.
tools::ExitCode WithSet(const Options& options, const std::function<tools::ExitCode()>& verb);

// The entered set's key store; RequireSet says when there is none. Reports of the store are printed
// at once. Called once at most.
std::unique_ptr<host::KeyStore> OpenStore();

// WithSet for a set that must exist, with its key store.
tools::ExitCode WithStore(const Options& options,
                          const std::function<tools::ExitCode(host::KeyStore&)>& verb);

}  // namespace setctl
