#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>

#include "settings/client.h"
#include "system_test.h"

namespace {

using std::chrono::steady_clock;
using testing::HasSubstr;

// Bodies that the daemon must refuse, and the request after each that it must serve.
struct Bad {
  const char* name;
  std::string body;
  settings::ErrorCode error;
};

std::ostream& operator<<(std::ostream& stream, const Bad& bad) { return stream << bad.name; }

std::string Nested(int levels) {
  return "{\"method\":" + std::string(levels, '[') + std::string(levels, ']') + "}";
}

const Bad kBad[] = {
    {"NotJson", "not json", settings::ErrorCode::kInvalidMessage},
    {"Empty", "", settings::ErrorCode::kInvalidMessage},
    {"AnArray", R"([{"method":"GetItemValue"}])", settings::ErrorCode::kInvalidMessage},
    {"AText", R"("GetItemValue")", settings::ErrorCode::kInvalidMessage},
    {"OneMebibyte", R"({"method":")" + std::string(1 << 20, 'x') + "\"}",
     settings::ErrorCode::kInvalidMessage},
    {"AThousandLevels", Nested(1000), settings::ErrorCode::kInvalidMessage},
    {"AComment", R"({"method":"x"/* */})", settings::ErrorCode::kInvalidMessage},
    {"TextBehindTheObject", R"({"method":"x"} y)", settings::ErrorCode::kInvalidMessage},
    {"ADuplicateMember", R"({"method":"x","method":"y"})", settings::ErrorCode::kInvalidMessage},
    {"AZeroInAValue",
     R"({"method":"SetItemValue","data":{"menuID":"brightness","Value":"30\u0000junk"}})",
     settings::ErrorCode::kInvalidMessage},
    {"ANoncharacter", R"({"method":"GetItemValue","data":{"menuID":"\uFFFF"}})",
     settings::ErrorCode::kInvalidMessage},
    {"AnObjectAsMethod", R"({"method":{}})", settings::ErrorCode::kFailed},
    {"AnArrayAsMethod", R"({"method":[]})", settings::ErrorCode::kFailed},
};

// The way of a body to the daemon and of an answer back: the bus library answers a ping itself and
// does not look at what comes with it.
class Way {
 public:
  explicit Way(const support::PrivateBus& bus) : m_Bus(bus.Connect()) {}

  void Take(const std::string& body) {
    EXPECT_GE(sd_bus_call_method(m_Bus.get(), "org.nuvra.service.settings_service",
                                 "/org/nuvra/service/settings_service", "org.freedesktop.DBus.Peer",
                                 "Ping", nullptr, nullptr, "is", 0, body.c_str()),
              0);
  }

 private:
  const bus::Connection m_Bus;
};

class HostileClient : public SharedSetTest, public testing::WithParamInterface<Bad> {};

TEST_P(HostileClient, IsToldWhatWasWrongAtOnceAndTheNextRequestIsServed) {
  settings::Client client(m_Set.Bus().Address());
  Way way(m_Set.Bus());
  steady_clock::duration quickest = steady_clock::duration::max();
  steady_clock::duration quickestWay = steady_clock::duration::max();
  for (int round = 0; round < 20; ++round) {
    auto start = steady_clock::now();
    way.Take(GetParam().body);
    quickestWay = std::min(quickestWay, steady_clock::now() - start);
    start = steady_clock::now();
    try {
      client.Request(GetParam().body);
      FAIL() << "the body was served";
    } catch (const settings::Error& error) {
      EXPECT_EQ(error.Code(), GetParam().error) << error.what();
    }
    quickest = std::min(quickest, steady_clock::now() - start);
    EXPECT_EQ(client.GetItemValue("picturemode"), "standard");
  }
  RecordProperty("way_us", std::to_string(quickestWay / std::chrono::microseconds(1)));
  RecordProperty("in_all_us", std::to_string(quickest / std::chrono::microseconds(1)));
  // To see what is wrong takes at most as long as the way, and a millisecond.
  EXPECT_LT(quickest, 2 * quickestWay + std::chrono::milliseconds(SETTINGS_SLOWDOWN));
}

INSTANTIATE_TEST_SUITE_P(Bodies, HostileClient, testing::ValuesIn(kBad),
                         [](const auto& info) { return std::string(info.param.name); });

class OtherClients : public SharedSetTest {};

TEST_F(OtherClients, AClientThatIsNotOursIsServed) {
  const support::Outcome outcome = m_Set.Run(
      {"busctl", "--address=" + m_Set.Bus().Address(), "call", "org.nuvra.service.settings_service",
       "/org/nuvra/service/settings_service", "org.nuvra.Service1", "Request", "is", "0",
       R"({"method":"GetItemValueName","data":{"menuID":"picturemode"}})"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, R"(is 0 "{\"call_api_success\":true,\"connect_server\":true,)"
                         R"(\"return_data\":\"Standard\"}")"
                         "\n");
}

TEST_F(OtherClients, IntrospectionShowsTheInterface) {
  const support::Outcome outcome =
      m_Set.Run({"busctl", "--address=" + m_Set.Bus().Address(), "introspect",
                 "org.nuvra.service.settings_service", "/org/nuvra/service/settings_service",
                 "org.nuvra.Service1"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.out, testing::ContainsRegex("\\.Request +method +is +is"));
  EXPECT_THAT(outcome.out, testing::ContainsRegex("\\.Signal +signal +sis"));
}

TEST_F(OtherClients, EightClientsAreServedAtOnce) {
  std::vector<std::unique_ptr<support::Process>> clients;
  for (int index = 0; index < 8; ++index) {
    clients.push_back(std::make_unique<support::Process>(
        std::vector<std::string>{
            "sh", "-c", "for i in 1 2 3 4 5 6 7 8 9 10; do settingsctl get picturemode; done"},
        m_Set.Variables(),
        support::Files{"/dev/null", m_Set.Root() / ("out" + std::to_string(index)),
                       m_Set.Root() / ("err" + std::to_string(index))}));
  }
  for (int index = 0; index < 8; ++index) {
    EXPECT_EQ(clients[index]->Wait(), 0);
    std::string expected;
    for (int round = 0; round < 10; ++round) {
      expected += "standard (Standard)\n";
    }
    EXPECT_EQ(support::ReadFile(m_Set.Root() / ("out" + std::to_string(index))), expected)
        << support::ReadFile(m_Set.Root() / ("err" + std::to_string(index)));
  }
}

TEST_F(OtherClients, ALineBreakInAnIdentifierForgesNoLogLine) {
  Request(R"({"method":"SetItemValue","data":{"menuID":"x\nforged line"}})");
  EXPECT_TRUE(m_Set.WaitForLog("MenuID = x\\nforged line"));
}

}  // namespace
