// A daemon that is started by hand on an empty directory finds a set that works, too. This object
// is linked into every program that is linked with the platform; nobody calls anything in it.

#include "framework/set_preparation.h"
#include "keystore/process_store.h"
#include "set/fresh_set.h"
#include "system/environment.h"

namespace host {
namespace {

void Prepare() {
  KeyStore& store = ProcessStore();
  PrepareFreshSet(store, SetLock(RunDir()));
}

[[maybe_unused]] const bool g_Registered = PrepareSetWith(Prepare);

}  // namespace
}  // namespace host
