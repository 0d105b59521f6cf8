// Applications disable items, and end in all the ways that applications end.

#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

#include "signal_log.h"
#include "system_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Names = std::vector<std::string>;

// An application that disables items as long as it runs.
class Holder {
 public:
  Holder(const TelevisionSet& set, const std::string& app, Names items)
      : m_Output(set.Root() / (app + ".out")),
        m_Process(Command(app, std::move(items)), set.Variables(),
                  support::Files{"/dev/null", m_Output, set.Root() / (app + ".err")}) {}

  // Whether it came so far that its items are disabled.
  bool Holds() {
    return support::WaitUntil([&] { return support::ReadFile(m_Output) == "holding\n"; });
  }

  void Kill() { m_Process.Signal(SIGKILL); }

 private:
  static Names Command(const std::string& app, Names items) {
    items.insert(items.begin(), {"holder", app});
    return items;
  }

  std::filesystem::path m_Output;
  support::Process m_Process;
};

// An application that waits for no reply: what it sends and its end may lie in front of the daemon
// together.
class HastyApplication {
 public:
  HastyApplication(const TelevisionSet& set, const std::string& app)
      : m_App(app), m_Bus(set.Bus().Connect()) {
    EXPECT_GT(sd_bus_request_name(m_Bus.get(), app.c_str(), 0), 0) << app;
  }
  ~HastyApplication() { sd_bus_flush(m_Bus.get()); }
  HastyApplication(const HastyApplication&) = delete;
  HastyApplication& operator=(const HastyApplication&) = delete;

  void Disable(const std::string& item) {
    Send(R"({"method":"DisableItem","data":{"menuID":")" + item + R"(","appName":")" + m_App +
         R"("}})");
  }

  void Send(const std::string& body) {
    bus::Message message;
    EXPECT_GE(sd_bus_message_new_method_call(
                  m_Bus.get(), bus::Out(message), "org.nuvra.service.settings_service",
                  "/org/nuvra/service/settings_service", "org.nuvra.Service1", "Request"),
              0);
    EXPECT_GE(sd_bus_message_append(message.get(), "is", 0, body.c_str()), 0);
    EXPECT_GE(sd_bus_message_set_expect_reply(message.get(), 0), 0);
    EXPECT_GE(sd_bus_send(m_Bus.get(), message.get(), nullptr), 0);
  }

 private:
  const std::string m_App;
  const bus::Connection m_Bus;
};

class Disabling : public SystemTest {
 protected:
  // While `work` is done the daemon takes nothing, as one that is busy.
  template <typename Work>
  void WhileTheDaemonIsStopped(Work work) {
    m_Set.Daemon().Signal(SIGSTOP);
    work();
    m_Set.Daemon().Signal(SIGCONT);
  }

  // Waits until the bus gives the name to somebody else.
  bool BecomesFree(const std::string& app) {
    return support::WaitUntil(
        [&] { return settings::Client(m_Set.Bus().Address()).RequestName(app); });
  }

  // Whether these lines, and no others, come behind the last one that has this message.
  bool LogGoesOn(const std::string& message, const Names& expected) const {
    Names following;
    return support::WaitUntil([&] {
      following.clear();
      for (const LogLine& line : m_Set.LogLines()) {
        following.push_back(line.function + " | " + line.message);
        if (line.message == message) {
          following.clear();
        }
      }
      return following == expected;
    });
  }

  bool BecomesEnabled(const std::string& item) {
    return support::WaitUntil([&] { return m_Client.IsItemEnabled(item).value_or(false); });
  }

  bool ComesToBeDisabledBy(const std::string& item, const Names& apps) {
    return support::WaitUntil([&] { return m_Client.GetDisablerAppNamesByMenuId(item) == apps; });
  }

  settings::Client m_Client{m_Set.Bus().Address(), support::kPatience};
  SignalLog m_Signals{m_Set};
};

TEST_F(Disabling, AnItemStaysDisabledUntilTheLastOfItsApplicationsIsKilled) {
  Holder a(m_Set, "org.example.a", {"brightness"});
  ASSERT_TRUE(a.Holds());
  Holder b(m_Set, "org.example.b", {"brightness"});
  ASSERT_TRUE(b.Holds());
  EXPECT_THAT(m_Signals.TakeAll(), ElementsAre(R"(3 {"menuIDList":["brightness"],"status":0})"));

  a.Kill();
  ASSERT_TRUE(ComesToBeDisabledBy("brightness", {"org.example.b"}));
  EXPECT_EQ(m_Client.IsItemEnabled("brightness"), false);
  EXPECT_THAT(m_Signals.TakeAll(), IsEmpty());

  b.Kill();
  ASSERT_TRUE(BecomesEnabled("brightness"));
  EXPECT_THAT(m_Signals.TakeAll(), ElementsAre(R"(3 {"menuIDList":["brightness"],"status":1})"));

  // The end of an application leaves the watch over applications alone; the next request to
  // enable something ends it, once.
  m_Client.EnableItem("brightness", "org.example.a");
  EXPECT_TRUE(LogGoesOn("Enabled brightness from org.example.a",
                        {"m_FlagDisableItemEmpty | fail to check disabled items.",
                         "m_UnRegisterAppTerminateCB | Finish"}));
  m_Client.EnableItem("brightness", "org.example.b");
  EXPECT_TRUE(
      LogGoesOn("Enabled brightness from org.example.b", {"m_UnRegisterAppTerminateCB | no CB"}));
}

TEST_F(Disabling, AnEndDoesNotOvertakeTheRequestBeforeIt) {
  constexpr int kRounds = 150 / SETTINGS_SLOWDOWN;
  for (int round = 0; round < kRounds; ++round) {
    WhileTheDaemonIsStopped([&] {
      HastyApplication application(m_Set, "org.example.hasty");
      application.Disable("tint");
      // The bus has taken the request, and will see the end.
    });
    ASSERT_TRUE(BecomesFree("org.example.hasty"));
    ASSERT_TRUE(BecomesEnabled("tint")) << round;
    ASSERT_THAT(m_Signals.TakeAll(), ElementsAre(R"(3 {"menuIDList":["tint"],"status":0})",
                                                 R"(3 {"menuIDList":["tint"],"status":1})"))
        << round;
  }
}

TEST_F(Disabling, AnEndBehindManyRequestsIsNotServedBeforeThem) {
  constexpr int kRounds = 50 / SETTINGS_SLOWDOWN;
  HastyApplication other(m_Set, "org.example.other");
  for (int round = 0; round < kRounds; ++round) {
    for (int request = 0; request < 30; ++request) {
      other.Send(R"({"method":"GetItemValue","data":{"menuID":"tint"}})");
    }
    HastyApplication(m_Set, "org.example.hasty").Disable("tint");
    ASSERT_TRUE(BecomesFree("org.example.hasty"));
    ASSERT_TRUE(BecomesEnabled("tint")) << round;
  }
}

TEST_F(Disabling, TheEndOfAnApplicationDoesNotReleaseWhatItsSuccessorDisables) {
  constexpr int kRounds = 150 / SETTINGS_SLOWDOWN;
  for (int round = 0; round < kRounds; ++round) {
    std::unique_ptr<HastyApplication> successor;
    WhileTheDaemonIsStopped([&] {
      HastyApplication(m_Set, "org.example.hasty").Disable("tint");
      ASSERT_TRUE(BecomesFree("org.example.hasty"));
      successor = std::make_unique<HastyApplication>(m_Set, "org.example.hasty");
      successor->Disable("tint");
    });
    // Behind all that in front of the daemon.
    EXPECT_EQ(m_Client.IsItemEnabled("tint"), false) << round;
    EXPECT_THAT(m_Signals.TakeAll(), ElementsAre(R"(3 {"menuIDList":["tint"],"status":0})",
                                                 R"(3 {"menuIDList":["tint"],"status":1})",
                                                 R"(3 {"menuIDList":["tint"],"status":0})"))
        << round;
    successor.reset();
    ASSERT_TRUE(BecomesEnabled("tint")) << round;
    EXPECT_THAT(m_Signals.TakeAll(), ElementsAre(R"(3 {"menuIDList":["tint"],"status":1})"));
  }
}

TEST_F(Disabling, AThousandApplicationsThatEndBeforeTheirRequestsAreServedLeaveNothingDisabled) {
  constexpr int kApps = 1000 / SETTINGS_SLOWDOWN;
  WhileTheDaemonIsStopped([&] {
    for (int i = 0; i < kApps; ++i) {
      HastyApplication(m_Set, "org.example.app" + std::to_string(i)).Disable("tint");
    }
    std::vector<std::unique_ptr<HastyApplication>> together;
    for (int i = 0; i < kApps; ++i) {
      together.push_back(
          std::make_unique<HastyApplication>(m_Set, "org.example.other" + std::to_string(i)));
      together.back()->Disable("colour");
    }
  });
  ASSERT_TRUE(BecomesFree("org.example.other0"));
  EXPECT_TRUE(support::WaitUntil([&] { return m_Client.GetDisabledItemsList() == Names(); }));
}

TEST_F(Disabling, TheRecordIsBackAfterTheDaemonWasKilled) {
  Holder stays(m_Set, "org.example.stays", {"brightness", "contrast"});
  ASSERT_TRUE(stays.Holds());
  Holder ends(m_Set, "org.example.ends", {"contrast", "tint"});
  ASSERT_TRUE(ends.Holds());
  m_Set.KillDaemon();
  ends.Kill();
  ASSERT_TRUE(BecomesFree("org.example.ends"));

  m_Set.StartDaemon();
  ASSERT_TRUE(m_Set.WaitForLog("Refresh Menu"));
  EXPECT_EQ(m_Set.Run({"setctl", "key", "get", "db/menu/refresh_menu"}).out, "1\n");
  // What ended while nobody watched has let go; no request is served before that.
  EXPECT_EQ(m_Client.GetDisabledItemsList(), (Names{"brightness", "contrast"}));
  EXPECT_EQ(m_Client.GetDisablerAppNamesByMenuId("contrast"), (Names{"org.example.stays"}));
  EXPECT_THAT(m_Signals.TakeAll(), testing::Contains(R"(3 {"menuIDList":["tint"],"status":1})"));
  EXPECT_TRUE(m_Set.WaitForLog("Terminated app is org.example.ends"));

  // The other is watched again.
  stays.Kill();
  ASSERT_TRUE(BecomesEnabled("contrast"));
  EXPECT_THAT(m_Signals.TakeAll(),
              ElementsAre(R"(3 {"menuIDList":["brightness","contrast"],"status":1})"));
}

TEST_F(Disabling, AnApplicationThatRestartedWhileTheDaemonWasDeadDisablesNothing) {
  Holder former(m_Set, "org.example.restarts", {"tint"});
  ASSERT_TRUE(former.Holds());
  m_Set.KillDaemon();
  former.Kill();
  ASSERT_TRUE(BecomesFree("org.example.restarts"));
  HastyApplication present(m_Set, "org.example.restarts");
  m_Set.StartDaemon();
  EXPECT_EQ(m_Client.IsItemEnabled("tint"), true);
  present.Disable("tint");
  EXPECT_TRUE(ComesToBeDisabledBy("tint", {"org.example.restarts"}));
}

TEST_F(Disabling, AnApplicationThatTookItsNameAfterDisablingAndEndedWhileTheDaemonWasDeadLetsGo) {
  m_Client.DisableItem("tint", "org.example.late");
  {
    const HastyApplication application(m_Set, "org.example.late");
    ASSERT_TRUE(support::WaitUntil([&] {
      const auto mirror = m_Set.Run({"setctl", "key", "get", "memory/menu/disabled_items"}).out;
      return mirror.find("instance") != std::string::npos;
    }));
    m_Set.KillDaemon();
  }
  ASSERT_TRUE(BecomesFree("org.example.late"));
  m_Set.StartDaemon();
  EXPECT_EQ(m_Client.IsItemEnabled("tint"), true);
}

TEST_F(Disabling, WhatWasDisabledByHandStaysUntilItIsReleased) {
  m_Set.Run({"settingsctl", "disable", "tint", "--app", "org.example.never"});
  m_Set.KillDaemon();
  m_Set.StartDaemon();
  EXPECT_EQ(m_Client.GetDisablerAppNamesByMenuId("tint"), Names{"org.example.never"});
  EXPECT_EQ(m_Set.Run({"settingsctl", "release", "--app", "org.example.never"}).out, "tint\n");
}

TEST_F(Disabling, ReleasingForAnApplicationThatDoesNotExistNamesTheNearest) {
  const support::PrivateBus& bus = m_Set.Bus();
  const auto release = [&](const std::string& app, const support::Variables& more = {}) {
    support::Variables variables = m_Set.Variables();
    variables.insert(more.begin(), more.end());
    Names command = {"settingsctl", "release", "--app", app};
    if (!more.empty()) {
      command.insert(command.end(), {"--bus", "system"});
    }
    return support::RunCommand(command, variables);
  };
  const auto expect = [](const support::Outcome& outcome, int status, const std::string& out,
                         const std::string& err) {
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.out, out);
    EXPECT_EQ(outcome.err, err);
  };
  m_Set.Run({"settingsctl", "disable", "tint", "--app", "org.example.never"});
  expect(release("org.example.nevr"), 10, "",
         "settingsctl: no application \"org.example.nevr\"; nearest: org.example.never\n");
  EXPECT_EQ(m_Client.GetDisablerAppNamesByMenuId("tint"), Names{"org.example.never"});
  expect(release("org.example.never"), 0, "tint\n", "");
  expect(release("org.example.never"), 10, "",
         "settingsctl: no application \"org.example.never\"; settingsctl disabled shows those that "
         "disable items\n");
  const HastyApplication idle(m_Set, "org.example.idle");
  expect(release("org.example.idle"), 0, "", "");
  expect(release("org.example.never", {{"DBUS_SYSTEM_BUS_ADDRESS", bus.Address()}}), 0, "", "");
}

TEST_F(Disabling, AllThatAnApplicationSentIsServedBeforeItsEndIsKnown) {
  constexpr int kRequests = 300;
  WhileTheDaemonIsStopped([&] {
    HastyApplication application(m_Set, "org.example.many");
    for (int i = 0; i < kRequests; ++i) {
      application.Disable(i % 2 == 0 ? "brightness" : "contrast");
    }
  });
  ASSERT_TRUE(support::WaitUntil([&] {
    const std::vector<LogLine> lines = m_Set.LogLines();
    return std::count_if(lines.begin(), lines.end(), [](const LogLine& line) {
             return line.message.find("\"DisableItem\"") != std::string::npos;
           }) == kRequests;
  }));
  EXPECT_EQ(m_Client.GetDisabledItemsList(), Names());
}

TEST_F(Disabling, AThousandApplicationsKilledAtOnceLeaveNothingDisabled) {
  constexpr int kApps = 1000 / SETTINGS_SLOWDOWN;
  constexpr int kItemsOfEach = 5;
  Names items;
  for (const char* group : {"expertsettings", "twopoint", "expertsound", "equaliser", "game"}) {
    const Names children = m_Client.GetItemChildList(group).value_or(Names());
    items.insert(items.end(), children.begin(), children.end());
  }
  ASSERT_GT(items.size(), 50u);

  std::vector<std::unique_ptr<Holder>> holders;
  std::map<std::string, int> disablers;
  for (int i = 0; i < kApps; ++i) {
    Names own;
    for (int k = 0; k < kItemsOfEach; ++k) {
      own.push_back(items[(i + 5 * k) % items.size()]);
      ++disablers[own.back()];
    }
    holders.push_back(std::make_unique<Holder>(m_Set, "org.example.app" + std::to_string(i), own));
  }
  for (const auto& holder : holders) {
    ASSERT_TRUE(holder->Holds());
  }
  std::map<std::string, int> recorded;
  for (const std::string& item : m_Client.GetDisabledItemsList().value_or(Names())) {
    recorded[item] = static_cast<int>(m_Client.GetDisablerAppNamesByMenuId(item)->size());
  }
  EXPECT_EQ(recorded, disablers);

  for (const auto& holder : holders) {
    holder->Kill();
  }
  ASSERT_TRUE(support::WaitUntil([&] { return m_Client.GetDisabledItemsList() == Names(); }));

  // Each item was announced once as disabled and after that once as enabled.
  std::map<std::string, Names> announced;
  for (const std::string& signal : m_Signals.TakeAll()) {
    Json::Value json;
    std::istringstream(signal.substr(2)) >> json;
    EXPECT_EQ(signal[0], '3');
    EXPECT_FALSE(json["menuIDList"].empty()) << signal;
    for (const Json::Value& item : json["menuIDList"]) {
      announced[item.asString()].push_back(json["status"].asString());
    }
  }
  EXPECT_EQ(announced.size(), disablers.size());
  for (const auto& [item, statuses] : announced) {
    EXPECT_THAT(statuses, ElementsAre("0", "1")) << item;
  }
}

TEST_F(Disabling, ACommandHoldsItemsAsLongAsItRuns) {
  const support::Outcome held = m_Set.Run({"settingsctl", "hold", "tint", "--app",
                                           "org.example.film", "--", "settingsctl", "who", "tint"});
  EXPECT_EQ(held.out, "org.example.film\n") << held.err;
  EXPECT_EQ(m_Client.IsItemEnabled("tint"), true);
  EXPECT_THAT(m_Signals.TakeAll(), ElementsAre(R"(3 {"menuIDList":["tint"],"status":0})",
                                               R"(3 {"menuIDList":["tint"],"status":1})"));
  EXPECT_EQ(m_Set
                .Run({"settingsctl", "hold", "tint", "--app", "org.example.film", "--", "sh", "-c",
                      "exit 7"})
                .status,
            7);
}

TEST_F(Disabling, AHoldLetsGoThoughTheDaemonWasDeadWhenItsCommandEnded) {
  const std::filesystem::path running = m_Set.Root() / "running";
  std::ofstream{running};
  const std::filesystem::path begun = m_Set.Root() / "begun";
  const std::filesystem::path ended = m_Set.Root() / "ended";
  support::Process hold(
      {"settingsctl", "hold", "tint", "--timeout", "60", "--app", "org.example.film", "--", "sh",
       "-c", "echo >\"$1\"; while [ -e \"$0\" ]; do sleep 0.05; done; echo >\"$2\"; exit 7",
       running, begun, ended},
      m_Set.Variables(), support::Files{});
  // Before its command begins the hold asks the daemon once more.
  ASSERT_TRUE(support::WaitUntil([&] { return std::filesystem::exists(begun); }));
  m_Set.KillDaemon();
  std::filesystem::remove(running);
  ASSERT_TRUE(support::WaitUntil([&] { return std::filesystem::exists(ended); }));
  m_Set.StartDaemon();
  EXPECT_EQ(hold.Wait(), 7);
  EXPECT_EQ(m_Client.GetDisablerAppNamesByMenuId("tint"), Names());
}

TEST_F(Disabling, AHoldThatIsKilledLetsGo) {
  support::Process hold(
      {"settingsctl", "hold", "tint", "--app", "org.example.film", "--", "sleep", "0.5"},
      m_Set.Variables(), support::Files{});
  ASSERT_TRUE(ComesToBeDisabledBy("tint", {"org.example.film"}));
  hold.Signal(SIGKILL);
  EXPECT_TRUE(BecomesEnabled("tint"));
}

TEST_F(Disabling, ANameThatCannotBeAnApplicationsDisablesNothing) {
  const Names apps = {"a\"b\\c", "line\nfeed\ttab", "앱 테스트", std::string(4096, 'x'), "\x01",
                      "one"};
  for (const std::string& app : apps) {
    m_Client.DisableItem("tint", app);
    m_Client.DisableItemsByList({"tint", "colour"}, app);
  }
  EXPECT_EQ(m_Client.GetDisabledItemsList(), Names());
  EXPECT_THAT(m_Signals.TakeAll(), IsEmpty());
}

TEST_F(Disabling, NamesOfAQuarterOfAMegabyteEndNobody) {
  for (int i = 0; i < 40; ++i) {
    m_Client.DisableItem("tint", "org.example." + std::to_string(i) + std::string(260'000, 'x'));
  }
  EXPECT_EQ(m_Client.GetDisablerAppNamesByMenuId("tint"), Names());
  EXPECT_EQ(m_Client.IsItemEnabled("tint"), true);
}

// Processor time, which a busy machine lengthens by less than by half.
TEST_F(Disabling, AChangeOfAFullRecordIsSwift) {
  Names items;
  for (const char* group : {"expertsettings", "twopoint", "expertsound", "equaliser", "game"}) {
    const Names children = m_Client.GetItemChildList(group).value_or(Names());
    items.insert(items.end(), children.begin(), children.end());
  }
  const auto isTaken = [&](const std::string& app) {
    m_Client.DisableItemsByList(items, app);
    return m_Client.GetDisablerAppNamesByMenuId(items.front()).value_or(Names()).back() == app;
  };
  int apps = 0;
  while (apps < 1000 && isTaken("org.example.application" + std::to_string(apps))) {
    ++apps;
  }
  ASSERT_LT(apps, 1000) << "the record has a limit";
  const auto processorTime = [&] {
    std::istringstream statistics(
        support::ReadFile("/proc/" + std::to_string(m_Set.Daemon().Pid()) + "/schedstat"));
    std::int64_t nanoseconds = 0;
    statistics >> nanoseconds;
    return nanoseconds / 1e6;
  };
  constexpr int kChanges = 50;
  const double before = processorTime();
  for (int change = 0; change < kChanges; ++change) {
    m_Client.EnableItem(items.front(), "org.example.application0");
    m_Client.DisableItem(items.front(), "org.example.application0");
  }
  const double milliseconds = (processorTime() - before) / (2 * kChanges);
  RecordProperty("milliseconds", std::to_string(milliseconds));
  EXPECT_LT(milliseconds, 7.5 * SETTINGS_SLOWDOWN);
}

TEST_F(Disabling, AnItemThatThereIsNotIsNeverDisabled) {
  const Names items = {"a\"b\\c", "line\nfeed", "밝기", std::string(4096, 'x'), ""};
  m_Client.DisableItemsByList(items, "org.example.a");
  for (const std::string& item : items) {
    m_Client.DisableItem(item, "org.example.a");
    m_Client.EnableItem(item, "org.example.a");
  }
  m_Client.DisableItem("tint", "");
  EXPECT_EQ(m_Client.GetDisabledItemsList(), Names());
  EXPECT_THAT(m_Signals.TakeAll(), IsEmpty());
}

TEST_F(Disabling, OfTenThousandNamesInOneListTheKnownOnesAreDisabled) {
  Names items;
  for (int i = 0; i < 10000; ++i) {
    items.push_back("nosuchitem" + std::to_string(i));
  }
  items[17] = "tint";
  items[9999] = "colour";
  items[5000] = "tint";
  m_Client.DisableItemsByList(items, "org.example.a");
  EXPECT_EQ(m_Client.GetDisabledItemsList(), (Names{"colour", "tint"}));
  EXPECT_THAT(m_Signals.TakeAll(), ElementsAre(R"(3 {"menuIDList":["tint","colour"],"status":0})"));
}

TEST_F(Disabling, WrongTypesInARequestChangeNothing) {
  m_Client.DisableItem("tint", "org.example.a");
  for (
      const char* request : {
          R"({"method":"DisableItem"})",
          R"({"method":"DisableItem","data":"tint"})",
          R"({"method":"DisableItem","data":{"menuID":["tint"],"appName":"org.a"}})",
          R"({"method":"DisableItem","data":{"menuID":"tint","appName":{}}})",
          R"({"method":"EnableItem","data":[]})",
          R"({"method":"EnableItem","data":{"menuID":{},"appName":"org.example.a"}})",
          R"({"method":"DisableItemsByList","data":{"appName":"org.a"}})",
          R"({"method":"DisableItemsByList","data":{"appName":"org.a","menuIDList":"colour"}})",
          R"({"method":"DisableItemsByList","data":{"appName":"org.a","menuIDList":[["colour"]]}})",
          R"({"method":"DisableItemsByList","data":{"appName":[],"menuIDList":["colour"]}})",
          R"({"method":"RemoveDisabledItemsByAppname","data":{"appName":["org.example.a"]}})",
          R"({"method":"RemoveDisabledItemsByAppname","data":17})",
      }) {
    EXPECT_EQ(Request(request), "{\"return_data\":\"\"}\n") << request;
  }
  EXPECT_EQ(m_Client.GetDisabledItemsList(), Names{"tint"});
  EXPECT_EQ(m_Client.GetDisablerAppNamesByMenuId("tint"), Names{"org.example.a"});
  EXPECT_THAT(m_Signals.TakeAll(), ElementsAre(R"(3 {"menuIDList":["tint"],"status":0})"));
}

}  // namespace
