// A daemon that is started by hand on an empty directory finds a set that works, too.

#include "framework/set_preparation.h"
#include "keystore/process_store.h"
#include "keystore/store_keeper.h"
#include "set/fresh_set.h"
#include "system/environment.h"
#include "system/host.h"

namespace host {

void PrepareSet() {
  // The store makes the directory in which the lock is.
  KeyStore& store = ProcessStore();
  PrepareFreshSet(store, SetLock(RunDir()));
  // Ends with the service, when it folds in what was written last.
  g_Host.storeKeeper.Get([] { return new StoreKeeper(StateDir(), RunDir()); });
}

}  // namespace host
