#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "keystore/key_store.h"
#include "set/set_value.h"
#include "setctl/verbs.h"
#include "system/signals_blocked.h"

namespace setctl {

// The virtual set that a verb operates: complete, and no other verb's before this one's end.
class VirtualSet {
 public:
  VirtualSet(host::KeyStore& store, const Options& options) : m_Store(store), m_Options(options) {}

  // Writes a key, and prints it for `--json`. A refused value would be a mistake of the verb. What
  // has begun comes to its end: from the first write on signals wait for the end of the verb, and
  // that nothing can be printed is told there.
  void Write(const std::string& key, const host::KeyValue& value);

  // What a set takes its time for between two steps. Services on threads of their own, and
  // programs that read a key when they hear of its change, see the first step before the second.
  void Pause(std::chrono::milliseconds time);

  // The verb is done. Throws what printing threw.
  void End();

  // The number in a key; nothing when it holds none.
  std::optional<int> Number(const std::string& key) const;

  // Throws tools::Failure when the list cannot be read.
  std::vector<host::SetSource> Sources() const;

  // Where the picture is; at the screen's corner and without size when that cannot be read.
  host::Window PictureWindow() const;

 private:
  void m_Print(const std::function<void()>& print);

  host::KeyStore& m_Store;
  const Options& m_Options;
  std::optional<host::SignalsBlocked> m_Begun;
  std::exception_ptr m_OutputFailure;
};

// Runs a verb on the set of the options, which becomes complete first.
tools::ExitCode Operate(const Options& options, const std::function<void(VirtualSet&)>& verb);

}  // namespace setctl
