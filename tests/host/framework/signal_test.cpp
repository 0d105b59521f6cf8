#include "nuvra/signal.h"

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "framework_test.h"
#include "support/wait.h"

namespace {

using testing::ElementsAre;
using testing::SizeIs;

class ASignal : public FrameworkTest {
 protected:
  ASignal() { m_Client.Listen(); }

  bool Receive(std::size_t count) {
    return m_Client.Until([&] { return m_Client.Signals().size() >= count; });
  }

  Client m_Client{Address()};
};

TEST_F(ASignal, IsBroadcastWithNameTypeAndBody) {
  StartAndWait();
  Client other(Address());
  other.Listen();
  const Answer answer =
      m_Client.Request("{\"do\":\"send\",\"name\":\"some_signal\",\"body\":{\"a\":\"\xC3\xA4\"}}");
  EXPECT_EQ(answer.body, R"({"sent":true})");
  const ReceivedSignal expected{"some_signal", 7, "{\"a\":\"\xC3\xA4\"}"};
  ASSERT_TRUE(Receive(1));
  EXPECT_THAT(m_Client.Signals(), ElementsAre(expected));
  ASSERT_TRUE(other.Until([&] { return !other.Signals().empty(); }));
  EXPECT_THAT(other.Signals(), ElementsAre(expected));
}

TEST_F(ASignal, ComesInTheOrderOfSending) {
  StartAndWait();
  for (int index = 0; index < 100; ++index) {
    m_Client.Post(R"({"do":"send","name":"s","body":{"n":)" + std::to_string(index) + "}}");
  }
  ASSERT_TRUE(Receive(100));
  for (int index = 0; index < 100; ++index) {
    EXPECT_EQ(m_Client.Signals()[index].body, R"({"n":)" + std::to_string(index) + "}");
  }
}

TEST_F(ASignal, CanBeSentDuringTheStartAndAtTheEnd) {
  support::Process& service = StartAndWait({{"CREATE", "signal"}});
  service.Signal(SIGTERM);
  ASSERT_EQ(service.Wait(), 0);
  ASSERT_TRUE(Receive(2));
  EXPECT_THAT(m_Client.Signals(),
              ElementsAre(ReceivedSignal{"early", 7, "{}"}, ReceivedSignal{"last", 7, "{}"}));
}

TEST_F(ASignal, FromAnImpossibleServiceIsNotSentAndLogged) {
  StartAndWait();
  EXPECT_EQ(m_Client.Request(R"({"do":"send from nobody"})").body, R"({"sent":false})");
  EXPECT_TRUE(support::WaitUntil([&] { return !LogLinesWith("could not be sent").empty(); }));
  EXPECT_THAT(LogLinesWith("the signal name of no service could not be sent"), SizeIs(1));
}

TEST_F(ASignal, OfTheLargestSizeIsSent) {
  StartAndWait();
  EXPECT_EQ(m_Client.Request(R"({"do":"send of","bytes":4194304})").body, R"({"sent":true})");
  ASSERT_TRUE(Receive(1));
  EXPECT_EQ(m_Client.Signals().front().body.size(), 4u * 1024 * 1024);
}

TEST_F(ASignal, ThatIsTooLargeIsNotSentAndLoggedAndTheNextIsSent) {
  StartAndWait();
  EXPECT_EQ(m_Client.Request(R"({"do":"send of","bytes":4194305})").body, R"({"sent":false})");
  // More than a bus takes in one message by default.
  EXPECT_EQ(m_Client.Request(R"({"do":"send of","bytes":40000000})").body, R"({"sent":false})");
  EXPECT_EQ(m_Client.Request(R"({"do":"send","name":"next","body":{}})").body, R"({"sent":true})");
  ASSERT_TRUE(Receive(1));
  EXPECT_THAT(m_Client.Signals(), ElementsAre(ReceivedSignal{"next", 7, "{}"}));
  EXPECT_TRUE(support::WaitUntil([&] {
    return LogLinesWith("the signal large of test_service could not be sent: Message too long")
               .size() == 2;
  }));
}

TEST_F(ASignal, OfAnAlarmComesOncePerPeriod) {
  StartAndWait();
  EXPECT_EQ(m_Client.Request(R"({"do":"alarm","period":10,"count":3})").error, "");
  ASSERT_TRUE(Receive(3));
  EXPECT_THAT(m_Client.Signals(), ElementsAre(ReceivedSignal{"alarm", 7, R"({"call":1})"},
                                              ReceivedSignal{"alarm", 7, R"({"call":2})"},
                                              ReceivedSignal{"alarm", 7, R"({"call":3})"}));
}

TEST_F(ASignal, OfAnAlarmComesAWholePeriodAfterTheRequestThatStartedIt) {
  StartAndWait();
  // The main loop sleeps for longer than the period.
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(m_Client.Request(R"({"do":"alarm","period":200,"count":1})").error, "");
  ASSERT_TRUE(Receive(1));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(199));
}

TEST_F(ASignal, OfAnAlarmComesWhileRequestsFlood) {
  StartAndWait();
  EXPECT_EQ(m_Client.Request(R"({"do":"alarm","period":10,"count":1})").error, "");
  Client flood(Address());
  constexpr std::size_t kFlood = 2000;
  for (std::size_t index = 0; index < kFlood; ++index) {
    flood.Post(R"({"do":"sleep","ms":0})");
  }
  ASSERT_TRUE(Receive(1));
  EXPECT_TRUE(flood.Until([&] { return flood.Answers().size() == kFlood; }));
}

TEST_F(ASignal, OfAnAlarmGoesOnWhenItsCallbackThrows) {
  StartAndWait();
  EXPECT_EQ(m_Client.Request(R"({"do":"alarm","period":5,"count":2,"throws":true})").error, "");
  ASSERT_TRUE(Receive(2));
  EXPECT_TRUE(support::WaitUntil([&] {
    return LogLinesWith("an exception left an alarm callback: the alarm is broken").size() == 2;
  }));
  EXPECT_EQ(m_Client.Request(R"({"do":"echo"})").body, R"({"do":"echo"})");
}

TEST(ASignalWithoutABus, IsNotSent) {
  const Nuvra::TCMessage message;
  EXPECT_FALSE(Nuvra::SendSignal("service", "signal", &message));
}

TEST(ASignalWithoutABus, NeedsAllItsArguments) {
  const Nuvra::TCMessage message;
  EXPECT_FALSE(Nuvra::SendSignal(nullptr, "signal", &message));
  EXPECT_FALSE(Nuvra::SendSignal("service", nullptr, &message));
  EXPECT_FALSE(Nuvra::SendSignal("service", "signal", nullptr));
}

}  // namespace
