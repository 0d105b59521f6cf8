#include "vconf.h"

#include <cstdlib>
#include <functional>
#include <memory>
#include <thread>

#include "contract/main_loop.h"
#include "fixture.h"

namespace {

struct Free {
  void operator()(char* text) const { std::free(text); }
};
using Text = std::unique_ptr<char, Free>;

// What a watch was called for.
struct Calls {
  int count = 0;
  std::function<void()> andThen;
};

void Count(keynode_t* node, void* calls) {
  EXPECT_NE(node, nullptr);
  ++static_cast<Calls*>(calls)->count;
  if (static_cast<Calls*>(calls)->andThen) {
    static_cast<Calls*>(calls)->andThen();
  }
}

void CountToo(keynode_t* node, void* calls) { Count(node, calls); }

class FakeVconf : public fakes::FakePlatformTest {};

TEST_F(FakeVconf, KeepsIntegersAndStrings) {
  EXPECT_EQ(vconf_set_int("db/x", -7), 0);
  EXPECT_EQ(vconf_set_str("memory/y", "text"), 0);
  int value = 0;
  EXPECT_EQ(vconf_get_int("db/x", &value), 0);
  EXPECT_EQ(value, -7);
  EXPECT_STREQ(Text(vconf_get_str("memory/y")).get(), "text");
  EXPECT_EQ(fake.Key("db/x"), fakes::KeyValue(-7));
  EXPECT_EQ(fake.Key("memory/y"), fakes::KeyValue("text"));
  EXPECT_EQ(fake.Key("db/z"), std::nullopt);
  ExpectTrace(R"(
    vconf_set_int("db/x", -7) -> 0
    vconf_set_str("memory/y", "text") -> 0
    vconf_get_int("db/x") -> 0: -7
    vconf_get_str("memory/y") -> "text"
  )");
}

TEST_F(FakeVconf, GivesNothingForAMissingKeyOrOneOfTheOtherType) {
  fake.SetKey("db/number", 1);
  fake.SetKey("db/text", "text");
  int value = 5;
  EXPECT_EQ(vconf_get_int("db/missing", &value), -1);
  EXPECT_EQ(vconf_get_int("db/text", &value), -1);
  EXPECT_EQ(vconf_get_int(nullptr, &value), -1);
  EXPECT_EQ(vconf_get_int("db/number", nullptr), -1);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(vconf_get_str("db/missing"), nullptr);
  EXPECT_EQ(vconf_get_str("db/number"), nullptr);
  EXPECT_EQ(vconf_get_str(nullptr), nullptr);
}

TEST_F(FakeVconf, LetsAKeyChangeItsType) {
  vconf_set_int("db/x", 1);
  vconf_set_str("db/x", "text");
  EXPECT_STREQ(Text(vconf_get_str("db/x")).get(), "text");
}

TEST_F(FakeVconf, RefusesWhatIsNoKey) {
  const std::string tooLong = "db/" + std::string(253, 'x');
  for (const char* key : {"", "x", "dbx", "other/x", "db/", "memory/", "db//x", "db/x/", "db/a\nb",
                          tooLong.c_str(), static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(vconf_set_int(key, 1), -1);
    EXPECT_EQ(vconf_set_str(key, "1"), -1);
    EXPECT_EQ(vconf_notify_key_changed(key, Count, nullptr), -1);
    EXPECT_EQ(vconf_ignore_key_changed(key, Count), -1);
  }
  EXPECT_EQ(vconf_set_int(tooLong.substr(0, 255).c_str(), 1), 0);
  EXPECT_EQ(vconf_set_str("db/x", nullptr), -1);
  EXPECT_EQ(vconf_notify_key_changed("db/x", nullptr, nullptr), -1);
}

TEST_F(FakeVconf, CallsAWatchOnTheMainLoopOnceForEveryChange) {
  Calls calls;
  ASSERT_EQ(vconf_notify_key_changed("db/x", Count, &calls), 0);
  vconf_set_int("db/x", 1);
  vconf_set_int("db/x", 1);
  fake.SetKey("db/x", "by another process");
  vconf_set_int("db/y", 1);
  EXPECT_EQ(calls.count, 0);
  fake.RunMainLoop();
  EXPECT_EQ(calls.count, 3);
  fake.RunMainLoop();
  EXPECT_EQ(calls.count, 3);
}

TEST_F(FakeVconf, DoesNotCallAWatchForAChangeBeforeIt) {
  Calls early;
  Calls late;
  vconf_notify_key_changed("db/x", Count, &early);
  vconf_set_int("db/x", 1);
  vconf_notify_key_changed("db/x", CountToo, &late);
  fake.RunMainLoop();
  EXPECT_EQ(early.count, 1);
  EXPECT_EQ(late.count, 0);
}

TEST_F(FakeVconf, DoesNotCallAWatchThatEnded) {
  Calls calls;
  vconf_notify_key_changed("db/x", Count, &calls);
  vconf_set_int("db/x", 1);
  EXPECT_EQ(vconf_ignore_key_changed("db/x", Count), 0);
  EXPECT_EQ(vconf_ignore_key_changed("db/x", Count), -1);
  vconf_notify_key_changed("db/x", Count, &calls);
  fake.RunMainLoop();
  EXPECT_EQ(calls.count, 0);
}

TEST_F(FakeVconf, ReplacesTheUserDataOfAWatch) {
  Calls first;
  Calls second;
  vconf_notify_key_changed("db/x", Count, &first);
  vconf_notify_key_changed("db/x", Count, &second);
  vconf_set_int("db/x", 1);
  fake.RunMainLoop();
  EXPECT_EQ(first.count, 0);
  EXPECT_EQ(second.count, 1);
}

TEST_F(FakeVconf, LetsACallbackWriteAndEndWatches) {
  Calls first;
  Calls second;
  first.andThen = [] {
    vconf_ignore_key_changed("db/x", Count);
    vconf_ignore_key_changed("db/x", CountToo);
    vconf_set_int("db/x", 2);
  };
  vconf_notify_key_changed("db/x", Count, &first);
  vconf_notify_key_changed("db/x", CountToo, &second);
  vconf_set_int("db/x", 1);
  fake.RunMainLoop();
  EXPECT_EQ(first.count, 1);
  EXPECT_EQ(second.count, 0);
}

TEST_F(FakeVconf, DeliversWhatACallbackWrote) {
  Calls calls;
  calls.andThen = [&] {
    if (calls.count < 3) {
      vconf_set_int("db/x", calls.count);
    }
  };
  vconf_notify_key_changed("db/x", Count, &calls);
  vconf_set_int("db/x", 0);
  fake.RunMainLoop();
  EXPECT_EQ(calls.count, 3);
}

TEST_F(FakeVconf, ReportsAMainLoopWithoutEnd) {
  Calls calls;
  calls.andThen = [] { vconf_set_int("db/x", 1); };
  vconf_notify_key_changed("db/x", Count, &calls);
  vconf_set_int("db/x", 0);
  EXPECT_THROW(fake.RunMainLoop(), std::runtime_error);
}

TEST_F(FakeVconf, FailsWhenTheTestWantsItTo) {
  fake.SetKey("db/x", 1);
  fake.SetKey("db/y", "text");
  for (const char* call : {"vconf_get_int", "vconf_set_int", "vconf_get_str", "vconf_set_str",
                           "vconf_notify_key_changed", "vconf_ignore_key_changed"}) {
    fake.Fail(call, {.times = 1});
  }
  int value = 0;
  EXPECT_EQ(vconf_get_int("db/x", &value), -1);
  EXPECT_EQ(vconf_set_int("db/x", 2), -1);
  EXPECT_EQ(vconf_get_str("db/y"), nullptr);
  EXPECT_EQ(vconf_set_str("db/y", "other"), -1);
  EXPECT_EQ(vconf_notify_key_changed("db/x", Count, nullptr), -1);
  vconf_notify_key_changed("db/x", Count, nullptr);
  EXPECT_EQ(vconf_ignore_key_changed("db/x", Count), -1);
  EXPECT_EQ(fake.Key("db/x"), fakes::KeyValue(1));
  EXPECT_EQ(fake.Key("db/y"), fakes::KeyValue("text"));
}

TEST_F(FakeVconf, RunsTheMainLoopUntilAnotherThreadHasWritten) {
  Calls calls;
  vconf_notify_key_changed("db/x", Count, &calls);
  std::thread writer([] { vconf_set_int("db/x", 1); });
  EXPECT_TRUE(contract::RunMainLoopUntil([&] { return calls.count == 1; }));
  writer.join();
}

TEST_F(FakeVconf, RunsTheMainLoopNoLongerThanItsLimit) {
  EXPECT_FALSE(contract::RunMainLoopUntil([] { return false; }, std::chrono::milliseconds(1)));
  EXPECT_TRUE(contract::RunMainLoopUntil([] { return true; }, std::chrono::milliseconds(0)));
}

TEST_F(FakeVconf, IsSettledWhenEveryChangeWasDelivered) {
  Calls calls;
  vconf_notify_key_changed("db/x", Count, &calls);
  vconf_set_int("db/x", 1);
  vconf_set_int("db/x", 2);
  contract::SettleMainLoop();
  EXPECT_EQ(calls.count, 2);
}

}  // namespace
