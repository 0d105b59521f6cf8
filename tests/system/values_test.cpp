#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "settings/client.h"
#include "system_test.h"

namespace {

using testing::HasSubstr;

class Values : public SystemTest {};

TEST_F(Values, WhatARangeReportsIsWhatItTakesAndAnswersHoweverItIsKept) {
  EXPECT_EQ(m_Set.Run({"settingsctl", "range", "sounddelay"}).out, "0 to 250, step 10\n");
  EXPECT_EQ(m_Set.Run({"settingsctl", "set", "sounddelay", "250"}).status, 0);
  EXPECT_EQ(m_Set.Run({"settingsctl", "get", "sounddelay"}).out, "250 (250 ms)\n");
  EXPECT_EQ(m_Set.Run({"setctl", "key", "get", "db/menu/sounddelay"}).out, "25\n");
  EXPECT_EQ(m_Set.Run({"settingsctl", "set", "sounddelay", "25"}).status, 1);
  EXPECT_EQ(m_Set.Run({"setctl", "key", "set", "db/menu/sounddelay", "12"}).status, 0);
  EXPECT_EQ(m_Set.Run({"settingsctl", "get", "sounddelay"}).out, "120 (120 ms)\n");
}

TEST_F(Values, EveryRangeTakesItsBoundsAndAnswersThem) {
  settings::Client client(m_Set.Bus().Address());
  std::vector<std::string> items = {""};
  int ranges = 0;
  for (std::size_t i = 0; i < items.size(); ++i) {
    const std::string item = items[i];
    for (const std::string& child :
         client.GetItemChildList(item).value_or(std::vector<std::string>())) {
      items.push_back(child);
    }
    if (const auto range = client.GetItemMinMaxStepValue(item)) {
      ++ranges;
      for (const double bound : {range->max, range->min, range->min + range->step}) {
        EXPECT_TRUE(client.SetItemValue(item, Json::valueToString(bound, 9)))
            << item << " " << bound;
        EXPECT_DOUBLE_EQ(std::stod(client.GetItemValue(item).value_or("nan")), bound) << item;
      }
    }
  }
  EXPECT_GT(ranges, 50);
}

TEST_F(Values, TheNumbersThatAShellOffersAreThoseOfTheRange) {
  settings::Client client(m_Set.Bus().Address());
  // On a machine that is too slow for a shell nothing is offered.
  std::istringstream offered;
  EXPECT_TRUE(support::WaitUntil([&] {
    offered.str(m_Set.Run({"settingsctl", "complete", "--", "set", "menutransparency", ""}).out);
    return !offered.str().empty();
  }));
  int numbers = 0;
  for (std::string number; std::getline(offered, number); ++numbers) {
    EXPECT_TRUE(client.SetItemValue("menutransparency", number)) << number;
    EXPECT_LE(number.size(), 3u) << number;
  }
  EXPECT_EQ(numbers, 11);
}

TEST_F(Values, AValueThatIsRefusedIsNotStored) {
  EXPECT_EQ(m_Set.Run({"settingsctl", "set", "brightness", "51"}).status, 1);
  EXPECT_EQ(m_Set.Run({"setctl", "key", "get", "db/menu/brightness"}).status, 10);
}

TEST_F(Values, AStoreThatCannotBeReadIsSaidAndNoDefaultTakesThePlaceOfAValue) {
  const std::filesystem::path store = m_Set.Root() / "var/lib/settings-service/keys.db";
  // It cannot have read what is damaged.
  m_Set.Daemon().Signal(SIGSTOP);
  ASSERT_EQ(m_Set.Run({"setctl", "key", "set", "db/menu/brightness", "31"}).status, 0);
  std::filesystem::resize_file(store, 0);
  std::filesystem::resize_file(store.string() + "-wal", 0);
  m_Set.Daemon().Signal(SIGCONT);
  EXPECT_THAT(Request(R"({"method":"GetItemValue","data":{"menuID":"brightness"}})"),
              HasSubstr(R"("call_api_success":false)"));
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"settingsctl", "get", "brightness"},
        std::vector<std::string>{"settingsctl", "set", "brightness", "20"}}) {
    const auto outcome = m_Set.Run(command);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr("key file " + store.string()));
  }
  // However often it is met, and by whom first: a read of a value, of the tree's keys or of
  // changes.
  const std::vector<LogLine> lines = m_Set.LogLines();
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [&](const LogLine& line) {
                            return line.message.find("key file " + store.string()) !=
                                   std::string::npos;
                          }),
            1);
}

TEST_F(Values, AKeyThatAnotherProgramWroteIsTheItemsValue) {
  EXPECT_EQ(m_Set.Run({"setctl", "key", "set", "db/menu/auto_power_off", "6"}).status, 0);
  EXPECT_EQ(m_Set.Run({"settingsctl", "get", "autopoweroff"}).out, "6 (6 hours)\n");
}

TEST_F(Values, AStoredValueSurvivesAKillRightAfterTheReply) {
  for (int round = 0; round < 20; ++round) {
    const std::string value = std::to_string(round % 50 + 1);
    ASSERT_EQ(m_Set.Run({"settingsctl", "set", "brightness", value}).status, 0);
    m_Set.KillDaemon();
    m_Set.StartDaemon();
    ASSERT_EQ(m_Set.Run({"settingsctl", "get", "brightness"}).out, value + "\n");
  }
}

}  // namespace
