#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <iterator>
#include <list>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "framework_test.h"
#include "support/wait.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr char kInvalidMessage[] = "org.nuvra.Error.InvalidMessage";
constexpr char kLimitsExceeded[] = "org.freedesktop.DBus.Error.LimitsExceeded";

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

void Own(const Client& client, const std::string& name) {
  ASSERT_GE(sd_bus_request_name(client.Get(), name.c_str(), 0), 0);
}

class RequestAll : public FrameworkTest {
 protected:
  AnswerToAll Ask(const Texts& bodies) {
    const Awaited awaited(m_Client, bodies);
    EXPECT_TRUE(m_Client.Until([&] { return awaited.Answer().has_value(); }));
    return awaited.Answer().value_or(AnswerToAll());
  }

  std::ptrdiff_t Served(const std::string& what) const {
    const std::vector<std::string> trace = Trace();
    return std::count(trace.begin(), trace.end(), "request " + what);
  }

  // What clients do meanwhile is with the bus when the service goes on.
  void WhileTheServiceStands(const std::function<void()>& act) {
    m_Service.Signal(SIGSTOP);
    act();
    ASSERT_TRUE(m_Client.HasOwner());
    m_Service.Signal(SIGCONT);
  }

  support::Process& m_Service = StartAndWait();
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

// The bus numbers its clients, and these sort behind the tenth: ":1.10" < ":1.11" < ... < ":1.99".
TEST_F(RequestAll, HasItsTurnBeforeThoseOfClientsThatKeepComing) {
  constexpr int kOthers = 4;
  constexpr int kMostNewcomers = 60;
  std::list<Client> clients;
  do {
    clients.emplace_back(Address());
  } while (clients.back().UniqueName() < ":1.10" || clients.back().UniqueName() >= ":1.2");
  std::list<Awaited> lists;
  const auto come = [&] {
    clients.emplace_back(Address());
    lists.emplace_back(clients.back(), Texts(2, R"({"do":"sleep","ms":20})"));
  };
  WhileTheServiceStands([&] {
    lists.emplace_back(clients.back(), Texts(3, R"({"do":"patient"})"));
    for (int count = 0; count < kOthers; ++count) {
      come();
    }
  });
  for (int count = 0; count < kMostNewcomers && Served("patient") < 2; ++count) {
    const std::ptrdiff_t served = Served("sleep");
    come();
    ASSERT_TRUE(support::WaitUntil([&] { return Served("sleep") > served; }));
  }
  ASSERT_TRUE(support::WaitUntil([&] { return Served("patient") >= 2; }));
  const std::vector<std::string> trace = Trace();
  const auto first = std::find(trace.begin(), trace.end(), "request patient");
  const auto second = std::find(std::next(first), trace.end(), "request patient");
  // One more came at the beginning, and one whenever one was served.
  const auto newcomers = 1 + std::count(trace.begin(), first, "request sleep");
  EXPECT_LE(second - first, kOthers + newcomers + 1);
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

// As many as may wait.
TEST_F(RequestAll, FloodsAreServedToTheirEnd) {
  constexpr int kFlood = 4096;
  for (int index = 0; index < kFlood; ++index) {
    m_Client.Post(Echo(index));
  }
  ASSERT_TRUE(m_Client.Until([&] { return m_Client.Answers().size() == kFlood; }));
  for (int index = 0; index < kFlood; ++index) {
    ASSERT_EQ(m_Client.Answers()[index].body, Echo(index));
  }
}

constexpr char kOfClient[] =
    "at most 4096 requests and 5 MiB of a client may wait: await answers before you send more";

Texts Full(const std::string& body) { return Texts(1024, body); }

TEST_F(RequestAll, BeyondFourFullListsIsRefusedUntilHalfOfThemAreServed) {
  const std::string sleep = R"({"do":"sleep","ms":1})";
  std::list<Awaited> lists;
  WhileTheServiceStands([&] {
    for (const std::string& body : {sleep, sleep, Echo(3), Echo(4), std::string(R"({"do":"5"})")}) {
      lists.emplace_back(m_Client, Full(body));
    }
    m_Client.Post(R"({"do":"6"})");
  });
  ASSERT_TRUE(m_Client.Until([&] { return lists.back().Answer() && !m_Client.Answers().empty(); }));
  EXPECT_EQ(lists.back().Answer()->error, kLimitsExceeded);
  EXPECT_EQ(lists.back().Answer()->message, kOfClient);
  EXPECT_EQ(m_Client.Answers()[0].error, kLimitsExceeded);
  EXPECT_EQ(m_Client.Answers()[0].message, kOfClient);
  EXPECT_FALSE(lists.front().Answer());
  EXPECT_EQ(Client(Address()).Request(Echo(0)).body, Echo(0));

  const auto list = [&](int number) -> Awaited& { return *std::next(lists.begin(), number - 1); };
  ASSERT_TRUE(m_Client.Until([&] { return list(1).Answer().has_value(); }));
  const Awaited early(m_Client, Full(R"({"do":"7"})"));
  ASSERT_TRUE(m_Client.Until([&] { return list(2).Answer() && early.Answer(); }));
  EXPECT_EQ(early.Answer()->error, kLimitsExceeded);
  EXPECT_THAT(Ask(Full(Echo(8))).replies, SizeIs(1024));
  EXPECT_THAT(list(3).Answer().value_or(AnswerToAll()).replies, SizeIs(1024));
  EXPECT_THAT(list(4).Answer().value_or(AnswerToAll()).replies, SizeIs(1024));
  for (const char* refused : {"5", "6", "7"}) {
    EXPECT_EQ(Served(refused), 0) << refused;
  }
}

TEST_F(RequestAll, BeyondFiveMebibytesIsRefused) {
  const Texts large(4, R"({"do":"","x":")" + std::string(256 * 1024 - 17, 'x') + R"("})");
  std::list<Awaited> lists;
  WhileTheServiceStands([&] {
    lists.emplace_back(m_Client, Texts(kLong, kSleep));
    for (int count = 0; count < 5; ++count) {
      lists.emplace_back(m_Client, large);
    }
  });
  ASSERT_TRUE(m_Client.Until([&] { return lists.back().Answer().has_value(); }));
  EXPECT_EQ(lists.back().Answer()->error, kLimitsExceeded);
  EXPECT_EQ(lists.back().Answer()->message, kOfClient);
  EXPECT_FALSE(std::next(lists.rbegin())->Answer());
}

TEST_F(RequestAll, OfNothingCountsAsMuchAsOfOneRequest) {
  std::list<Awaited> lists;
  WhileTheServiceStands([&] {
    lists.emplace_back(m_Client, Texts(kLong, kSleep));
    for (int count = 0; count < 4096 - kLong + 1; ++count) {
      lists.emplace_back(m_Client, Texts());
    }
  });
  ASSERT_TRUE(m_Client.Until([&] { return lists.back().Answer().has_value(); }));
  EXPECT_EQ(lists.back().Answer()->error, kLimitsExceeded);
  EXPECT_FALSE(std::next(lists.rbegin())->Answer());
}

// The answer about the client comes behind its requests.
TEST_F(RequestAll, IsRefusedBeyondTheSameWhileTheBusIsAskedWhoTheClientIs) {
  std::list<Awaited> lists;
  WhileTheServiceStands([&] {
    for (int count = 0; count < 5; ++count) {
      lists.emplace_back(m_Client, Full(R"({"method":"SetItemValue","do":"echo"})"));
    }
  });
  ASSERT_TRUE(m_Client.Until([&] {
    return std::all_of(lists.begin(), lists.end(), [](const auto& each) { return each.Answer(); });
  }));
  for (auto each = lists.begin(); each != std::prev(lists.end()); ++each) {
    EXPECT_THAT(each->Answer()->replies, SizeIs(1024));
  }
  EXPECT_EQ(lists.back().Answer()->error, kLimitsExceeded);
}

TEST_F(RequestAll, OfSeventeenClientsIsRefusedButNotOfOneThatWaitsForItsAnswers) {
  constexpr int kClients = 17;
  std::list<Client> clients;
  std::list<Awaited> lists;
  for (int count = 0; count < kClients; ++count) {
    clients.emplace_back(Address());
  }
  WhileTheServiceStands([&] {
    for (Client& client : clients) {
      lists.emplace_back(client, Texts(kLong, kSleep));
    }
    // In turns, so that none is refused for what it has waiting itself.
    for (int count = 0; count < 3; ++count) {
      for (Client& client : clients) {
        lists.emplace_back(client, Full(Echo(0)));
      }
    }
  });
  ASSERT_TRUE(clients.back().Until([&] { return lists.back().Answer().has_value(); }));
  EXPECT_EQ(lists.back().Answer()->error, kLimitsExceeded);
  EXPECT_EQ(lists.back().Answer()->message,
            "at most 65536 requests and 80 MiB of all clients may wait: await answers before you "
            "send more");
  EXPECT_EQ(m_Client.Request(Echo(0)).body, Echo(0));
}

// The first 128 are taken.
TEST_F(RequestAll, OfOneClientMoreThanAreHeardIsRefusedButNotItsSingleRequest) {
  constexpr int kClients = 140;
  std::list<Client> clients;
  std::list<Awaited> lists;
  for (int count = 0; count < kClients; ++count) {
    clients.emplace_back(Address());
  }
  WhileTheServiceStands([&] {
    for (Client& client : clients) {
      lists.emplace_back(client, Full(kSleep));
      ASSERT_TRUE(client.HasOwner());
    }
  });
  ASSERT_TRUE(clients.back().Until([&] { return lists.back().Answer().has_value(); }));
  EXPECT_EQ(lists.back().Answer()->error, kLimitsExceeded);
  EXPECT_EQ(lists.back().Answer()->message,
            "at most 131072 requests and 160 MiB of all clients may wait: send one request, or all "
            "of them later");
  EXPECT_EQ(clients.back().Request(Echo(0)).body, Echo(0));
}

// Of one everything is refused, of the other everything taken.
TEST_F(RequestAll, OfTwoClientsThatFloodIsReadBeforeMuchIsServed) {
  constexpr int kPairs = 200;
  Client other(Address());
  std::list<Awaited> lists;
  WhileTheServiceStands([&] {
    for (int count = 0; count < 4; ++count) {
      lists.emplace_back(m_Client, Full(kSleep));
    }
    lists.emplace_back(other, Full(kSleep));
    for (int count = 0; count < kPairs; ++count) {
      m_Client.Post(Echo(count));
      ASSERT_TRUE(m_Client.HasOwner());
      other.Post(Echo(count));
      ASSERT_TRUE(other.HasOwner());
    }
  });
  ASSERT_TRUE(m_Client.Until([&] { return m_Client.Answers().size() == kPairs; }));
  EXPECT_EQ(m_Client.Answers().back().error, kLimitsExceeded);
  EXPECT_LT(Served("sleep"), kPairs / 2);
}

// Sends lists for whose answers it does not wait, and ends.
void LeaveBehind(const std::string& address, const Texts& bodies, int lists) {
  const Client client(address);
  for (int count = 0; count < lists; ++count) {
    const bus::Message call = CallWith(client, bodies);
    ASSERT_GE(sd_bus_message_set_expect_reply(call.get(), false), 0);
    ASSERT_GE(sd_bus_send(client.Get(), call.get(), nullptr), 0);
  }
  ASSERT_GE(sd_bus_flush(client.Get()), 0);
  ASSERT_GE(bus::HasOwner(client.Get(), kBusName), 0);
}

// While the first sleeps, the others come. They are less than the bus keeps for the service.
TEST_F(RequestAll, OfClientsThatEndedIsServedUpToSixteenFullLists) {
  constexpr int kClients = 40;
  Texts full(1024, R"({"do":"echo"})");
  full.back() = R"({"do":"left"})";
  WhileTheServiceStands([&] {
    LeaveBehind(Address(), Texts(200, kSleep), 1);
    for (int count = 0; count < kClients; ++count) {
      LeaveBehind(Address(), full, 4);
    }
  });
  Client bystander(Address());
  EXPECT_EQ(bystander.Request(Echo(0)).body, Echo(0));
  EXPECT_LT(Served("sleep"), 200);
  Own(bystander, "org.example.app");
  ASSERT_TRUE(WaitForTrace("owner of org.example.app"));
  EXPECT_EQ(Served("sleep"), 200);
  EXPECT_GE(Served("left"), 12);
  EXPECT_LE(Served("left"), 2 * 16);
  EXPECT_THAT(LogLinesWith(" of clients that ended are dropped"), Not(IsEmpty()));
}

TEST_F(RequestAll, SharesTheTimeWithAllClientsThatEndedAsWithOne) {
  constexpr int kClients = 20;
  WhileTheServiceStands([&] {
    for (int count = 0; count < kClients; ++count) {
      LeaveBehind(Address(), Texts(100, kSleep), 1);
    }
  });
  const Awaited list(m_Client, Texts(50, R"({"do":"other"})"));
  ASSERT_TRUE(m_Client.Until([&] { return list.Answer().has_value(); }));
  EXPECT_GE(Served("sleep"), 49);
  EXPECT_LT(Served("sleep"), 49 * kClients / 2);
}

// Whose they were is asked when the first of them has its turn.
TEST_F(RequestAll, OfEachClientThatEndedKeepsItsOrder) {
  constexpr int kClients = 10;
  constexpr int kOfEach = 5;
  std::vector<std::string> expected;
  WhileTheServiceStands([&] {
    for (int client = 0; client < kClients; ++client) {
      Texts bodies;
      for (int count = 0; count < kOfEach; ++count) {
        const std::string what = std::to_string(client) + std::to_string(count);
        bodies.push_back(R"({"method":"SetItemValue","do":")" + what + "\"}");
        expected.push_back("request " + what);
      }
      LeaveBehind(Address(), bodies, 1);
    }
  });
  std::vector<std::string> served;
  ASSERT_TRUE(support::WaitUntil([&] {
    served = Trace();
    std::erase_if(served, [](const std::string& line) { return !line.starts_with("request "); });
    return served.size() == kClients * kOfEach;
  }));
  std::stable_sort(served.begin(), served.end(), [](const auto& one, const auto& other) {
    return one[std::size("request ") - 1] < other[std::size("request ") - 1];
  });
  EXPECT_EQ(served, expected);
}

// Their replies would collect in the service. They are more than the kernel keeps for a connection,
// and those for each client less than the bus keeps for it.
TEST_F(RequestAll, AreServedNoFasterThanTheBusTakesTheReplies) {
  constexpr int kClients = 6;
  constexpr int kOfEach = 15;
  std::list<Client> clients;
  for (int count = 0; count < kClients; ++count) {
    clients.emplace_back(Address());
  }
  WhileTheServiceStands([&] {
    for (Client& client : clients) {
      for (int count = 0; count < kOfEach; ++count) {
        client.Post(R"({"do":"reply of","bytes":500000})");
      }
      ASSERT_TRUE(client.HasOwner());
    }
    Bus().Signal(SIGSTOP);
    m_Service.Signal(SIGCONT);
    ASSERT_TRUE(WaitForTrace("request reply of"));
    // Until it does nothing any more.
    for (int before = 0; Served("reply of") != before;) {
      before = Served("reply of");
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    EXPECT_LT(Served("reply of"), kClients * kOfEach * 3 / 4);
    Bus().Signal(SIGCONT);
  });
  for (Client& client : clients) {
    ASSERT_TRUE(client.Until([&] { return client.Answers().size() == kOfEach; }));
    EXPECT_EQ(client.Answers().back().body.size(), 500000);
  }
}

TEST_F(RequestAll, SentBeforeAnApplicationCameIsServedBeforeItIsKnownWhileTheMainLoopRuns) {
  m_Client.Listen();
  Client application(Address());
  Client other(Address());
  Texts bodies(200, kSleep);
  bodies.insert(bodies.begin(), R"({"do":"alarm","period":1,"count":3})");
  bodies.emplace_back(R"({"do":"last"})");
  std::optional<Awaited> list;
  WhileTheServiceStands([&] {
    list.emplace(m_Client, bodies);
    ASSERT_TRUE(m_Client.HasOwner());
    Own(application, "org.example.app");
    other.Post(R"({"do":"after"})");
    ASSERT_TRUE(other.HasOwner());
  });
  ASSERT_TRUE(m_Client.Until([&] { return m_Client.Signals().size() == 3; }));
  EXPECT_FALSE(list->Answer());
  ASSERT_TRUE(other.Until([&] { return other.Answers().size() == 1; }));
  std::vector<std::string> end = Trace();
  end.erase(end.begin(), std::find(end.begin(), end.end(), "request last"));
  EXPECT_THAT(end, ElementsAre("request last", "owner of org.example.app", "request after"));
}

// Every second client is one that the bus is asked about.
TEST_F(RequestAll, KeepsItsPlaceAmongTheApplicationsThatComeAndGo) {
  constexpr int kNews = 100;
  Client application(Address());
  std::list<Client> clients;
  std::vector<std::string> expected;
  for (int number = 0; number < kNews; ++number) {
    clients.emplace_back(Address());
  }
  WhileTheServiceStands([&] {
    int number = 0;
    for (Client& client : clients) {
      const std::string name = std::to_string(number++);
      const std::string setting = number % 2 == 0 ? R"("method":"SetItemValue",)" : "";
      client.Post("{" + setting + R"("do":")" + name + "\"}");
      ASSERT_TRUE(client.HasOwner());
      Own(application, "org.example.app" + name);
      expected.insert(expected.end(), {"request " + name, "owner of org.example.app" + name});
    }
  });
  ASSERT_TRUE(WaitForTrace(expected.back()));
  std::vector<std::string> trace = Trace();
  trace.erase(trace.begin(), std::find(trace.begin(), trace.end(), expected.front()));
  EXPECT_EQ(trace, expected);
}

TEST_F(RequestAll, IsServedOnAfterAnExceptionBetweenTwoRequests) {
  EXPECT_THAT(Ask({R"({"do":"fail between"})", Echo(1), Echo(2)}).replies, SizeIs(3));
  EXPECT_EQ(m_Client.Request(Echo(3)).body, Echo(3));
  EXPECT_TRUE(
      support::WaitUntil([&] { return LogLinesWith("no room between requests").size() == 1; }));
}

TEST_F(RequestAll, IsShownByTheBusTool) {
  const support::Outcome outcome = support::RunCommand(
      {"busctl", "--address=" + Address(), "introspect", kBusName, kObject, kInterface});
  EXPECT_THAT(outcome.out, testing::ContainsRegex("\\.RequestAll +method +a\\(is\\) +a\\(is\\)"));
}

}  // namespace
