#include <gmock/gmock.h>

#include <atomic>
#include <thread>

#include "framework/message_text.h"
#include "framework_test.h"
#include "support/wait.h"

namespace {

using support::WaitUntil;
using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr char kInvalidMessage[] = "org.nuvra.Error.InvalidMessage";
constexpr char kFailed[] = "org.nuvra.Error.Failed";

class ARequest : public FrameworkTest {
 protected:
  ARequest() { StartAndWait(); }

  Client m_Client{Address()};
};

TEST_F(ARequest, IsAnsweredWithTheTypeAndTheBodyOfTheReply) {
  EXPECT_EQ(m_Client.Request(R"({"do":"echo","x":[1,0.5,"\u00e4"]})", 42),
            (Answer{42, "{\"do\":\"echo\",\"x\":[1,0.5,\"\xC3\xA4\"]}", "", ""}));
}

TEST_F(ARequest, ReachesTheServiceWithItsSenderItsTextAndAnEmptyReply) {
  const Answer answer = m_Client.Request(R"({ "do" : "describe" })", -1);
  EXPECT_EQ(answer.type, 0);
  Json::Value body;
  std::string error;
  ASSERT_TRUE(host::ParseBody(answer.body, body, error)) << answer;
  EXPECT_EQ(body["sender"], m_Client.UniqueName());
  EXPECT_EQ(body["option"], "");
  EXPECT_EQ(body["text"], R"({"do":"describe"})");
  EXPECT_EQ(body["type"], -1);
  EXPECT_EQ(body["replyBefore"], "{}");
  EXPECT_EQ(body["replyTypeBefore"], 0);
}

TEST_F(ARequest, WithABadBodyIsRefusedBeforeTheServiceSeesItAndTheNextIsServed) {
  const std::size_t before = Trace().size();
  const std::pair<std::string, std::string> bad[] = {
      {"", "line 1, column 1: expected a JSON object"},
      {"not json", "line 1, column 1: expected a JSON object"},
      {"[]", "line 1, column 1: expected a JSON object"},
      {R"({"do":"sleep","do":"sleep"})", "line 1, column 15: duplicate member name"},
      {R"({"do":"sleep"/**/})", "line 1, column 14: expected a comma or the end of the object"},
      {R"({"do":"sleep\u0000"})", "line 1, column 13: zero in a string"},
      {R"({"do":"\uFFFF"})", "line 1, column 8: noncharacter in a string"},
      {R"({"do":1e999})", "line 1, column 7: the number is out of range"},
      {R"({"do":)" + std::string(1000, '[') + std::string(1000, ']') + "}",
       "line 1, column 38: nested more than 32 levels deep"},
      {R"({"do":")" + std::string(1 << 20, 'x') + "\"}", "the body is larger than 256 KiB"},
  };
  for (const auto& [body, message] : bad) {
    EXPECT_EQ(m_Client.Request(body), (Answer{0, "", kInvalidMessage, message}));
    EXPECT_EQ(m_Client.Request(R"({"do":"echo"})").body, R"({"do":"echo"})");
  }
  EXPECT_EQ(Trace().size(), before);
}

TEST_F(ARequest, WithTextThatTheBusLibraryRefusesIsRefusedAndTheNextIsServed) {
  const support::Outcome outcome = support::RunCommand(
      {"dbus-send", "--bus=" + Address(), "--print-reply", std::string("--dest=") + kBusName,
       kObject, std::string(kInterface) + ".Request", "int32:0",
       "string:{\"do\":\"\xEF\xBF\xBF\"}"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, HasSubstr(kInvalidMessage));
  EXPECT_EQ(m_Client.Request(R"({"do":"echo"})").body, R"({"do":"echo"})");
}

TEST_F(ARequest, OfTheLargestSizeIsServed) {
  const std::string around = R"({"do":"echo","x":""})";
  const std::string body =
      R"({"do":"echo","x":")" + std::string(256 * 1024 - around.size(), 'x') + R"("})";
  EXPECT_EQ(m_Client.Request(body), (Answer{0, body, "", ""}));
}

TEST_F(ARequest, WithAnotherSignatureIsRefusedByTheBus) {
  bus::Error error;
  EXPECT_LT(sd_bus_call_method(m_Client.Get(), kBusName, kObject, kInterface, "Request",
                               error.Out(), nullptr, "s", "{}"),
            0);
  EXPECT_EQ(error.Name(), SD_BUS_ERROR_INVALID_ARGS);
}

TEST_F(ARequest, ThatTheServiceRefusesFails) {
  EXPECT_EQ(m_Client.Request(R"({"do":"refuse"})"),
            (Answer{0, "", kFailed, "the service refused the request"}));
}

TEST_F(ARequest, WhoseHandlerThrowsFailsWithTheTextOfTheExceptionAndTheNextIsServed) {
  EXPECT_EQ(m_Client.Request(R"({"do":"throw","text":"out of order"})"),
            (Answer{0, "", kFailed, "out of order"}));
  EXPECT_EQ(m_Client.Request(R"({"do":"throw int"})"),
            (Answer{0, "", kFailed, "an exception of type int"}));
  EXPECT_EQ(m_Client.Request(R"({"do":{}})").error, kFailed);
  EXPECT_EQ(m_Client.Request(R"({"do":"echo"})").body, R"({"do":"echo"})");
  EXPECT_TRUE(
      WaitUntil([this] { return LogLinesWith("an exception left a request").size() == 3; }));
  EXPECT_THAT(LogLinesWith("an exception left a request: out of order"), SizeIs(1));
  EXPECT_THAT(LogLinesWith("an exception left a request: an exception of type int"), SizeIs(1));
}

TEST_F(ARequest, WhoseHandlerThrowsALongTextGetsItsFirstKibibyte) {
  EXPECT_EQ(m_Client.Request(R"({"do":"throw long"})"),
            (Answer{0, "", kFailed, std::string(1024, 'x')}));
}

TEST_F(ARequest, WhoseHandlerThrowsWhatTheBusDoesNotTakeIsAnsweredAllTheSame) {
  EXPECT_EQ(m_Client.Request(R"({"do":"throw broken"})"),
            (Answer{0, "", kFailed, "broken \xEF\xBF\xBD text on two lines"}));
}

TEST_F(ARequest, IsAnsweredWhenTheReplyIsNoUtf8) {
  EXPECT_EQ(m_Client.Request(R"({"do":"reply","kind":"broken"})").body,
            "{\"key \xEF\xBF\xBD\":\"half a surrogate pair \xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\","
            "\"text\":\"a\xEF\xBF\xBDz\"}");
}

TEST_F(ARequest, IsAnsweredWhenTheReplyHoldsAZeroByte) {
  EXPECT_EQ(m_Client.Request(R"({"do":"reply","kind":"zero"})").body,
            "{\"k\uFFFD\":1,\"text\":\"a\uFFFDz\"}");
}

TEST_F(ARequest, IsAnsweredWhenTheReplyHoldsCharactersThatAreNone) {
  EXPECT_EQ(m_Client.Request(R"({"do":"reply","kind":"noncharacter"})").body,
            "{\"text\":\"\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD z\"}");
}

TEST_F(ARequest, WithAReplyOfTheLargestSizeIsAnswered) {
  const Answer answer = m_Client.Request(R"({"do":"reply of","bytes":4194304})");
  EXPECT_EQ(answer.error, "");
  EXPECT_EQ(answer.body.size(), 4u * 1024 * 1024);
}

TEST_F(ARequest, WithATooLargeReplyFailsAndTheNextIsServed) {
  const Answer failure{0, "", kFailed, "the reply cannot be sent: Message too long"};
  EXPECT_EQ(m_Client.Request(R"({"do":"reply of","bytes":4194305})"), failure);
  // More than a bus takes in one message by default.
  EXPECT_EQ(m_Client.Request(R"({"do":"reply of","bytes":40000000})"), failure);
  EXPECT_EQ(m_Client.Request(R"({"do":"echo"})").body, R"({"do":"echo"})");
  EXPECT_TRUE(WaitUntil(
      [this] { return LogLinesWith("a reply could not be sent: Message too long").size() == 2; }));
}

TEST_F(ARequest, ThatExpectsNoReplyIsServedWithoutOne) {
  const std::string monitorName = m_Client.UniqueName();
  m_Client.Post(R"({"do":"sleep","ms":0})", false);
  m_Client.Post(R"({"do":"throw","text":"nobody hears it"})", false);
  m_Client.Post("not json", false);
  int messages = 0;
  EXPECT_GE(sd_bus_add_filter(
                m_Client.Get(), nullptr,
                [](sd_bus_message* message, void* count, sd_bus_error*) {
                  const char* sender = sd_bus_message_get_sender(message);
                  *static_cast<int*>(count) +=
                      sender != nullptr && std::string(sender) != "org.freedesktop.DBus";
                  return 0;
                },
                &messages),
            0);
  m_Client.Post(R"({"do":"echo"})");
  ASSERT_TRUE(m_Client.Until([this] { return m_Client.Answers().size() == 1; }));
  // The answer to the last request, and nothing else.
  EXPECT_EQ(messages, 1);
  EXPECT_TRUE(WaitForTrace("request sleep"));
  EXPECT_TRUE(WaitForTrace("request throw"));
}

TEST_F(ARequest, OfAClientThatVanishesDoesNoHarm) {
  {
    Client hasty(Address());
    hasty.Post(R"({"do":"sleep","ms":50})");
    EXPECT_GE(sd_bus_flush(hasty.Get()), 0);
    ASSERT_TRUE(WaitForTrace("request sleep"));
  }
  EXPECT_EQ(m_Client.Request(R"({"do":"echo"})").body, R"({"do":"echo"})");
}

TEST_F(ARequest, IsServedInTheOrderOfSending) {
  for (int index = 0; index < 100; ++index) {
    m_Client.Post(R"({"do":"echo","n":)" + std::to_string(index) + "}");
  }
  ASSERT_TRUE(m_Client.Until([this] { return m_Client.Answers().size() == 100; }));
  for (int index = 0; index < 100; ++index) {
    EXPECT_EQ(m_Client.Answers()[index].body, R"({"do":"echo","n":)" + std::to_string(index) + "}");
  }
}

TEST_F(ARequest, IsAnsweredWhoeverElseAsks) {
  constexpr int kClients = 8;
  constexpr int kRequests = 1250;
  std::atomic<int> answered = 0;
  std::vector<std::thread> clients;
  for (int number = 0; number < kClients; ++number) {
    clients.emplace_back([&, number] {
      Client client(Address());
      for (int index = 0; index < kRequests; ++index) {
        const std::string body =
            R"({"do":"echo","who":)" + std::to_string(number * kRequests + index) + "}";
        answered += client.Request(body, index) == Answer{index, body, "", ""};
      }
    });
  }
  for (std::thread& client : clients) {
    client.join();
  }
  EXPECT_EQ(answered, kClients * kRequests);
}

TEST_F(ARequest, FindsTheObjectByTheUniqueNameToo) {
  bus::Credentials creds;
  ASSERT_GE(
      sd_bus_get_name_creds(m_Client.Get(), kBusName, SD_BUS_CREDS_UNIQUE_NAME, bus::Out(creds)),
      0);
  const char* name = nullptr;
  ASSERT_GE(sd_bus_creds_get_unique_name(creds.get(), &name), 0);
  EXPECT_EQ(m_Client.Request(R"({"do":"echo"})", 0, name).body, R"({"do":"echo"})");
}

TEST_F(ARequest, IsDescribedByIntrospection) {
  bus::Message reply;
  ASSERT_GE(
      sd_bus_call_method(m_Client.Get(), kBusName, kObject, "org.freedesktop.DBus.Introspectable",
                         "Introspect", nullptr, bus::Out(reply), ""),
      0);
  const char* text = nullptr;
  ASSERT_GE(sd_bus_message_read(reply.get(), "s", &text), 0);
  EXPECT_THAT(text, HasSubstr(R"xml( <interface name="org.nuvra.Service1">
  <method name="Request">
   <arg type="i" name="type" direction="in"/>
   <arg type="s" name="body" direction="in"/>
   <arg type="i" name="type" direction="out"/>
   <arg type="s" name="body" direction="out"/>
  </method>
  <method name="RequestAll">
   <arg type="a(is)" name="requests" direction="in"/>
   <arg type="a(is)" name="replies" direction="out"/>
  </method>
  <signal name="Signal">
   <arg type="s" name="name"/>
   <arg type="i" name="type"/>
   <arg type="s" name="body"/>
  </signal>
 </interface>
)xml"));
}

TEST_F(ARequest, IsShownByTheBusTool) {
  const support::Outcome outcome = support::RunCommand(
      {"busctl", "--address=" + Address(), "introspect", kBusName, kObject, kInterface});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.out, AllOf(ContainsRegex("\\.Request +method +is +is"),
                                 ContainsRegex("\\.Signal +signal +sis")));
}

TEST_F(ARequest, HasAPeerThatCanBePinged) {
  EXPECT_GE(sd_bus_call_method(m_Client.Get(), kBusName, kObject, "org.freedesktop.DBus.Peer",
                               "Ping", nullptr, nullptr, ""),
            0);
}

TEST_F(ARequest, ThatCouldNotBeStoredLeavesItsReasonAlsoWhenThePathOfTheStoreIsNotUtf8) {
  ASSERT_EQ(m_Client.Request(R"({"do":"fail to store"})").error, "");
  bus::Error error;
  bus::Message reply;
  ASSERT_GE(sd_bus_get_property(m_Client.Get(), kBusName, kObject, "org.nuvra.KeyStore1", "Failure",
                                error.Out(), bus::Out(reply), "(ts)"),
            0)
      << error.Text();
  std::uint64_t at = 0;
  const char* text = nullptr;
  ASSERT_GE(sd_bus_message_read(reply.get(), "(ts)", &at, &text), 0);
  EXPECT_STREQ(text, "key file /caf\uFFFD/keys.db: cannot be opened");
}

}  // namespace
