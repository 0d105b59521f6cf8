#include "keystore/process_store.h"

#include "system/environment.h"

namespace host {

KeyStore& ProcessStore() {
  static auto* const store = new KeyStore(StateDir(), RunDir());
  return *store;
}

}  // namespace host
