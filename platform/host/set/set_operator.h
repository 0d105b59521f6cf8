#pragma once

#include <filesystem>
#include <functional>

#include "keystore/key_store.h"
#include "set/set_steps.h"

namespace host {

// Operates a set. Any number of programs may do so at once; their operations never interleave.
class SetOperator {
 public:
  // The store must outlive the operator; `runDir` is that of the same set.
  SetOperator(KeyStore& store, std::filesystem::path runDir);

  // Waits for its turn, creates missing keys, and plays the steps that `steps` returns for the set.
  // Once begun, they are completed: the calling thread takes no signals meanwhile, and if `played`,
  // called after each step, throws, it is not called again and its exception is thrown after the
  // last step. Throws what `steps` throws, with nothing played, std::system_error when the set's
  // lock cannot be used, and std::runtime_error when the store fails, the only failure that can
  // leave steps unplayed.
  void Play(
      const std::function<Steps(const SetView&)>& steps,
      const std::function<void(const Step&)>& played = [](const Step&) {});

 private:
  KeyStore& m_Store;
  const std::filesystem::path m_RunDir;
};

}  // namespace host
