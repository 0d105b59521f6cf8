#pragma once

#include "keystore/key_store.h"

namespace host {

// The key store of this process's set, opened at its first use. A failure to open it throws
// std::runtime_error, and the next use tries again. Any thread. It is never closed: a thread or a
// callback may still need it while the process ends.
KeyStore& ProcessStore();

}  // namespace host
