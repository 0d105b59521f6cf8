#include "keystore/key_store.h"
#include "system_test.h"

namespace {

using host::KeyStore;
using host::KeyValue;

KeyStore StoreOf(const TelevisionSet& set) {
  return KeyStore(set.Root() / "var/lib/settings-service", set.Root() / "run/settings-service");
}

TEST(FreshSet, ADaemonOnAnEmptyDirectoryFindsASetThatWorks) {
  TelevisionSet set;
  set.StartDaemon();
  KeyStore store = StoreOf(set);
  EXPECT_EQ(store.Get("memory/tv-viewer/viewer_state"), KeyValue(""));
  EXPECT_EQ(store.Get("memory/tv-viewer/visible_banners"), KeyValue(""));
  EXPECT_EQ(store.Get("db/sysman/rotation_state"), KeyValue(1));
  EXPECT_EQ(store.Get("memory/set/source/current"), KeyValue(0));
  EXPECT_EQ(store.Get("db/factory/factory_reset_count"), KeyValue(0));
  EXPECT_TRUE(store.Get("memory/set/sources"));
  EXPECT_EQ(set.EndDaemon(), 0);
}

TEST(FreshSet, ADaemonLeavesTheKeysOfItsSetAsTheyAre) {
  TelevisionSet set;
  KeyStore store = StoreOf(set);
  store.Set("db/sysman/rotation_state", 2);
  store.Set("memory/set/sources", "[]");
  store.Set("memory/tv-viewer/viewer_state", "resume_focus");
  set.StartDaemon();
  EXPECT_EQ(store.Get("db/sysman/rotation_state"), KeyValue(2));
  EXPECT_EQ(store.Get("memory/set/sources"), KeyValue("[]"));
  EXPECT_EQ(store.Get("memory/tv-viewer/viewer_state"), KeyValue("resume_focus"));
  EXPECT_EQ(set.EndDaemon(), 0);
}

}  // namespace
