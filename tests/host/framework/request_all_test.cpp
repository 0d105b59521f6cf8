#include <gmock/gmock.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "framework_test.h"
#include "support/wait.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kInvalidMessage[] = "org.nuvra.Error.InvalidMessage";

using Texts = std::vector<std::string>;
using Replies = std::vector<std::pair<int, std::string>>;

bus::Message CallWith(const Client& client, const Texts& bodies) {
  bus::Message call;
  bus::Check(sd_bus_message_new_method_call(client.Get(), bus::Out(call), kBusName, kObject,
                                            kInterface, "RequestAll"),
             "new call");
  bus::Check(sd_bus_message_open_container(call.get(), 'a', "(is)"), "open");
  int type = 0;
  for (const std::string& body : bodies) {
    bus::Check(sd_bus_message_append(call.get(), "(is)", type++, body.c_str()), "append");
  }
  bus::Check(sd_bus_message_close_container(call.get()), "close");
  return call;
}

// What came back for a list of requests: the replies, or an error.
struct AnswerToAll {
  Replies replies;
  std::string error;
  std::string message;
};

AnswerToAll Read(sd_bus_message* reply) {
  AnswerToAll answer;
  if (const sd_bus_error* error = sd_bus_message_get_error(reply)) {
    answer.error = error->name;
    answer.message = error->message;
    return answer;
  }
  bus::Check(sd_bus_message_enter_container(reply, 'a', "(is)"), "enter");
  int type = 0;
  const char* body = nullptr;
  while (bus::Check(sd_bus_message_read(reply, "(is)", &type, &body), "read") > 0) {
    answer.replies.emplace_back(type, body);
  }
  return answer;
}

// The answer to a list that was sent and is not awaited yet.
class Awaited {
 public:
  Awaited(const Client& client, const Texts& bodies) {
    bus::Check(sd_bus_call_async(client.Get(), bus::Out(m_Slot), CallWith(client, bodies).get(),
                                 OnAnswer, this, 0),
               "call");
    bus::Check(sd_bus_flush(client.Get()), "flush");
  }

  const std::optional<AnswerToAll>& Answer() const { return m_Answer; }

 private:
  static int OnAnswer(sd_bus_message* message, void* self, sd_bus_error*) {
    static_cast<Awaited*>(self)->m_Answer = Read(message);
    return 0;
  }

  bus::Slot m_Slot;
  std::optional<AnswerToAll> m_Answer;
};

std::string Echo(int number) { return R"({"do":"echo","n":)" + std::to_string(number) + "}"; }

class RequestAll : public FrameworkTest {
 protected:
  RequestAll() { StartAndWait(); }

  AnswerToAll Ask(const Texts& bodies) {
    const Awaited awaited(m_Client, bodies);
    EXPECT_TRUE(m_Client.Until([&] { return awaited.Answer().has_value(); }));
    return awaited.Answer().value_or(AnswerToAll());
  }

  std::ptrdiff_t Served(const std::string& what) const {
    const std::vector<std::string> trace = Trace();
    return std::count(trace.begin(), trace.end(), "request " + what);
  }

  Client m_Client{Address()};
};

TEST_F(RequestAll, ServesEachAsRequestDoesAndAnswersInTheirOrder) {
  const std::string sender = m_Client.UniqueName();
  const AnswerToAll answer = Ask({Echo(0), Echo(1), R"({"do":"describe"})"});
  ASSERT_THAT(answer.replies, SizeIs(3));
  EXPECT_EQ(answer.replies[0], std::pair(0, Echo(0)));
  EXPECT_EQ(answer.replies[1], std::pair(1, Echo(1)));
  EXPECT_THAT(answer.replies[2].second, testing::HasSubstr(R"("sender":")" + sender + "\""));
  EXPECT_THAT(answer.replies[2].second, testing::HasSubstr(R"("type":2)"));
}

TEST_F(RequestAll, OfNothingIsAnsweredWithNothing) {
  const AnswerToAll answer = Ask({});
  EXPECT_EQ(answer.error, "");
  EXPECT_THAT(answer.replies, IsEmpty());
}

TEST_F(RequestAll, PutsAnErrorInThePlaceOfAReplyAndServesTheOthers) {
  const AnswerToAll answer =
      Ask({Echo(0), "not json", R"({"do":"throw","text":"out of \"order\""})", R"({"do":"refuse"})",
           std::string(256 * 1024 + 1, 'x'), Echo(5)});
  EXPECT_THAT(answer.replies,
              ElementsAre(std::pair(0, Echo(0)),
                          std::pair(-1, R"({"error":"org.nuvra.Error.InvalidMessage",)"
                                        R"("message":"line 1, column 1: expected a JSON object"})"),
                          std::pair(-1, R"({"error":"org.nuvra.Error.Failed",)"
                                        R"("message":"out of \"order\""})"),
                          std::pair(-1, R"({"error":"org.nuvra.Error.Failed",)"
                                        R"("message":"the service refused the request"})"),
                          std::pair(-1, R"({"error":"org.nuvra.Error.InvalidMessage",)"
                                        R"("message":"the body is larger than 256 KiB"})"),
                          std::pair(5, Echo(5))));
}

TEST_F(RequestAll, TakesAsManyAsAre1024) {
  EXPECT_THAT(Ask(Texts(1024, Echo(7))).replies, SizeIs(1024));
  const AnswerToAll answer = Ask(Texts(1025, R"({"do":"sleep","ms":0})"));
  EXPECT_EQ(answer.error, kInvalidMessage);
  EXPECT_EQ(answer.message, "there are more than 1024 requests");
  EXPECT_EQ(m_Client.Request(Echo(8)).body, Echo(8));
  EXPECT_EQ(Served("sleep"), 0);
}

TEST_F(RequestAll, TakesAMebibyteOfBodies) {
  const std::string around = R"({"do":"","x":""})";
  const std::string body =
      R"({"do":"","x":")" + std::string(256 * 1024 - around.size(), 'x') + R"("})";
  EXPECT_THAT(Ask(Texts(4, body)).replies, SizeIs(4));
  EXPECT_EQ(Served(""), 4);
  const AnswerToAll answer = Ask({body, body, body, body, "{}"});
  EXPECT_EQ(answer.error, kInvalidMessage);
  EXPECT_EQ(answer.message, "the bodies are larger than 1 MiB in all");
  EXPECT_EQ(Served(""), 4);
}

TEST_F(RequestAll, WithTextThatTheBusLibraryRefusesIsRefusedAsAWhole) {
  const support::Outcome outcome = support::RunCommand(
      {"gdbus", "call", "--address", Address(), "--dest", kBusName, "--object-path", kObject,
       "--method", std::string(kInterface) + ".RequestAll",
       "[(0, '{\"do\":\"sleep\",\"ms\":0}'), (0, '{\"do\":\"\xEF\xBF\xBF\"}')]"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, testing::HasSubstr("the message is damaged or not UTF-8"));
  EXPECT_EQ(m_Client.Request(Echo(0)).body, Echo(0));
  EXPECT_EQ(Served("sleep"), 0);
}

TEST_F(RequestAll, LeavesOutRepliesThatDoNotFitIntoOneMessage) {
  const std::string large = R"({"do":"reply of","bytes":3000000})";
  const std::string failure = R"({"error":"org.nuvra.Error.Failed",)"
                              R"("message":"the reply cannot be sent: Message too long"})";
  const AnswerToAll answer = Ask({large, large, Echo(2)});
  ASSERT_THAT(answer.replies, SizeIs(3)) << answer.error;
  EXPECT_EQ(answer.replies[0].second.size(), 3'000'000u);
  EXPECT_EQ(answer.replies[1], std::pair(-1, failure));
  EXPECT_EQ(answer.replies[2], std::pair(2, Echo(2)));
}

TEST_F(RequestAll, ThatExpectsNoReplyIsServedWithoutOne) {
  const bus::Message call = CallWith(m_Client, Texts(3, R"({"do":"sleep","ms":0})"));
  ASSERT_GE(sd_bus_message_set_expect_reply(call.get(), false), 0);
  ASSERT_GE(sd_bus_send(m_Client.Get(), call.get(), nullptr), 0);
  EXPECT_EQ(m_Client.Request(Echo(0)).body, Echo(0));
  EXPECT_EQ(Served("sleep"), 3);
}

TEST_F(RequestAll, OfAClientThatVanishesIsServedToItsEnd) {
  {
    Client hasty(Address());
    const Awaited awaited(hasty, Texts(100, R"({"do":"sleep","ms":1})"));
  }
  EXPECT_TRUE(support::WaitUntil([this] { return Served("sleep") == 100; }));
  EXPECT_EQ(m_Client.Request(Echo(0)).body, Echo(0));
}

TEST_F(RequestAll, LetsTheRequestsOfAClientKeepTheirOrder) {
  const Awaited list(m_Client, Texts(50, R"({"do":"sleep","ms":1})"));
  m_Client.Post(R"({"do":"one"})");
  const Awaited next(m_Client, Texts(2, R"({"do":"two"})"));
  m_Client.Post(R"({"do":"three"})");
  ASSERT_TRUE(m_Client.Until([&] {
    // Answers come in this order, too.
    EXPECT_TRUE(m_Client.Answers().empty() || list.Answer());
    EXPECT_TRUE(!next.Answer() || !m_Client.Answers().empty());
    return m_Client.Answers().size() == 2;
  }));
  std::vector<std::string> trace = Trace();
  trace.erase(trace.begin(), std::find(trace.begin(), trace.end(), "request sleep"));
  std::vector<std::string> expected(50, "request sleep");
  expected.insert(expected.end(), {"request one", "request two", "request two", "request three"});
  EXPECT_EQ(trace, expected);
}

// Each of these takes five seconds to be served.
constexpr int kLong = 1000;
constexpr char kSleep[] = R"({"do":"sleep","ms":5})";

TEST_F(RequestAll, LetsOtherClientsHaveTheirTurnInBetween) {
  const Awaited list(m_Client, Texts(kLong, kSleep));
  ASSERT_TRUE(WaitForTrace("request sleep"));
  Client bystander(Address());
  EXPECT_EQ(bystander.Request(Echo(0)).body, Echo(0));
  EXPECT_LT(Served("sleep"), kLong / 2);
}

TEST_F(RequestAll, SharesTheTimeAmongThoseThatSendMany) {
  Client other(Address());
  const Awaited list(m_Client, Texts(kLong, kSleep));
  ASSERT_TRUE(WaitForTrace("request sleep"));
  const Awaited few(other, Texts(50, R"({"do":"other"})"));
  ASSERT_TRUE(other.Until([&] { return few.Answer().has_value(); }));
  EXPECT_GE(Served("sleep"), 49);
  EXPECT_LT(Served("sleep"), kLong / 2);
}

TEST_F(RequestAll, ManySingleRequestsLetOtherClientsHaveTheirTurnInBetween) {
  for (int index = 0; index < kLong; ++index) {
    m_Client.Post(kSleep);
  }
  // The bus answers in order: by then it has passed on all of them.
  ASSERT_TRUE(m_Client.HasOwner());
  Client bystander(Address());
  EXPECT_EQ(bystander.Request(Echo(0)).body, Echo(0));
  EXPECT_LT(Served("sleep"), kLong / 2);
}

TEST_F(RequestAll, LetsTheMainLoopRunInBetween) {
  m_Client.Listen();
  Texts bodies(200, kSleep);
  bodies.insert(bodies.begin(), R"({"do":"alarm","period":1,"count":3})");
  const Awaited list(m_Client, bodies);
  ASSERT_TRUE(m_Client.Until([&] { return m_Client.Signals().size() == 3; }));
  EXPECT_FALSE(list.Answer());
  ASSERT_TRUE(m_Client.Until([&] { return list.Answer().has_value(); }));
  EXPECT_THAT(list.Answer()->replies, SizeIs(201));
}

// More than is read ahead.
TEST_F(RequestAll, FloodsAreServedToTheirEnd) {
  constexpr int kFlood = 10'000;
  for (int index = 0; index < kFlood; ++index) {
    m_Client.Post(Echo(index));
  }
  ASSERT_TRUE(m_Client.Until([&] { return m_Client.Answers().size() == kFlood; }));
  for (int index = 0; index < kFlood; ++index) {
    ASSERT_EQ(m_Client.Answers()[index].body, Echo(index));
  }
}

TEST_F(RequestAll, IsShownByTheBusTool) {
  const support::Outcome outcome = support::RunCommand(
      {"busctl", "--address=" + Address(), "introspect", kBusName, kObject, kInterface});
  EXPECT_THAT(outcome.out, testing::ContainsRegex("\\.RequestAll +method +a\\(is\\) +a\\(is\\)"));
}

}  // namespace
