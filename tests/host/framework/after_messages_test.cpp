#include "framework/after_messages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "framework_test.h"
#include "support/wait.h"

namespace {

constexpr char kAsk[] = R"({"do":"announce"})";
constexpr char kSleep[] = R"({"do":"sleep","ms":5})";

class AfterMessages : public FrameworkTest {
 protected:
  AfterMessages() {
    StartAndWait();
    m_Client.Listen();
  }

  std::ptrdiff_t Traced(const std::string& line) const {
    const std::vector<std::string> trace = Trace();
    return std::count(trace.begin(), trace.end(), line);
  }

  Client m_Client{Address()};
};

TEST_F(AfterMessages, WorkIsDoneAfterTheReplyToWhoAskedForIt) {
  for (std::size_t round = 1; round <= 20; ++round) {
    m_Client.Post(kAsk);
    ASSERT_TRUE(m_Client.Until([&] {
      EXPECT_TRUE(m_Client.Signals().size() < round || m_Client.Answers().size() == round);
      return m_Client.Signals().size() == round;
    }));
  }
}

TEST_F(AfterMessages, WorkIsDoneOnceForAllThatWaitsTogether) {
  for (int i = 0; i < 100; ++i) {
    m_Client.Post(kAsk);
  }
  ASSERT_TRUE(m_Client.Until(
      [&] { return m_Client.Answers().size() == 100 && !m_Client.Signals().empty(); }));
  // Each of its own would be as many; how many come together depends on the machine.
  EXPECT_LT(Traced("announce"), 50);
}

// What waits takes five seconds.
TEST_F(AfterMessages, WorkIsNotPutOffForAsLongAsRequestsWait) {
  constexpr int kLong = 1000;
  m_Client.Post(kAsk);
  for (int i = 0; i < kLong; ++i) {
    m_Client.Post(kSleep);
  }
  ASSERT_TRUE(m_Client.Until([&] { return !m_Client.Signals().empty(); }));
  EXPECT_LT(Traced("request sleep"), kLong / 2);
}

TEST_F(AfterMessages, WorkThatThrowsIsDoneTheNextTime) {
  for (std::size_t round = 1; round <= 4; ++round) {
    m_Client.Request(kAsk);
    ASSERT_TRUE(m_Client.Until([&] { return m_Client.Signals().size() == round; }));
  }
  EXPECT_TRUE(support::WaitUntil(
      [this] { return LogLinesWith("an exception left what goes after messages").size() == 2; }));
}

}  // namespace
