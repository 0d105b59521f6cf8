#include "keystore/process_store.h"

#include "system/environment.h"
#include "system/host.h"

namespace host {

KeyStore& ProcessStore() {
  return g_Host.keyStore.Get([] { return new KeyStore(StateDir(), RunDir()); });
}

}  // namespace host
