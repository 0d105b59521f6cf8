#include "set/change_feed.h"

#include <future>
#include <memory>
#include <string>

#include "set/keys.h"
#include "set_test.h"
#include "system/host.h"

namespace host {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

TEST_F(HostSet, EachKeyCountsAsChangedOnceWhenChangesWereLost) {
  constexpr char kStallKey[] = "memory/set/test/stall";
  constexpr std::size_t kMebibyte = 1024 * 1024;
  constexpr int kMoreThanIsKept = 24;
  const GameItems items;
  // The sink stays when the test ends.
  struct Stall {
    std::promise<void> begun;
    std::promise<void> ended;
  };
  const auto stall = std::make_shared<Stall>();
  g_Host.changeFeed.Get().Add([stall, kStallKey](const KeyChange& change) {
    if (change.key == kStallKey && change.value == KeyValue(1)) {
      stall->begun.set_value();
      stall->ended.get_future().wait();
    }
  });
  Store().Set(kStallKey, 1);
  stall->begun.get_future().wait();
  Store().Set(kStallKey, 0);
  Store().Set(kGameItemKey, 5);
  for (int text = 0; text < kMoreThanIsKept; ++text) {
    Store().Set("memory/set/test/text", std::string(kMebibyte, 'x'));
  }
  stall->ended.set_value();
  ASSERT_TRUE(items.WaitForCount(1));
  Store().Set(kGameItemKey, 6);
  ASSERT_TRUE(items.WaitForCount(2));
  EXPECT_THAT(items.All(), ElementsAre(5, 6));
  EXPECT_THAT(Logged("this watcher was too slow and missed"), SizeIs(1));
}

}  // namespace
}  // namespace host
