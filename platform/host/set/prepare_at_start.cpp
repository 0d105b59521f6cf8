// A daemon that is started by hand on an empty directory finds a set that works, too.

#include <exception>

#include "framework/set_preparation.h"
#include "keystore/process_store.h"
#include "keystore/store_keeper.h"
#include "set/fresh_set.h"
#include "system/environment.h"
#include "system/host.h"

namespace host {

void PrepareSet() {
  KeyStore& store = ProcessStore();
  // Whether one of the two can be done does not matter to the other.
  std::exception_ptr failure;
  try {
    // Ends with the service, when it folds in what was written last.
    g_Host.storeKeeper.Get([] { return new StoreKeeper(StateDir(), RunDir()); });
  } catch (...) {
    failure = std::current_exception();
  }
  // Who keeps the set locked, such as a tool that is stopped, may hold this thread up for seconds.
  if (!IsPrepared(store)) {
    PrepareFreshSet(store, SetLock(RunDir()));
  }
  if (failure) {
    std::rethrow_exception(failure);
  }
}

}  // namespace host
