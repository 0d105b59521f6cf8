#include <gtest/gtest-spi.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "deadlock_watchdog.h"
#include "dlog.h"
#include "fixture.h"
#include "lwipc.h"
#include "vconf.h"

namespace {

#define PREFIX "%s: %s(%d) > [%s:%d] "

class Trace : public fakes::FakePlatformTest {};

TEST_F(Trace, ShowsCallsAndLogLinesInTheirOneOrder) {
  vconf_set_int("db/x", 1);
  __dlog_print(LOG_ID_MAIN, DLOG_INFO, "settings-service", PREFIX "x is %d\n", "Module", "Run", 7,
               "Run", 7, 1);
  vconf_get_str("db/x");
  ExpectTrace(R"(
    vconf_set_int("db/x", 1) -> 0
    I Module Run | x is 1\n
    vconf_get_str("db/x") -> null
  )");
}

TEST_F(Trace, ShowsThePriorityOfALogLine) {
  for (const int priority : {3, 4, 5, 6, 9}) {
    __dlog_print(LOG_ID_MAIN, priority, "settings-service", PREFIX "text\n", "M", "f", 1, "f", 1);
  }
  ExpectTrace(R"(
    D M f | text\n
    I M f | text\n
    W M f | text\n
    E M f | text\n
    9 M f | text\n
  )");
}

TEST_F(Trace, EscapesLineEndsControlCharactersAndBackslashes) {
  __dlog_print(LOG_ID_MAIN, DLOG_INFO, "settings-service", PREFIX "%s\n\n", "M", "f", 1, "f", 1,
               "a\tb\\c\n");
  vconf_set_str("db/x", "two\nlines");
  ExpectTrace(R"(
    I M f | a\x09b\\c\n\n\n
    vconf_set_str("db/x", "two\nlines") -> 0
  )");
}

TEST_F(Trace, KeepsTheBlanksAtTheEndsOfAMessage) {
  __dlog_print(LOG_ID_MAIN, DLOG_INFO, "settings-service", PREFIX " text \n", "M", "f", 1, "f", 1);
  EXPECT_EQ(fake.TakeTrace(), std::vector<std::string>{"I M f |  text \\n"});
}

TEST_F(Trace, ComplainsAboutALogLineThatBreaksTheConvention) {
  const auto log = [](log_id_t id, const char* tag) {
    __dlog_print(id, DLOG_INFO, tag, PREFIX "text\n", "M", "f", 1, "f", 1);
  };
  log(static_cast<log_id_t>(2), "settings-service");
  log(LOG_ID_MAIN, "settings_service");
  log(LOG_ID_MAIN, nullptr);
  ExpectTrace(R"(
    I M f | text\n !! log id 2
    I M f | text\n !! tag settings_service
    I M f | text\n !! tag (null)
  )");
}

TEST_F(Trace, ComplainsAboutAPrefixWhoseTwoHalvesDiffer) {
  const auto log = [](const char* function, int line, const char* functionAgain, int lineAgain) {
    __dlog_print(LOG_ID_MAIN, DLOG_INFO, "settings-service", PREFIX "text\n", "M", function, line,
                 functionAgain, lineAgain);
  };
  log("f", 1, "g", 1);
  log("f", 1, "f", 2);
  log("f", 0, "f", 0);
  ExpectTrace(R"(
    I M f | text\n !! prefix M: f(1) > [g:1]
    I M f | text\n !! prefix M: f(1) > [f:2]
    I M f | text\n !! prefix M: f(0) > [f:0]
  )");
}

TEST_F(Trace, ComplainsAboutAnotherFormat) {
  __dlog_print(LOG_ID_MAIN, DLOG_INFO, "settings-service", "%s: %s(%d)> [%s:%d] text\n", "M", "f",
               1, "f", 1);
  __dlog_print(LOG_ID_MAIN, DLOG_INFO, "settings-service", PREFIX "text", "M", "f", 1, "f", 1);
  ExpectTrace(R"(
    I | M: f(1)> [f:1] text\n !! format %s: %s(%d)> [%s:%d] text\n
    I M f | text !! format without line end
  )");
}

TEST_F(Trace, ShowsAPointerUnderItsNameOrByANumber) {
  int named = 0;
  int other = 0;
  fake.Name(&named, "named");
  const auto callback = [](keynode_t*, void*) {};
  vconf_notify_key_changed("db/x", callback, &named);
  vconf_notify_key_changed("db/y", callback, &other);
  vconf_notify_key_changed("db/z", callback, nullptr);
  vconf_ignore_key_changed("db/z", callback);
  ExpectTrace(R"(
    vconf_notify_key_changed("db/x", callback1, named) -> 0
    vconf_notify_key_changed("db/y", callback1, object1) -> 0
    vconf_notify_key_changed("db/z", callback1, null) -> 0
    vconf_ignore_key_changed("db/z", callback1) -> 0
  )");
}

TEST_F(Trace, TakesWhatManyThreadsDo) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int n = 0; n < 100; ++n) {
        vconf_set_int("db/x", n);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(fake.TakeTrace().size(), 400u);
}

TEST_F(Trace, IsTakenOutWhenItWasCompared) {
  LwipcEventDone("/tmp/x");
  EXPECT_EQ(fake.Trace().size(), 1u);
  ExpectTrace(R"(LwipcEventDone("/tmp/x") -> 0)");
  ExpectTrace("");
}

TEST_F(Trace, FailsTheTestWithTheDifferenceWhenItIsNotWhatWasExpected) {
  vconf_set_int("db/a", 1);
  vconf_set_int("db/b", 1);
  vconf_set_int("db/c", 1);
  EXPECT_NONFATAL_FAILURE(ExpectTrace(R"(
                            vconf_set_int("db/a", 1) -> 0
                            vconf_set_int("db/x", 1) -> 0
                            vconf_set_int("db/c", 1) -> 0
                            vconf_set_int("db/d", 1) -> 0
                          )"),
                          R"(
  vconf_set_int("db/a", 1) -> 0
- vconf_set_int("db/x", 1) -> 0
+ vconf_set_int("db/b", 1) -> 0
  vconf_set_int("db/c", 1) -> 0
- vconf_set_int("db/d", 1) -> 0
)");
}

TEST_F(Trace, FailsTheTestWhenItHasMoreOrLessThanExpected) {
  LwipcEventDone("/tmp/x");
  EXPECT_NONFATAL_FAILURE(ExpectTrace(""), "+ LwipcEventDone(\"/tmp/x\") -> 0");
  EXPECT_NONFATAL_FAILURE(ExpectTrace("ecore_init() -> 1"), "- ecore_init() -> 1");
}

TEST_F(Trace, IsExpectedWithTextsThatTheTestNames) {
  Let("event", "/tmp/x");
  LwipcEventDone("/tmp/x");
  ExpectTrace(R"(LwipcEventDone("{event}") -> 0)");
}

class Failures : public fakes::FakePlatformTest {};

TEST_F(Failures, LastUntilTheEndOfTheTestUnlessTheyAreCounted) {
  fake.Fail("LwipcEventDone");
  fake.Fail("smart_deadlock_register_watchdog_service", {.times = 2});
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(LwipcEventDone("/tmp/x"), -1);
    EXPECT_EQ(smart_deadlock_register_watchdog_service(1), i < 2 ? -1 : 0);
  }
}

TEST_F(Failures, CanComeAfterSuccesses) {
  fake.Fail("vconf_set_int", {.on = "db/menu/x", .after = 2, .times = 1});
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(vconf_set_int("db/menu/y", 1), 0);
    EXPECT_EQ(vconf_set_int("db/menu/x", 1), i == 2 ? -1 : 0);
  }
}

TEST_F(Failures, CanBeLimitedToAFirstArgument) {
  fake.Fail("vconf_set_int", {.on = "db/menu/x"});
  EXPECT_EQ(vconf_set_int("db/menu/y", 1), 0);
  EXPECT_EQ(vconf_set_int("db/menu/x", 1), -1);
}

TEST_F(Failures, AreOrderedOneAfterTheOther) {
  fake.Fail("LwipcEventDone", {.code = -5, .times = 1});
  fake.Fail("LwipcEventDone", {.code = -6, .times = 1});
  EXPECT_EQ(LwipcEventDone("/tmp/x"), -5);
  EXPECT_EQ(LwipcEventDone("/tmp/x"), -6);
  EXPECT_EQ(LwipcEventDone("/tmp/x"), 0);
  ExpectTrace(R"(
    LwipcEventDone("/tmp/x") -> -5
    LwipcEventDone("/tmp/x") -> -6
    LwipcEventDone("/tmp/x") -> 0
  )");
}

TEST_F(Failures, CanBeExceptions) {
  fake.Fail("LwipcEventDone",
            {.times = 1, .exception = std::make_exception_ptr(std::runtime_error("broken"))});
  EXPECT_THROW(LwipcEventDone("/tmp/x"), std::runtime_error);
  EXPECT_EQ(LwipcEventDone("/tmp/x"), 0);
  ExpectTrace(R"(
    LwipcEventDone("/tmp/x") throws
    LwipcEventDone("/tmp/x") -> 0
  )");
}

TEST_F(Failures, ReachTheLogToo) {
  fake.Fail("__dlog_print", {.times = 1});
  EXPECT_EQ(__dlog_print(LOG_ID_MAIN, DLOG_INFO, "settings-service", PREFIX "text\n", "M", "f", 1,
                         "f", 1),
            -1);
  ExpectTrace(R"(I M f | text\n -> -1)");
}

TEST_F(Failures, FailTheTestWhenTheyNeverCameAbout) {
  fake.Fail("LwipcEventDone", {.on = "/tmp/x", .times = 2});
  LwipcEventDone("/tmp/x");
  EXPECT_NONFATAL_FAILURE(
      TearDown(), "LwipcEventDone on \"/tmp/x\" was to fail 2 time(s), but did so 1 time(s)");
  LwipcEventDone("/tmp/x");
  EXPECT_TRUE(fake.UnusedFailures().empty());
}

}  // namespace
