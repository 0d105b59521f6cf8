// What a client sends while the daemon stands still, and what becomes of it when the daemon goes
// on.

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "settings/batch.h"
#include "settings/client.h"
#include "settings/item_cache.h"
#include "support/wait.h"
#include "system_test.h"

namespace {

using settings::Batch;
using settings::Client;
using Answers = std::vector<settings::Answer<std::optional<std::string>>>;

// In which the daemon answers a list, and which a test can await some times.
constexpr std::chrono::milliseconds kTimeout(SETTINGS_SLOWDOWN == 1 ? 100 : 500);

// Two messages.
Answers AddQuestions(Batch& batch) {
  Answers answers;
  for (int count = 0; count < 512; ++count) {
    answers.push_back(batch.Add(settings::ask::GetItemValue("picturemode")));
  }
  return answers;
}

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
  Client hasty(m_Set.Bus().Address(), kTimeout);
  m_Set.Daemon().Signal(SIGSTOP);
  const settings::ItemCache cache(hasty, items, [](auto, const auto&) {});
  EXPECT_FALSE(hasty.RunUntil([] { return false; }, 15 * kTimeout));
  m_Set.Daemon().Signal(SIGCONT);
  EXPECT_TRUE(hasty.RunUntil([&] { return cache.IsCurrent(); }, support::kPatience));
}

TEST_F(Standstill, ABatchIsAnsweredAfterMoreThanMayWaitWasAskedAndGivenUp) {
  m_Set.Daemon().Signal(SIGSTOP);
  for (int givenUp = 0; givenUp < 20; ++givenUp) {
    Batch batch(m_Client);
    AddQuestions(batch);
    batch.Send([] { FAIL() << "it was answered"; });
  }
  Batch batch(m_Client);
  const Answers answers = AddQuestions(batch);
  bool isDone = false;
  batch.Send([&] { isDone = true; });
  m_Set.Daemon().Signal(SIGCONT);
  ASSERT_TRUE(m_Client.RunUntil([&] { return isDone; }, support::kPatience));
  for (const auto& answer : answers) {
    ASSERT_EQ(answer.Get(), "standard");
  }
}

TEST_F(Standstill, WhoAsksAgainAllTheWhileIsAnsweredAfterwards) {
  Client hasty(m_Set.Bus().Address(), kTimeout);
  // False when the time was over.
  const auto ask = [&] {
    Batch batch(hasty);
    const Answers answers = AddQuestions(batch);
    try {
      batch.Ask();
    } catch (const settings::Error& error) {
      if (error.Code() != settings::ErrorCode::kTimedOut) {
        throw;
      }
      return false;
    }
    for (const auto& answer : answers) {
      EXPECT_EQ(answer.Get(), "standard");
    }
    return true;
  };
  m_Set.Daemon().Signal(SIGSTOP);
  for (int asked = 0; asked < 17; ++asked) {
    ASSERT_FALSE(ask());
  }
  m_Set.Daemon().Signal(SIGCONT);
  EXPECT_TRUE(support::WaitUntil(ask));
}

}  // namespace
