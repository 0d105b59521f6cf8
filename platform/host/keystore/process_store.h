#pragma once

#include "keystore/key_store.h"

namespace host {

// The key store of this process's set, opened at its first use, and again at the next one if that
// failed, which throws std::runtime_error. Any thread. It is never closed: a thread or a callback
// may still need it while the process ends.
KeyStore& ProcessStore();

}  // namespace host
