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

TEST(FreshSet, ADaemonThatCannotPrepareItsSetKeepsItsStoreInOrder) {
  TelevisionSet set;
  std::filesystem::create_directories(set.Root() / "run/settings-service/set.lock");
  set.StartDaemon();
  KeyStore store = StoreOf(set);
  store.Set("db/key", 1);
  EXPECT_TRUE(support::WaitUntil([&] {
    return std::filesystem::file_size(set.Root() / "var/lib/settings-service/keys.db-wal") == 0;
  }));
  EXPECT_EQ(set.EndDaemon(), 0);
}

TEST(FreshSet, ADaemonThatCouldNotOpenItsStorePreparesTheSetLater) {
  TelevisionSet set;
  const std::filesystem::path users = set.Root() / "run/settings-service/users";
  std::filesystem::create_directories(users);
  set.StartDaemon();
  EXPECT_TRUE(support::WaitUntil([&] {
    return set.LogText().find("the preparation of the set: cannot create " + users.string()) !=
           std::string::npos;
  }));
  std::filesystem::remove(users);
  EXPECT_TRUE(
      support::WaitUntil([&] { return StoreOf(set).Get("memory/set/sources").has_value(); }));
  EXPECT_EQ(set.EndDaemon(), 0);
}

}  // namespace
