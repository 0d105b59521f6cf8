#include <gmock/gmock.h>

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <list>
#include <string>
#include <vector>

#include "framework_test.h"

namespace {

using testing::ElementsAre;

constexpr char kAdded[] = "org.nuvra.Test1";

class AddedInterface : public FrameworkTest {
 protected:
  // Sends a call of the added interface; its answer, or the name and the text of an error, comes in
  // m_Notes.
  void PostNote(Client& client, const std::string& text) {
    bus::Check(sd_bus_call_method_async(client.Get(), nullptr, kBusName, kObject, kAdded, "Note",
                                        OnAnswer, &m_Notes, "s", text.c_str()),
               "call");
  }

  static int OnAnswer(sd_bus_message* message, void* notes, sd_bus_error*) {
    std::string answer;
    if (const sd_bus_error* error = sd_bus_message_get_error(message)) {
      answer = std::string(error->name) + ": " + error->message;
    } else {
      const char* text = nullptr;
      bus::Check(sd_bus_message_read(message, "s", &text), "text");
      answer = text;
    }
    static_cast<std::vector<std::string>*>(notes)->push_back(answer);
    return 0;
  }

  std::vector<std::string> m_Notes;
};

TEST_F(AddedInterface, IsThereWhenTheNameIs) {
  Start({{"GATE", Path("gate").string()}});
  Client client(Address());
  ASSERT_TRUE(client.Until([&] { return client.HasOwner(); }));
  PostNote(client, "early");
  // By then the bus has passed it on.
  ASSERT_TRUE(client.HasOwner());
  std::ofstream(Path("gate"));
  ASSERT_TRUE(client.Until([&] { return !m_Notes.empty(); }));
  EXPECT_THAT(m_Notes, ElementsAre("early"));
}

TEST_F(AddedInterface, HasCallsThatStayBehindTheRequestsOfTheirClient) {
  StartAndWait();
  Client client(Address());
  for (int i = 0; i < 50; ++i) {
    client.Post(R"({"do":"sleep","ms":1})");
  }
  PostNote(client, "mine");
  client.Post(R"({"do":"last"})");
  ASSERT_TRUE(client.Until([&] {
    EXPECT_TRUE(m_Notes.empty() || client.Answers().size() >= 50);
    return client.Answers().size() == 51;
  }));
  EXPECT_THAT(m_Notes, ElementsAre("mine"));
  std::vector<std::string> trace = Trace();
  trace.erase(trace.begin(), std::find(trace.begin(), trace.end(), "request sleep"));
  std::vector<std::string> expected(50, "request sleep");
  expected.insert(expected.end(), {"note mine", "request last"});
  EXPECT_EQ(trace, expected);
}

// Each in another step, until there is enough for all steps.
TEST_F(AddedInterface, HasCallsThatAreRefusedOrServedWhenMemoryRunsOut) {
  constexpr int kSteps = 12;
  StartAndWait();
  Client busy(Address());
  for (int i = 0; i < 100; ++i) {
    busy.Post(R"({"do":"sleep","ms":5})", false);
  }
  std::list<Client> clients;
  std::vector<std::string> expected;
  for (int step = 0; step < kSteps; ++step) {
    PostNote(clients.emplace_back(Address()), "fail " + std::to_string(step));
  }
  for (Client& client : clients) {
    const std::size_t before = m_Notes.size();
    ASSERT_TRUE(client.Until([&] { return m_Notes.size() > before; }));
    const bool isServed = m_Notes.back().starts_with("fail ");
    if (isServed) {
      expected.push_back("note " + m_Notes.back());
    } else {
      EXPECT_EQ(m_Notes.back(), "org.nuvra.Error.Failed: std::bad_alloc");
    }
    PostNote(client, "again");
    ASSERT_TRUE(client.Until([&] { return m_Notes.size() > before + 1; }));
    EXPECT_EQ(m_Notes.back(), "again");
  }
  EXPECT_LT(expected.size(), kSteps);
  EXPECT_THAT(expected, testing::Contains("note fail " + std::to_string(kSteps - 1)));
  std::vector<std::string> trace = Trace();
  std::erase_if(trace, [](const auto& line) { return !line.starts_with("note fail "); });
  EXPECT_EQ(trace, expected);
}

TEST_F(AddedInterface, HasCallsThatTakeTurnsWithTheRequestsOfOthers) {
  StartAndWait();
  Client busy(Address());
  constexpr int kLong = 1000;
  for (int i = 0; i < kLong; ++i) {
    busy.Post(R"({"do":"sleep","ms":5})", false);
  }
  ASSERT_TRUE(busy.HasOwner());
  Client client(Address());
  PostNote(client, "other");
  ASSERT_TRUE(client.Until([&] { return !m_Notes.empty(); }));
  const std::vector<std::string> trace = Trace();
  EXPECT_LT(std::count(trace.begin(), trace.end(), "request sleep"), kLong / 2);
}

TEST_F(AddedInterface, AnswersWithTheExceptionThatLeftACall) {
  StartAndWait();
  Client client(Address());
  PostNote(client, "throw");
  PostNote(client, "on");
  ASSERT_TRUE(client.Until([&] { return m_Notes.size() == 2; }));
  EXPECT_THAT(m_Notes, ElementsAre("org.nuvra.Error.Failed: no such note", "on"));
}

}  // namespace
