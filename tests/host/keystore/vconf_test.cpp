#include "vconf.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "contract/main_loop.h"
#include "framework/before_messages.h"
#include "keystore/key_listener.h"
#include "keystore/key_store.h"
#include "support/process.h"
#include "support/temp_directory.h"
#include "system/environment.h"
#include "system/log.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

int RunWorker(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {KEY_STORE_WORKER, host::StateDir(), host::RunDir()});
  return support::RunCommand(arguments).status;
}

// Appends to the std::string that it gets as user data.
template <char letter>
void Append(keynode_t*, void* text) {
  *static_cast<std::string*>(text) += letter;
}

class HostVconf : public ::testing::Test {
 protected:
  template <char letter>
  void Watch(const char* key) {
    ASSERT_EQ(vconf_notify_key_changed(key, Append<letter>, &m_Order), 0);
  }
  template <char letter>
  void Ignore(const char* key) {
    EXPECT_EQ(vconf_ignore_key_changed(key, Append<letter>), 0);
  }

  std::string m_Order;
};

TEST_F(HostVconf, DeliversWhatIsWrittenBeforeAMessageIsServed) {
  Watch<'a'>("memory/host/order");
  EXPECT_EQ(RunWorker({"count", "5000", "memory/host/order", "memory/host/other"}), 0);
  EXPECT_EQ(m_Order, "");
  host::CatchUpBeforeMessage();
  EXPECT_EQ(m_Order, std::string(5000, 'a'));
  host::CatchUpBeforeMessage();
  contract::SettleMainLoop();
  EXPECT_EQ(m_Order.size(), 5000u) << "each once";
  Ignore<'a'>("memory/host/order");
}

TEST_F(HostVconf, DeliversTheWritesOfAnotherProcess) {
  Watch<'d'>("db/host/a");
  Watch<'m'>("memory/host/a");
  EXPECT_EQ(RunWorker({"count", "3", "db/host/a", "memory/host/a"}), 0);
  EXPECT_TRUE(contract::RunMainLoopUntil([&] { return m_Order.size() == 6; }));
  EXPECT_EQ(m_Order, "dmdmdm");
  int value = 0;
  EXPECT_EQ(vconf_get_int("db/host/a", &value), 0);
  EXPECT_EQ(value, 3);
  Ignore<'d'>("db/host/a");
  Ignore<'m'>("memory/host/a");
}

TEST_F(HostVconf, DeliversARemovalByAnotherProcess) {
  ASSERT_EQ(vconf_set_str("db/host/removed", "text"), 0);
  Watch<'r'>("db/host/removed");
  EXPECT_EQ(RunWorker({"remove", "db/host/removed"}), 0);
  EXPECT_TRUE(contract::RunMainLoopUntil([&] { return m_Order == "r"; }));
  EXPECT_EQ(vconf_get_str("db/host/removed"), nullptr);
  Ignore<'r'>("db/host/removed");
}

TEST_F(HostVconf, DeliversAHundredThousandChangesThatCameWhileTheMainLoopWasBusy) {
  constexpr int kRounds = 25'000;
  Watch<'a'>("memory/host/many/a");
  Watch<'b'>("memory/host/many/b");
  EXPECT_EQ(RunWorker({"count", std::to_string(kRounds), "memory/host/many/a", "memory/host/x",
                       "memory/host/many/b", "memory/host/y"}),
            0);
  contract::SettleMainLoop();
  std::string expected;
  for (int i = 0; i < kRounds; ++i) {
    expected += "ab";
  }
  EXPECT_TRUE(m_Order == expected) << m_Order.size() << " calls";
  Ignore<'a'>("memory/host/many/a");
  Ignore<'b'>("memory/host/many/b");
}

TEST_F(HostVconf, EachWatchedKeyCountsAsChangedOnceWhenChangesWereLost) {
  static std::vector<std::string> read;
  read.clear();
  const auto reading = [](keynode_t*, void* key) {
    char* text = vconf_get_str(static_cast<char*>(key));
    read.push_back(std::string(static_cast<char*>(key)) + " " + (text != nullptr ? text : "none"));
    std::free(text);
  };
  std::vector<std::string> keys{"memory/host/lost/a", "memory/host/lost/b", "memory/host/lost/c"};
  ASSERT_EQ(vconf_set_str(keys[1].c_str(), "before"), 0);
  ASSERT_EQ(vconf_set_str(keys[2].c_str(), "gone"), 0);
  for (std::string& key : keys) {
    ASSERT_EQ(vconf_notify_key_changed(key.c_str(), reading, key.data()), 0);
  }
  ASSERT_EQ(vconf_set_str(keys[0].c_str(), "old"), 0);
  ASSERT_EQ(vconf_set_str(keys[0].c_str(), "new"), 0);
  EXPECT_EQ(RunWorker({"remove", keys[2]}), 0);
  const std::string text(1024 * 1024, 'x');
  for (int mebibytes = 0; mebibytes < 24; ++mebibytes) {
    ASSERT_EQ(vconf_set_str("memory/host/lost/text", text.c_str()), 0);
  }
  contract::SettleMainLoop();
  std::sort(read.begin(), read.end());
  EXPECT_THAT(read, ElementsAre(keys[0] + " new", keys[1] + " before", keys[2] + " none"));

  read.clear();
  ASSERT_EQ(vconf_set_str(keys[0].c_str(), "next"), 0);
  contract::SettleMainLoop();
  EXPECT_THAT(read, ElementsAre(keys[0] + " next"));
  for (const std::string& key : keys) {
    EXPECT_EQ(vconf_ignore_key_changed(key.c_str(), reading), 0);
  }
}

TEST_F(HostVconf, AListenerHearsOfEveryKeyAfterTheCallbacks) {
  Watch<'c'>("memory/host/heard");
  std::vector<std::string> heard;
  {
    const host::KeyListener listener(
        [&](const host::KeyChange& change) {
          heard.push_back(change.key + " after " + m_Order);
          throw std::runtime_error("goes no further");
        },
        [] {});
    EXPECT_EQ(RunWorker({"count", "2", "memory/host/heard", "db/host/heard"}), 0);
    ASSERT_EQ(vconf_set_int("memory/host/own", 1), 0);
    host::CatchUpBeforeMessage();
  }
  ASSERT_EQ(vconf_set_int("memory/host/heard", 3), 0);
  contract::SettleMainLoop();
  EXPECT_EQ(m_Order, "ccc");
  EXPECT_THAT(heard, ElementsAre("memory/host/heard after c", "db/host/heard after c",
                                 "memory/host/heard after cc", "db/host/heard after cc",
                                 "memory/host/own after cc"));
  Ignore<'c'>("memory/host/heard");
}

TEST_F(HostVconf, AListenerIsToldOnceThatChangesWereLost) {
  std::string told;
  const host::KeyListener listener(
      [&](const host::KeyChange& change) { told += change.key.back(); }, [&] { told += '!'; });
  ASSERT_EQ(vconf_set_str("memory/host/lost/l", "lost"), 0);
  const std::string text(1024 * 1024, 'x');
  for (int mebibytes = 0; mebibytes < 24; ++mebibytes) {
    ASSERT_EQ(vconf_set_str("memory/host/lost/t", text.c_str()), 0);
  }
  contract::SettleMainLoop();
  EXPECT_EQ(std::count(told.begin(), told.end(), '!'), 1) << told;
  EXPECT_EQ(told.find('l'), std::string::npos) << told;
  ASSERT_EQ(vconf_set_int("memory/host/lost/n", 1), 0);
  contract::SettleMainLoop();
  EXPECT_EQ(told.back(), 'n');
}

TEST_F(HostVconf, ACallbackReadsWhatItsChangeLeftAlsoWhenItComesLate) {
  static const char* const kKey = "memory/host/moment";
  static std::vector<int> read;
  static std::vector<int> elsewhere;
  read.clear();
  elsewhere.clear();
  const auto reading = [](keynode_t*, void*) {
    const auto get = [](std::vector<int>& into) {
      int value = -1;
      vconf_get_int(kKey, &value);
      into.push_back(value);
    };
    get(read);
    std::thread([&] { get(elsewhere); }).join();
  };
  ASSERT_EQ(vconf_notify_key_changed(kKey, reading, nullptr), 0);
  for (const int value : {0, 1, 0, 1, 5}) {
    ASSERT_EQ(vconf_set_int(kKey, value), 0);
  }
  EXPECT_EQ(RunWorker({"remove", kKey}), 0);
  ASSERT_EQ(vconf_set_str(kKey, "text"), 0);
  ASSERT_EQ(vconf_set_int(kKey, 7), 0);
  contract::SettleMainLoop();
  EXPECT_THAT(read, ElementsAre(0, 1, 0, 1, 5, -1, -1, 7));
  // The view belongs to the callback alone.
  EXPECT_THAT(elsewhere, ElementsAre(7, 7, 7, 7, 7, 7, 7, 7));
  EXPECT_EQ(vconf_ignore_key_changed(kKey, reading), 0);
}

TEST_F(HostVconf, ACallbackReadsOtherKeysAndWhatItWroteItselfAsTheyAre) {
  static std::string read;
  read.clear();
  const auto reading = [](keynode_t*, void*) {
    const auto get = [](const char* key) {
      char* text = vconf_get_str(key);
      read += text != nullptr ? text : "none";
      std::free(text);
    };
    get("memory/host/own");
    get("memory/host/other");
    if (read.size() == 2) {
      vconf_set_str("memory/host/own", nullptr);  // refused: the view stays
      get("memory/host/own");
      vconf_set_str("memory/host/own", "w");
      get("memory/host/own");
    }
    read += ' ';
  };
  ASSERT_EQ(vconf_notify_key_changed("memory/host/own", reading, nullptr), 0);
  ASSERT_EQ(vconf_set_str("memory/host/other", "1"), 0);
  ASSERT_EQ(vconf_set_str("memory/host/own", "a"), 0);
  ASSERT_EQ(vconf_set_str("memory/host/own", "b"), 0);
  ASSERT_EQ(vconf_set_str("memory/host/other", "2"), 0);
  contract::SettleMainLoop();
  EXPECT_EQ(read, "a2aw b2 w2 ");
  EXPECT_EQ(vconf_ignore_key_changed("memory/host/own", reading), 0);
}

TEST_F(HostVconf, AnExceptionOfACallbackIsLoggedAndDelaysNobody) {
  static int thrown;
  thrown = 0;
  const auto throwing = [](keynode_t*, void*) {
    ++thrown;
    throw std::runtime_error("no such source");
  };
  const auto throwingOddly = [](keynode_t*, void*) {
    ++thrown;
    throw 7;
  };
  ASSERT_EQ(vconf_notify_key_changed("memory/host/throw", throwing, nullptr), 0);
  ASSERT_EQ(vconf_notify_key_changed("memory/host/throw", throwingOddly, nullptr), 0);
  Watch<'t'>("memory/host/throw");
  Watch<'n'>("memory/host/next");
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(vconf_set_int("memory/host/throw", i), 0);
    ASSERT_EQ(vconf_set_int("memory/host/next", i), 0);
  }
  contract::SettleMainLoop();
  EXPECT_EQ(thrown, 6);
  EXPECT_EQ(m_Order, "tntntn");
  EXPECT_TRUE(host::FlushLog(std::chrono::seconds(10)));
  EXPECT_THAT(support::ReadFile(host::GetEnvironment().root / "log"),
              AllOf(HasSubstr("a callback of memory/host/throw threw: no such source"),
                    HasSubstr("a callback of memory/host/throw threw: an exception of type int")));
  EXPECT_EQ(vconf_ignore_key_changed("memory/host/throw", throwing), 0);
  EXPECT_EQ(vconf_ignore_key_changed("memory/host/throw", throwingOddly), 0);
  Ignore<'t'>("memory/host/throw");
  Ignore<'n'>("memory/host/next");
}

TEST_F(HostVconf, RefusesNullPointers) {
  int value = 5;
  EXPECT_EQ(vconf_set_int(nullptr, 1), -1);
  EXPECT_EQ(vconf_set_str(nullptr, "text"), -1);
  EXPECT_EQ(vconf_set_str("memory/host/null", nullptr), -1);
  EXPECT_EQ(vconf_get_int(nullptr, &value), -1);
  EXPECT_EQ(value, 5);
  EXPECT_EQ(vconf_set_int("memory/host/null", 1), 0);
  EXPECT_EQ(vconf_get_int("memory/host/null", nullptr), -1);
  EXPECT_EQ(vconf_get_str(nullptr), nullptr);
  EXPECT_EQ(vconf_notify_key_changed(nullptr, Append<'n'>, nullptr), -1);
  EXPECT_EQ(vconf_notify_key_changed("memory/host/null", nullptr, nullptr), -1);
  EXPECT_EQ(vconf_ignore_key_changed(nullptr, Append<'n'>), -1);
}

TEST_F(HostVconf, SharesItsKeysWithTheCommandLineTools) {
  ASSERT_EQ(vconf_set_int("db/host/shared", 4), 0);
  host::KeyStore tool(host::StateDir(), host::RunDir());
  EXPECT_EQ(tool.Get("db/host/shared"), host::KeyValue(4));
  tool.Set("db/host/shared", "text");
  char* text = vconf_get_str("db/host/shared");
  EXPECT_STREQ(text, "text");
  std::free(text);
}

}  // namespace
