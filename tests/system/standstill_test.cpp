// What a client sends while the daemon stands still, and what becomes of it when the daemon goes
// on.

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "settings/batch.h"
#include "settings/client.h"
#include "settings/item_cache.h"
#include "support/wait.h"
#include "system_test.h"

namespace {

using namespace std::chrono_literals;
using settings::Batch;
using settings::Client;

class Standstill : public SystemTest {
 protected:
  // Items of the menu, the upper ones first.
  std::vector<std::string> Items(std::size_t count) {
    std::vector<std::string> items;
    std::vector<std::string> groups = {""};
    while (items.size() < count && !groups.empty()) {
      const std::string group = groups.front();
      groups.erase(groups.begin());
      for (const std::string& item :
           m_Client.GetItemChildList(group).value_or(std::vector<std::string>())) {
        items.push_back(item);
        groups.push_back(item);
      }
    }
    items.resize(std::min(items.size(), count));
    return items;
  }

  Client m_Client{m_Set.Bus().Address(), support::kPatience};
};

TEST_F(Standstill, ACacheThatAsksAgainAllTheWhileIsCurrentAfterwards) {
  const std::vector<std::string> items = Items(100);
  ASSERT_EQ(items.size(), 100u);
  constexpr auto kTimeout = 100ms * SETTINGS_SLOWDOWN;
  Client hasty(m_Set.Bus().Address(), kTimeout);
  m_Set.Daemon().Signal(SIGSTOP);
  const settings::ItemCache cache(hasty, items, [](auto, const auto&) {});
  EXPECT_FALSE(hasty.RunUntil([] { return false; }, 15 * kTimeout));
  m_Set.Daemon().Signal(SIGCONT);
  EXPECT_TRUE(hasty.RunUntil([&] { return cache.IsCurrent(); }, support::kPatience));
}

TEST_F(Standstill, ABatchIsAnsweredAfterMoreThanMayWaitWasAskedAndGivenUp) {
  const auto add = [](Batch& batch) {
    std::vector<settings::Answer<std::optional<std::string>>> answers;
    for (int count = 0; count < 512; ++count) {
      answers.push_back(batch.Add(settings::ask::GetItemValue("picturemode")));
    }
    return answers;
  };
  m_Set.Daemon().Signal(SIGSTOP);
  for (int givenUp = 0; givenUp < 20; ++givenUp) {
    Batch batch(m_Client);
    add(batch);
    batch.Send([] { FAIL() << "it was answered"; });
  }
  Batch batch(m_Client);
  const auto answers = add(batch);
  bool isDone = false;
  batch.Send([&] { isDone = true; });
  m_Set.Daemon().Signal(SIGCONT);
  ASSERT_TRUE(m_Client.RunUntil([&] { return isDone; }, support::kPatience));
  for (const auto& answer : answers) {
    ASSERT_EQ(answer.Get(), "standard");
  }
}

}  // namespace
