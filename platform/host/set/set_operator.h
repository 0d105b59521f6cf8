#pragma once

#include <filesystem>
#include <functional>

#include "keystore/key_store.h"
#include "set/set_steps.h"

namespace host {

// Operates a set. Any number of programs may do so at once: what one plays, none of the others
// plays into.
class SetOperator {
 public:
  // The store outlives the operator; `runDir` is that of the same set.
  SetOperator(KeyStore& store, std::filesystem::path runDir);

  // Waits for its turn, makes the set complete, and plays the steps that `steps` makes of it. When
  // they have begun they come to their end: the calling thread takes no signals meanwhile, and what
  // `played`, called after each step, throws is thrown after the last one; it is not called again
  // before. Throws what `steps` throws, with nothing played, std::system_error when the set's lock
  // cannot be used, and std::runtime_error, as the one failure in the middle, when the store fails.
  void Play(
      const std::function<Steps(const SetView&)>& steps,
      const std::function<void(const Step&)>& played = [](const Step&) {});

 private:
  KeyStore& m_Store;
  const std::filesystem::path m_RunDir;
};

}  // namespace host
