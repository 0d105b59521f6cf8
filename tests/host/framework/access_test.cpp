#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "framework/access_rules.h"
#include "framework_test.h"
#include "support/temp_directory.h"
#include "support/wait.h"

namespace {

using host::Want;
using support::WaitUntil;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kDenied[] = "org.freedesktop.DBus.Error.AccessDenied";

class AnAccessFile : public testing::Test {
 protected:
  host::AccessFile Read(const std::string& text) {
    std::ofstream(m_File, std::ios::binary) << text;
    return host::ReadAccessFile(m_File);
  }

  // What is wrong with such a file, without its name.
  std::vector<std::string> MistakesIn(const std::string& text) {
    const host::AccessFile read = Read(text);
    EXPECT_EQ(read.rules.has_value(), read.mistakes.empty());
    std::vector<std::string> mistakes;
    for (const std::string& mistake : read.mistakes) {
      EXPECT_THAT(mistake, testing::StartsWith(m_File.string() + ':'));
      mistakes.push_back(mistake.substr(m_File.string().size() + 1));
    }
    return mistakes;
  }

  support::TempDirectory m_Directory;
  const std::filesystem::path m_File = m_Directory / "access.json";
};

TEST(RestrictedMethods, AreThoseThatChangeSomething) {
  EXPECT_EQ(host::RestrictedMethod("SetItemValue"), Want::kSetting);
  for (const char* method :
       {"DisableItem", "EnableItem", "DisableItemsByList", "RemoveDisabledItemsByAppname"}) {
    EXPECT_EQ(host::RestrictedMethod(method), Want::kDisabling) << method;
  }
  for (const char* method : {"GetItemValue", "GetItemVisibleAsync", "IsItemEnabled", "", "?"}) {
    EXPECT_EQ(host::RestrictedMethod(method), std::nullopt) << method;
  }
}

TEST_F(AnAccessFile, NamesUsersAndGroupsByNameOrNumber) {
  const host::AccessFile read = Read(R"({
    "SetItemValue": {"users": ["root", 1001, 1001], "groups": ["root", 4294967294]},
    "DisableItem": {"users": []},
    "EnableItem": {}
  })");
  EXPECT_THAT(read.mistakes, IsEmpty());
  ASSERT_TRUE(read.rules);
  EXPECT_THAT(*read.rules, SizeIs(3));
  EXPECT_THAT(read.rules->at("SetItemValue").users, ElementsAre(0, 1001));
  EXPECT_THAT(read.rules->at("SetItemValue").groups, ElementsAre(0, 4294967294));
  EXPECT_THAT(read.rules->at("DisableItem").users, IsEmpty());
  EXPECT_THAT(read.rules->at("EnableItem").groups, IsEmpty());
}

TEST_F(AnAccessFile, ThatIsMissingNamesNobody) {
  for (const auto& file : {m_File, m_Directory / "nowhere" / "access.json"}) {
    const host::AccessFile read = host::ReadAccessFile(file);
    EXPECT_THAT(read.mistakes, IsEmpty());
    ASSERT_TRUE(read.rules);
    EXPECT_THAT(*read.rules, IsEmpty());
  }
}

TEST_F(AnAccessFile, WithAMistakeIsNotUsedAndItsLineIsNamed) {
  const std::pair<std::string, std::string> wrong[] = {
      {"", "1: not JSON: expected a JSON object or array"},
      {"[]", "1: the file must be one object"},
      {"{\n\n\"SetItemValue\": {}", "3: not JSON: expected a comma or the end of the object"},
      {"{\"SetItemValue\": {},\n \"SetItemValue\": {}}", "2: not JSON: duplicate member name"},
      {"{\n\"GetItemValue\": {}}",
       "2: \"GetItemValue\" is no method that changes something: use SetItemValue, DisableItem, "
       "EnableItem, RemoveDisabledItemsByAppname, DisableItemsByList"},
      {"{\n\"EnableItem\":\n[]}",
       "3: who may do it must be an object with \"users\" and \"groups\""},
      {"{\"EnableItem\": {\n\"user\": [\"root\"]}}",
       "2: unknown member \"user\": use \"users\" and \"groups\""},
      {"{\"EnableItem\": {\"users\": \"root\"}}", "1: \"users\" must be a list"},
      {"{\"EnableItem\": {\"groups\": {}}}", "1: \"groups\" must be a list"},
      {"{\"EnableItem\": {\"users\": [\"root\",\n\"no such\\nuser\"]}}",
       "2: this machine has no user \"no such user\""},
      {"{\"EnableItem\": {\"groups\": [\"\"]}}", "1: this machine has no group \"\""},
      {"{\"EnableItem\": {\"users\": [-1]}}", "1: a user must be a name or a number"},
      {"{\"EnableItem\": {\"users\": [1.0]}}", "1: a user must be a name or a number"},
      {"{\"EnableItem\": {\"users\": [true]}}", "1: a user must be a name or a number"},
      {"{\"EnableItem\": {\"groups\": [4294967295]}}", "1: a group must be a name or a number"},
  };
  for (const auto& [text, mistake] : wrong) {
    EXPECT_THAT(MistakesIn(text), ElementsAre(mistake)) << text;
  }
}

TEST_F(AnAccessFile, HasItsMistakesNamedInTheirOrder) {
  EXPECT_THAT(MistakesIn("{\"SetItemValue\": {\"users\": [1.5],\n\"groups\": 0},\n\"A\": 1}"),
              ElementsAre(testing::StartsWith("1: a user"), testing::StartsWith("2: \"groups\""),
                          testing::StartsWith("3: \"A\"")));
}

TEST_F(AnAccessFile, ThatCannotBeReadIsAMistake) {
  std::filesystem::create_directory(m_File);
  EXPECT_THAT(host::ReadAccessFile(m_File).mistakes,
              ElementsAre(m_File.string() + ": cannot be read: Is a directory"));
  std::filesystem::remove(m_File);
  ASSERT_EQ(mkfifo(m_File.c_str(), 0600), 0);
  EXPECT_THAT(host::ReadAccessFile(m_File).mistakes, SizeIs(1));
  std::filesystem::remove(m_File);
  EXPECT_THAT(MistakesIn(std::string(2 << 20, ' ')),
              ElementsAre(" cannot be read: File too large"));
}

// On a bus of the user who runs the service.
class AccessOnOnesOwnBus : public FrameworkTest {
 protected:
  support::Process& StartWith(const std::string& accessFile) {
    std::ofstream(Path("access.json")) << accessFile;
    return StartAndWait({{"SETTINGS_CONFIG_DIR", Path("").parent_path()}});
  }

  static std::string Setting(const std::string& name) {
    return R"({"method":"SetItemValue","do":")" + name + "\"}";
  }

  bool WasServed(const std::string& name) const {
    const std::vector<std::string> trace = Trace();
    return std::find(trace.begin(), trace.end(), "request " + name) != trace.end();
  }

  // What the replies to a batch say; none when the batch as a whole is answered with an error.
  static std::vector<Answer> RequestAll(const Client& client,
                                        const std::vector<std::string>& bodies) {
    bus::Message call;
    bus::Check(sd_bus_message_new_method_call(client.Get(), bus::Out(call), kBusName, kObject,
                                              kInterface, "RequestAll"),
               "call");
    bus::Check(sd_bus_message_open_container(call.get(), 'a', "(is)"), "open");
    for (const std::string& body : bodies) {
      bus::Check(sd_bus_message_append(call.get(), "(is)", 1, body.c_str()), "append");
    }
    bus::Check(sd_bus_message_close_container(call.get()), "close");
    std::vector<Answer> answers;
    bus::Message reply;
    if (sd_bus_call(client.Get(), call.get(), 0, nullptr, bus::Out(reply)) >= 0) {
      bus::Check(sd_bus_message_enter_container(reply.get(), 'a', "(is)"), "enter");
      int type = 0;
      const char* body = nullptr;
      while (sd_bus_message_read(reply.get(), "(is)", &type, &body) > 0) {
        answers.push_back({type, body, "", ""});
      }
    }
    return answers;
  }
};

TEST_F(AccessOnOnesOwnBus, TheUserMayDoEverything) {
  StartWith("{}");
  Client client(Address());
  EXPECT_EQ(client.Request(Setting("a")).error, "");
  EXPECT_EQ(client.Request(R"({"method":"DisableItem","data":{"appName":"org.example.a"}})").error,
            "");
  EXPECT_TRUE(WasServed("a"));
}

TEST_F(AccessOnOnesOwnBus, WhoLeavesBeforeTheBusIsAskedCountsAsTheUser) {
  support::Process& service = StartWith("{}");
  service.Signal(SIGSTOP);
  {
    Client leaving(Address());
    leaving.Post(Setting("last will"), false);
  }
  service.Signal(SIGCONT);
  EXPECT_TRUE(WaitForTrace("request last will"));
}

TEST_F(AccessOnOnesOwnBus, WhoLeavesTheSystemBusBeforeItIsAskedIsNobody) {
  std::ofstream(Path("access.json")) << "{}";
  support::Process& service = StartAndWait(
      {{"SETTINGS_CONFIG_DIR", Path("").parent_path()}, {"DBUS_SYSTEM_BUS_ADDRESS", Address()}},
      {"--bus", "system"});
  service.Signal(SIGSTOP);
  {
    Client leaving(Address());
    leaving.Post(Setting("last will"), false);
  }
  service.Signal(SIGCONT);
  EXPECT_TRUE(WaitUntil(
      [&] { return LogLinesWith("SetItemValue needs a caller whom the bus knows").size() == 1; }));
  EXPECT_EQ(Client(Address()).Request(Setting("here")).error, "");
  EXPECT_TRUE(WasServed("here"));
  EXPECT_FALSE(WasServed("last will"));
}

TEST_F(AccessOnOnesOwnBus, WhoIsStillThereIsKnownAlsoWhenTheBusTookLongToSaySo) {
  std::ofstream(Path("access.json")) << "{}";
  support::Process& service = StartAndWait(
      {{"SETTINGS_CONFIG_DIR", Path("").parent_path()}, {"DBUS_SYSTEM_BUS_ADDRESS", Address()}},
      {"--bus", "system"});
  Client client(Address());
  service.Signal(SIGSTOP);
  client.Post(Setting("late"));
  ASSERT_TRUE(client.HasOwner());
  Bus().Signal(SIGSTOP);
  service.Signal(SIGCONT);
  // Longer than the service waits before it asks again.
  std::this_thread::sleep_for(std::chrono::milliseconds(2500));
  Bus().Signal(SIGCONT);
  ASSERT_TRUE(client.Until([&] { return !client.Answers().empty(); }));
  EXPECT_EQ(client.Answers()[0].error, "");
  EXPECT_TRUE(WasServed("late"));
}

TEST_F(AccessOnOnesOwnBus, RequestsKeepTheirOrderWhileTheBusIsAsked) {
  support::Process& service = StartWith("{}");
  std::vector<std::string> expected;
  service.Signal(SIGSTOP);
  Client client(Address());
  Client other(Address());
  for (int number = 0; number < 20; ++number) {
    const std::string name = std::to_string(number);
    client.Post(number % 3 == 1 ? R"({"do":")" + name + "\"}" : Setting(name));
    expected.push_back("request " + name);
  }
  other.Post(R"({"do":"other"})");
  sd_bus_flush(client.Get());
  sd_bus_flush(other.Get());
  service.Signal(SIGCONT);
  EXPECT_TRUE(client.Until([&] { return client.Answers().size() == 20; }));
  EXPECT_TRUE(other.Until([&] { return other.Answers().size() == 1; }));
  std::vector<std::string> served;
  bool isOtherServed = false;
  for (const std::string& line : Trace()) {
    isOtherServed = isOtherServed || line == "request other";
    if (line.starts_with("request ") && line != "request other") {
      served.push_back(line);
    }
  }
  EXPECT_EQ(served, expected);
  EXPECT_TRUE(isOtherServed);
}

TEST_F(AccessOnOnesOwnBus, AFileWithAMistakeLeavesQuestionsOnlyUntilItIsCorrectedAndReadAgain) {
  support::Process& service = StartWith("{\n\"A\": 1}");
  Client client(Address());
  const Answer refused = client.Request(Setting("a"));
  EXPECT_EQ(refused.error, kDenied);
  EXPECT_THAT(refused.message, HasSubstr(Path("access.json").string() + ":2: \"A\" is no method"));
  EXPECT_EQ(client.Request(R"({"do":"echo"})").error, "");
  EXPECT_FALSE(WasServed("a"));

  std::ofstream(Path("access.json")) << "{}";
  service.Signal(SIGHUP);
  EXPECT_TRUE(WaitUntil([&] { return client.Request(Setting("b")).error.empty(); }));
  std::ofstream(Path("access.json")) << "[]";
  service.Signal(SIGHUP);
  EXPECT_TRUE(
      WaitUntil([&] { return LogLinesWith("the rules that were read before stay").size() == 1; }));
  EXPECT_EQ(client.Request(Setting("c")).error, "");
}

TEST_F(AccessOnOnesOwnBus, ARefusedRequestOfABatchTakesItsPlace) {
  StartWith("[]");
  Client client(Address());
  const std::vector<Answer> answers =
      RequestAll(client, {R"({"do":"echo"})", Setting("a"), R"({"do":"echo"})"});
  ASSERT_EQ(answers.size(), 3u);
  EXPECT_EQ(answers[0].type, 1);
  EXPECT_EQ(answers[1].type, -1);
  EXPECT_EQ(answers[2].type, 1);
  EXPECT_THAT(answers[1].body, HasSubstr(std::string(R"("error":")") + kDenied + '"'));
}

TEST_F(AccessOnOnesOwnBus, ARefusalIsSentAlsoWhenThePathOfTheFileIsNotUtf8) {
  const std::filesystem::path directory = Path("caf\xE9");
  std::filesystem::create_directory(directory);
  std::ofstream(directory / "access.json") << "[]";
  StartAndWait({{"SETTINGS_CONFIG_DIR", directory}});
  Client client(Address());
  const std::string reason = "caf\uFFFD/access.json:1: the file must be one object";

  const Answer refused = client.Request(Setting("a"));
  EXPECT_EQ(refused.error, kDenied);
  EXPECT_THAT(refused.message, HasSubstr(reason));
  const std::vector<Answer> answers = RequestAll(client, {R"({"do":"echo"})", Setting("b")});
  ASSERT_EQ(answers.size(), 2u);
  EXPECT_EQ(answers[0].type, 1);
  EXPECT_EQ(answers[1].type, -1);
  EXPECT_THAT(answers[1].body, HasSubstr(reason));
}

TEST_F(AccessOnOnesOwnBus, SighupIsNoEnd) {
  support::Process& service = StartWith("{}");
  for (int count = 0; count < 5; ++count) {
    service.Signal(SIGHUP);
  }
  EXPECT_EQ(Client(Address()).Request(R"({"do":"echo"})").error, "");
  service.Signal(SIGTERM);
  EXPECT_EQ(service.Wait(), 0);
}

}  // namespace
