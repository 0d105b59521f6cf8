#include "settings/client.h"

#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include "fixture.h"

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using settings::Client;
using settings::ErrorCode;
using settings::Signal;
using testing::ElementsAre;
using testing::HasSubstr;
using Names = std::vector<std::string>;

Json::Value Data(const std::string& name, const Json::Value& value) {
  Json::Value data;
  data[name] = value;
  return data;
}

// The error that `action` ends with; the test fails when it ends without.
settings::Error ErrorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const settings::Error& error) {
    return error;
  }
  ADD_FAILURE() << "no error";
  return settings::Error(ErrorCode::kProtocol, "no error", "");
}

class ClientTest : public OnBus {
 protected:
  explicit ClientTest(const std::string& configuration = "") : OnBus(configuration) {}

  Client Connect(std::chrono::microseconds timeout = support::kPatience) const {
    return Client(m_Bus.Address(), timeout);
  }
};

TEST_F(ClientTest, ValuesAndTheirNamesAreRead) {
  StartService();
  Client client = Connect();
  EXPECT_EQ(client.GetItemValue("picturemode"), "standard");
  EXPECT_EQ(client.GetItemValueName("picturemode"), "Standard");
  EXPECT_EQ(client.GetItemValueName("greeting"), "Grüße");
}

TEST_F(ClientTest, AnItemThatTheServiceDoesNotKnowHasNoValueAndTakesNone) {
  StartService();
  Client client = Connect();
  EXPECT_EQ(client.GetItemValue("nosuchitem"), std::nullopt);
  EXPECT_EQ(client.GetItemValueName("nosuchitem"), std::nullopt);
  EXPECT_FALSE(client.SetItemValue("nosuchitem", "1"));
}

TEST_F(ClientTest, AStoredValueIsReadBackAndAPreviewIsNot) {
  StartService();
  Client client = Connect();
  EXPECT_TRUE(client.SetItemValue("greeting", "ȷ\"\\\n"));
  EXPECT_EQ(client.GetItemValue("greeting"), "ȷ\"\\\n");
  EXPECT_TRUE(client.SetItemValue("greeting", "other", true));
  EXPECT_EQ(client.GetItemValue("greeting"), "ȷ\"\\\n");
  EXPECT_FALSE(client.SetItemValue("greeting", "refused"));
}

TEST_F(ClientTest, ItemsAreDescribed) {
  StartService();
  Client client = Connect();
  EXPECT_EQ(client.GetItemDisplayName("brightness"), "Brightness");
  EXPECT_EQ(client.GetItemDisplayID("brightness"), "MENU_ITEM");
  EXPECT_EQ(client.GetItemPath("brightness"), "picture/expert/brightness");
  EXPECT_EQ(client.GetItemChildList("picture"), (Names{"picturemode", "expert"}));
  EXPECT_EQ(client.GetItemDataList("picturemode"), (Names{"standard", "movie"}));
  const auto range = client.GetItemMinMaxStepValue("brightness");
  ASSERT_TRUE(range.has_value());
  EXPECT_EQ(range->min, -0.5);
  EXPECT_EQ(range->max, 50);
  EXPECT_EQ(range->step, 0.5);
}

TEST_F(ClientTest, AQuestionThatTheServiceCannotAnswerHasNoAnswer) {
  StartService();
  Client client = Connect();
  EXPECT_EQ(client.GetItemDisplayName("nosuchitem"), std::nullopt);
  EXPECT_EQ(client.GetItemPath("nosuchitem"), std::nullopt);
  EXPECT_EQ(client.GetItemChildList("brightness"), std::nullopt);
  EXPECT_EQ(client.GetItemVisible("nosuchitem"), std::nullopt);
  EXPECT_EQ(client.GetItemDataEnable("picturemode", "sepia"), std::nullopt);
  EXPECT_EQ(client.GetDisablerAppNamesByMenuId("nosuchitem"), std::nullopt);
  EXPECT_FALSE(client.GetItemMinMaxStepValue("picturemode").has_value());
}

TEST_F(ClientTest, StatesAreToldApart) {
  StartService();
  Client client = Connect();
  EXPECT_EQ(client.GetItemVisible("brightness"), true);
  EXPECT_EQ(client.GetItemPathVisible("brightness"), false);
  EXPECT_EQ(client.GetItemEnable("picturemode"), false);
  EXPECT_EQ(client.GetItemPathEnable("brightness"), true);
  EXPECT_EQ(client.GetItemDataVisible("picturemode", "movie"), true);
  EXPECT_EQ(client.GetItemDataEnable("picturemode", "movie"), false);
}

TEST_F(ClientTest, AnAsynchronousAnswerCarriesWhatTheAskerGave) {
  StartService();
  Client client = Connect();
  std::vector<Signal> signals;
  const auto subscription = client.Subscribe([&](const Signal& s) { signals.push_back(s); });
  client.GetItemVisibleAsync("expert", 41, 7);
  client.GetItemPathEnableAsync("brightness", 51, 8);
  ASSERT_TRUE(client.RunUntil([&] { return signals.size() == 4; }, support::kPatience));
  EXPECT_EQ(signals[1].type, 1);
  EXPECT_EQ(signals[1].body, R"({"callback":7,"menuID":"expert","pid":41,"return_data":false})");
  EXPECT_EQ(signals[3].type, 2);
  EXPECT_EQ(signals[3].body, R"({"callback":8,"menuID":"brightness","pid":51,"return_data":true})");
}

TEST_F(ClientTest, TheRecordOfDisabledItemsIsChangedAndRead) {
  StartService();
  Client client = Connect();
  client.DisableItemsByList({"brightness", "expert"}, "org.example.a");
  client.DisableItem("brightness", "org.example.b");
  EXPECT_EQ(client.GetDisabledItemsList(), (Names{"brightness", "expert"}));
  EXPECT_EQ(client.GetDisablerAppNamesByMenuId("brightness"),
            (Names{"org.example.a", "org.example.b"}));
  client.EnableItem("brightness", "org.example.b");
  EXPECT_EQ(client.IsItemEnabled("brightness"), false);
  client.RemoveDisabledItemsByAppname("org.example.a");
  EXPECT_EQ(client.IsItemEnabled("brightness"), true);
  EXPECT_EQ(client.GetDisabledItemsList(), Names{});
}

TEST_F(ClientTest, ABusNameHasOneClientUntilThatEnds) {
  Client second = Connect();
  {
    Client first = Connect();
    EXPECT_TRUE(first.RequestName("org.example.app"));
    EXPECT_TRUE(first.RequestName("org.example.app"));
    EXPECT_FALSE(second.RequestName("org.example.app"));
  }
  EXPECT_TRUE(support::WaitUntil([&] { return second.RequestName("org.example.app"); }));
  for (const std::string name :
       {"nodots", "", ":1.5", "a..b", "org.freedesktop.X", "org.nuvra.service.menu"}) {
    EXPECT_THROW(second.RequestName(name), std::invalid_argument) << name;
  }
}

TEST_F(ClientTest, TheServiceIsWaitedForUntilItIsThere) {
  Client client = Connect();
  EXPECT_FALSE(client.WaitForService(1ms));
  std::thread starter([this] { StartService(); });
  EXPECT_TRUE(client.WaitForService(support::kPatience));
  starter.join();
  EXPECT_TRUE(client.WaitForService(0ms));
  EndService();
  EXPECT_TRUE(support::WaitUntil([&] { return !client.WaitForService(0ms); }));
}

TEST_F(ClientTest, ABusThatEndsEndsTheWaitForTheService) {
  Client client = Connect();
  m_Bus.End();
  EXPECT_EQ(ErrorOf([&] { client.WaitForService(); }).Code(), ErrorCode::kBus);
}

TEST_F(ClientTest, ARequestTravelsAsItIs) {
  StartService();
  Client client = Connect();
  const std::string body = "{ \"method\" : \"Echo\",\n\"x\":\"\u0416\" }";
  EXPECT_EQ(client.Request(body).body, body);
}

TEST_F(ClientTest, ACallPutsDataAndOtherMembersIntoTheRequest) {
  StartService();
  Client client = Connect();
  EXPECT_EQ(client.Call("Echo", Data("menuID", "x"), Data("pid", 5)).text,
            R"({"data":{"menuID":"x"},"method":"Echo","pid":5})");
  EXPECT_EQ(client.Call("Echo").text, R"({"data":{},"method":"Echo"})");
}

TEST_F(ClientTest, AReplyThatDoesNotSayWhetherItSucceededDidNot) {
  StartService();
  Client client = Connect();
  const settings::Reply reply = client.Call("NoSuchMethod");
  EXPECT_EQ(reply.text, R"({"return_data":""})");
  EXPECT_FALSE(reply.Succeeded());
  EXPECT_TRUE(client.Call("GetItemValue", Data("menuID", "picturemode")).Succeeded());
}

TEST_F(ClientTest, ArgumentsThatAreNoObjectAreAMistakeOfTheProgram) {
  StartService();
  Client client = Connect();
  EXPECT_THROW(client.Call("Echo", Json::Value(1)), std::invalid_argument);
  EXPECT_THROW(client.Call("Echo", Data("a", 1), Json::Value("x")), std::invalid_argument);
}

TEST_F(ClientTest, ARequestThatNoBusCarriesIsRefusedAndTheConnectionStays) {
  StartService();
  Client client = Connect();
  for (const std::string& body : {"\xff"s, "a\0b"s}) {
    EXPECT_EQ(ErrorOf([&] { client.Request(body); }).Code(), ErrorCode::kInvalidMessage);
  }
  EXPECT_EQ(ErrorOf([&] { client.GetItemValue("\xc3("); }).Code(), ErrorCode::kInvalidMessage);
  EXPECT_EQ(client.GetItemValue("brightness"), "25");
}

TEST_F(ClientTest, EveryBusErrorHasItsCode) {
  StartService();
  Client client = Connect();
  const std::pair<const char*, ErrorCode> errors[] = {
      {"org.nuvra.Error.InvalidMessage", ErrorCode::kInvalidMessage},
      {"org.nuvra.Error.Failed", ErrorCode::kFailed},
      {"org.freedesktop.DBus.Error.ServiceUnknown", ErrorCode::kNotRunning},
      {"org.freedesktop.DBus.Error.NameHasNoOwner", ErrorCode::kNotRunning},
      {"org.freedesktop.DBus.Error.Spawn.ExecFailed", ErrorCode::kNotRunning},
      {"org.freedesktop.DBus.Error.Timeout", ErrorCode::kTimedOut},
      {"org.freedesktop.DBus.Error.TimedOut", ErrorCode::kTimedOut},
      {"org.freedesktop.DBus.Error.AccessDenied", ErrorCode::kNotAllowed},
      {"org.freedesktop.DBus.Error.UnknownMethod", ErrorCode::kProtocol},
      {"org.freedesktop.DBus.Error.LimitsExceeded", ErrorCode::kFailed},
      {"com.example.Unheard", ErrorCode::kFailed},
  };
  for (const auto& [name, code] : errors) {
    const settings::Error error =
        ErrorOf([&, wanted = name] { client.Call("Error", Data("name", wanted)); });
    EXPECT_EQ(error.Code(), code) << name;
    EXPECT_THAT(error.what(), testing::StartsWith(error.Problem() + "; ")) << name;
  }
  EXPECT_THAT(ErrorOf([&] { client.Call("Error", Data("name", "com.example.Unheard")); }).what(),
              HasSubstr("com.example.Unheard (as you wish)"));
}

TEST_F(ClientTest, AReplyThatIsNotTheServicesIsReported) {
  StartService();
  Client client = Connect();
  const std::string deep(100000, '[');
  for (const std::string& reply : {"oops"s, "[]"s, "{} {}"s, deep}) {
    EXPECT_EQ(ErrorOf([&] { client.Call("Garbage", Data("reply", reply)); }).Code(),
              ErrorCode::kProtocol)
        << reply.substr(0, 10);
  }
  EXPECT_EQ(ErrorOf([&] { client.Call("OtherForm"); }).Code(), ErrorCode::kProtocol);
}

TEST_F(ClientTest, AnotherProgramUnderTheServicesNameIsReported) {
  Background foreign({FAKE_SERVICE, m_Bus.Address(), "/some/where/else"});
  ASSERT_TRUE(foreign.WaitForOut("ready\n"));
  Client client = Connect();
  EXPECT_EQ(ErrorOf([&] { client.GetItemValue("picturemode"); }).Code(), ErrorCode::kProtocol);
}

TEST_F(ClientTest, WithoutTheServiceItIsSaidToBeNotRunning) {
  Client client = Connect();
  const settings::Error error = ErrorOf([&] { client.GetItemValue("picturemode"); });
  EXPECT_EQ(error.Code(), ErrorCode::kNotRunning);
  EXPECT_STREQ(error.what(),
               "the settings service is not running on this bus; start it, or connect to the bus "
               "that it is on");
}

TEST_F(ClientTest, AServiceThatEndsInsteadOfAnsweringIsNotRunning) {
  StartService();
  Client client = Connect();
  const settings::Error error = ErrorOf([&] { client.Call("Vanish"); });
  EXPECT_EQ(error.Code(), ErrorCode::kNotRunning);
  EXPECT_THAT(error.what(), HasSubstr("ended before it answered"));
}

TEST_F(ClientTest, TheSameClientSpeaksToTheNextInstanceOfTheService) {
  StartService();
  Client client = Connect();
  EXPECT_EQ(client.GetItemValue("brightness"), "25");
  EXPECT_THROW(client.Call("Vanish"), settings::Error);
  StartService();
  EXPECT_EQ(client.GetItemValue("brightness"), "25");
}

TEST_F(ClientTest, AnAnswerThatDoesNotComeInTimeIsNotWaitedFor) {
  StartService();
  Client client = Connect(300ms);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ErrorOf([&] { client.Call("Hang"); }).Code(), ErrorCode::kTimedOut);
  EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);
}

TEST_F(ClientTest, ABusThatIsNotThereIsNamedInTheError) {
  const settings::Error error = ErrorOf([] { Client client("unix:path=/nobody/here"); });
  EXPECT_EQ(error.Code(), ErrorCode::kBus);
  EXPECT_THAT(error.what(), HasSubstr("unix:path=/nobody/here"));
}

TEST_F(ClientTest, AWordThatIsNoBusIsRefused) {
  EXPECT_EQ(ErrorOf([] { Client client("elsewhere"); }).Code(), ErrorCode::kBus);
  EXPECT_EQ(ErrorOf([] { Client client("nonsense:elsewhere"); }).Code(), ErrorCode::kBus);
}

TEST_F(ClientTest, ABusThatSaysNothingIsNotWaitedForForEver) {
  support::TempDirectory directory;
  const std::string path = directory / "mute";
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(ErrorOf([&] { Client client("unix:path=" + path, 100ms); }).Code(),
            ErrorCode::kTimedOut);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 20s) << "the bus library would wait 25 s";
  close(listener);
}

TEST_F(ClientTest, AfterTheEndOfTheBusEveryCallSaysThatTheConnectionIsLost) {
  StartService();
  Client client = Connect();
  const settings::Subscription subscription = client.Subscribe([](const Signal&) {});
  m_Bus.End();
  EXPECT_EQ(ErrorOf([&] { client.GetItemValue("picturemode"); }).Code(), ErrorCode::kBus);
  EXPECT_EQ(ErrorOf([&] { client.RunUntil([] { return false; }); }).Code(), ErrorCode::kBus);
  EXPECT_EQ(ErrorOf([&] { client.GetItemValue("picturemode"); }).Code(), ErrorCode::kBus);
  EXPECT_EQ(ErrorOf([&] { (void)client.Subscribe([](const Signal&) {}); }).Code(), ErrorCode::kBus);
  EXPECT_EQ(ErrorOf([&] { client.Process(); }).Code(), ErrorCode::kBus);
}

TEST_F(ClientTest, TheEndOfTheBusEndsAWait) {
  Client client = Connect();
  const settings::Error error = ErrorOf([&] {
    bool ended = false;
    client.RunUntil([&] {
      if (!ended) {
        m_Bus.End();
        ended = true;
      }
      return false;
    });
  });
  EXPECT_EQ(error.Code(), ErrorCode::kBus);
}

// What a subscription saw.
class Collector {
 public:
  settings::SignalCallback Callback() {
    return [this](const Signal& signal) { m_Signals.push_back(signal); };
  }

  const std::vector<Signal>& Seen() const { return m_Signals; }

  std::vector<std::string> Bodies() const {
    std::vector<std::string> bodies;
    for (const Signal& signal : m_Signals) {
      bodies.push_back(signal.body);
    }
    return bodies;
  }

  // For RunUntil.
  std::function<bool()> Has(std::size_t count) const {
    return [this, count] { return m_Signals.size() >= count; };
  }

 private:
  std::vector<Signal> m_Signals;
};

class SignalsTest : public ClientTest {
 protected:
  Collector m_Seen;
};

TEST_F(SignalsTest, ASubscriptionSeesEverySignalInOrderWithAllThatItCarries) {
  StartService();
  Client client = Connect();
  const settings::Subscription subscription = client.Subscribe(m_Seen.Callback());
  client.Call("Emit", Data("count", 3));
  ASSERT_TRUE(client.RunUntil(m_Seen.Has(3), support::kPatience));
  EXPECT_THAT(m_Seen.Bodies(),
              ElementsAre(R"({"number":0})", R"({"number":1})", R"({"number":2})"));
  EXPECT_EQ(m_Seen.Seen()[0].name, "settings_service_signal");
  EXPECT_EQ(m_Seen.Seen()[0].type, 3);
  EXPECT_THAT(m_Seen.Seen()[0].sender, testing::StartsWith(":1."));
}

TEST_F(SignalsTest, SignalsThatComeDuringARequestAreDeliveredByProcessOnly) {
  StartService();
  Client client = Connect();
  const settings::Subscription subscription = client.Subscribe(m_Seen.Callback());
  client.Call("Emit", Data("count", 2));
  EXPECT_THAT(m_Seen.Bodies(), ElementsAre());
  EXPECT_EQ(client.Timeout(), 0us) << "there is something to process already";
  ASSERT_TRUE(client.RunUntil(m_Seen.Has(2), support::kPatience));
}

TEST_F(SignalsTest, ASignalThatSomebodyAddressesToTheClientIsNotTheServices) {
  StartService();
  Client client = Connect();
  const settings::Subscription subscription = client.Subscribe(m_Seen.Callback());
  client.Call("Whisper");
  client.Call("Emit", Data("count", 1));
  ASSERT_TRUE(client.RunUntil(m_Seen.Has(1), support::kPatience));
  EXPECT_THAT(m_Seen.Bodies(), ElementsAre(R"({"number":0})"));
}

TEST_F(SignalsTest, ASubscriptionBeginsBeforeTheServiceAndLastsAcrossItsRestarts) {
  Client client = Connect();
  const settings::Subscription subscription = client.Subscribe(m_Seen.Callback());
  for (std::size_t instance = 1; instance <= 3; ++instance) {
    StartService();
    client.Call("Emit", Data("count", 1));
    ASSERT_TRUE(client.RunUntil(m_Seen.Has(instance), support::kPatience));
    EXPECT_THROW(client.Call("Vanish"), settings::Error);
  }
  EXPECT_NE(m_Seen.Seen()[0].sender, m_Seen.Seen()[1].sender);
}

TEST_F(SignalsTest, AllSubscriptionsOfAClientSeeASignal) {
  StartService();
  Client client = Connect();
  Collector other;
  const settings::Subscription subscription = client.Subscribe(m_Seen.Callback());
  const settings::Subscription second = client.Subscribe(other.Callback());
  client.Call("Emit", Data("count", 1));
  ASSERT_TRUE(client.RunUntil(m_Seen.Has(1), support::kPatience));
  EXPECT_EQ(other.Seen().size(), 1u);
}

TEST_F(SignalsTest, AnEndedSubscriptionSeesNothingMore) {
  StartService();
  Client client = Connect();
  Collector ended;
  settings::Subscription first = client.Subscribe(ended.Callback());
  const settings::Subscription second = client.Subscribe(m_Seen.Callback());
  settings::Subscription moved = std::move(first);
  client.Call("Emit", Data("count", 1));
  ASSERT_TRUE(client.RunUntil(m_Seen.Has(1), support::kPatience));
  moved = settings::Subscription();
  client.Call("Emit", Data("count", 1));
  ASSERT_TRUE(client.RunUntil(m_Seen.Has(2), support::kPatience));
  EXPECT_EQ(ended.Seen().size(), 1u);
}

TEST_F(SignalsTest, ACallbackMayEndItsOwnSubscription) {
  StartService();
  Client client = Connect();
  int calls = 0;
  settings::Subscription once = client.Subscribe([&](const Signal&) {
    ++calls;
    once = settings::Subscription();
    ++calls;  // what the callback holds must still be there
  });
  const settings::Subscription subscription = client.Subscribe(m_Seen.Callback());
  client.Call("Emit", Data("count", 3));
  ASSERT_TRUE(client.RunUntil(m_Seen.Has(3), support::kPatience));
  EXPECT_EQ(calls, 2);
}

TEST_F(SignalsTest, ACallbackMaySendRequestsAndSubscribe) {
  StartService();
  Client client = Connect();
  std::optional<std::string> value;
  settings::Subscription another;
  const settings::Subscription subscription = client.Subscribe([&](const Signal&) {
    if (!value) {
      value = client.GetItemValue("picturemode");
      another = client.Subscribe(m_Seen.Callback());
    }
  });
  client.Call("Emit", Data("count", 1));
  ASSERT_TRUE(client.RunUntil([&] { return value.has_value(); }, support::kPatience));
  EXPECT_EQ(value, "standard");
  client.Call("Emit", Data("count", 1));
  EXPECT_TRUE(client.RunUntil(m_Seen.Has(1), support::kPatience));
}

TEST_F(SignalsTest, WhatACallbackThrowsComesOutOfTheProcessingAndTheRestIsStillDelivered) {
  StartService();
  Client client = Connect();
  int calls = 0;
  const settings::Subscription subscription = client.Subscribe([&](const Signal&) {
    if (++calls == 1) {
      throw std::out_of_range("mine");
    }
  });
  client.Call("Emit", Data("count", 2));
  EXPECT_THROW(client.RunUntil([&] { return calls == 2; }, support::kPatience), std::out_of_range);
  EXPECT_TRUE(client.RunUntil([&] { return calls == 2; }, support::kPatience));
}

TEST_F(SignalsTest, ProcessingInsideACallbackIsAMistakeOfTheProgram) {
  StartService();
  Client client = Connect();
  const settings::Subscription subscription =
      client.Subscribe([&](const Signal&) { client.Process(); });
  client.Call("Emit", Data("count", 1));
  EXPECT_THROW(client.RunUntil([] { return false; }, support::kPatience), std::logic_error);
}

TEST_F(SignalsTest, ASubscriptionMayOutliveItsClient) {
  StartService();
  settings::Subscription subscription;
  {
    Client client = Connect();
    subscription = client.Subscribe(m_Seen.Callback());
  }
  subscription = settings::Subscription();
  EXPECT_THAT(m_Seen.Bodies(), ElementsAre());
}

TEST_F(SignalsTest, WithoutASignalTheWaitEndsAtItsLimit) {
  Client client = Connect();
  const settings::Subscription subscription = client.Subscribe(m_Seen.Callback());
  EXPECT_FALSE(client.RunUntil(m_Seen.Has(1), 50ms));
  EXPECT_TRUE(client.RunUntil([] { return true; }, 0ms));
}

TEST_F(SignalsTest, AnEventLoopOfAnyKindCanDriveAClient) {
  StartService();
  Client client = Connect();
  const settings::Subscription subscription = client.Subscribe(m_Seen.Callback());
  Client other = Connect();
  other.Call("Emit", Data("count", 2));
  while (m_Seen.Seen().size() < 2) {
    while (client.Process()) {
    }
    if (m_Seen.Seen().size() == 2) {
      break;
    }
    pollfd fd{client.Fd(), client.Events(), 0};
    const auto timeout = client.Timeout();
    const int wait = timeout ? std::chrono::ceil<std::chrono::milliseconds>(*timeout).count()
                             : std::chrono::milliseconds(support::kPatience).count();
    ASSERT_GT(poll(&fd, 1, wait), 0);
  }
  EXPECT_FALSE(client.Process());
  EXPECT_EQ(client.Timeout(), std::nullopt) << "nothing is left to do";
}

// A bus that knows how to start the service.
class Activation : public ClientTest {
 protected:
  Activation() : ClientTest("<servicedir>" + ServiceDirectory() + "</servicedir>") {}

  static std::string ServiceDirectory() {
    static const support::TempDirectory directory;
    std::ofstream(directory / "settings.service")
        << "[D-BUS Service]\nName=org.nuvra.service.settings_service\nExec=" FAKE_SERVICE "\n";
    return directory.Path();
  }
};

TEST_F(Activation, ARequestStartsTheService) {
  Client client = Connect();
  EXPECT_EQ(client.GetItemValue("picturemode"), "standard");
}

TEST_F(Activation, ASubscriptionSeesTheSignalsOfTheServiceThatTheBusStarts) {
  Client client = Connect();
  Collector seen;
  const settings::Subscription subscription = client.Subscribe(seen.Callback());
  client.Call("Emit", Data("count", 1));
  EXPECT_TRUE(client.RunUntil(seen.Has(1), support::kPatience));
}

class FailingActivation : public ClientTest {
 protected:
  FailingActivation() : ClientTest("<servicedir>" + ServiceDirectory() + "</servicedir>") {}

  static std::string ServiceDirectory() {
    static const support::TempDirectory directory;
    std::ofstream(directory / "settings.service")
        << "[D-BUS Service]\nName=org.nuvra.service.settings_service\nExec=/bin/false\n";
    return directory.Path();
  }
};

TEST_F(FailingActivation, AServiceThatTheBusCannotStartIsNotRunning) {
  Client client = Connect();
  const settings::Error error = ErrorOf([&] { client.GetItemValue("picturemode"); });
  EXPECT_EQ(error.Code(), ErrorCode::kNotRunning);
  EXPECT_THAT(error.what(), HasSubstr("could not start"));
}

}  // namespace
