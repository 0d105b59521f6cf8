#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "fixture.h"
#include "support/applications.h"

namespace {

using host::KeyValue;
using support::Outcome;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

// Checks a failure: its exit status and one line of message.
void ExpectFailure(const Outcome& outcome, int status, const std::string& message) {
  EXPECT_EQ(outcome.status, status) << outcome.err;
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, AllOf(StartsWith("setctl: "), HasSubstr(message)));
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
}

class AppVerbs : public Applications {};

// A program of the test that owns a name and answers nothing.
class Silent {
 public:
  Silent(const support::PrivateBus& bus, const std::string& name) : m_Bus(bus.Connect()) {
    EXPECT_GE(sd_bus_request_name(m_Bus.get(), name.c_str(), 0), 0);
  }

 private:
  const bus::Connection m_Bus;
};

TEST_F(AppVerbs, TheListHasAllInstalledApplicationsInOrderAndHowTheyRun) {
  AppDone({"start", kMenu});
  const Outcome outcome = App({"list"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(outcome.out, MatchesRegex("com\\.velmora\\.tv\\.csfs +not running\n"
                                        "com\\.velmora\\.tv\\.gamebar +not running\n"
                                        "com\\.velmora\\.tv\\.multiscreenlauncher +not running\n"
                                        "org\\.example\\.broken +not running\n"
                                        "org\\.pavix\\.menu +foreground +process [0-9]+\n"
                                        "org\\.pavix\\.tv-viewer +not running\n"));
}

TEST_F(AppVerbs, AsJsonTheListSaysStateNumberAndProcess) {
  AppDone({"start", kMenu});
  AppDone({"state", kMenu, "background"});
  const Json::Value menu = Listed(kMenu);
  EXPECT_TRUE(menu["installed"].asBool());
  EXPECT_TRUE(menu["running"].asBool());
  EXPECT_EQ(menu["status"], 4);
  EXPECT_EQ(menu["state"], "background");
  EXPECT_EQ(kill(menu["pid"].asInt(), 0), 0);
  const Json::Value csfs = Listed(kCsfs);
  EXPECT_TRUE(csfs["installed"].asBool());
  EXPECT_FALSE(csfs["running"].asBool());
  EXPECT_TRUE(csfs["status"].isNull() && csfs["state"].isNull() && csfs["pid"].isNull());
}

TEST_F(AppVerbs, TheListHasARunningApplicationThatIsNotInstalledAndReadsItsStateAsTheServiceDoes) {
  const std::string key = "memory/set/apps/org.example.silent/status";
  const Silent silent(*m_Bus, "org.example.silent");
  Json::Value listed = Listed("org.example.silent");
  EXPECT_FALSE(listed["installed"].asBool());
  EXPECT_EQ(listed["state"], "foreground");
  EXPECT_EQ(listed["pid"], getpid());
  m_Keys.Set(key, KeyValue("3"));
  EXPECT_EQ(Listed("org.example.silent")["state"], "visible");
  m_Keys.Set(key, KeyValue(77));
  EXPECT_EQ(Listed("org.example.silent")["state"], "77");
  m_Keys.Set(key, KeyValue("3x"));
  EXPECT_EQ(Listed("org.example.silent")["status"], 2);
}

TEST_F(AppVerbs, ALaunchRequestCarriesItsExtraData) {
  AppDone({"start", kMenu, "type=a=b", "empty="});
  EXPECT_EQ(Log(kMenu).at(2), "activate empty=\"\" type=\"a=b\"");
}

TEST_F(AppVerbs, AsJsonStartStateAndStopSayWhatBecameOfIt) {
  const Outcome started = App({"start", "--json", kMenu});
  EXPECT_EQ(started.out, "{\"app\":\"org.pavix.menu\",\"running\":true,\"pid\":" +
                             std::to_string(PidOf(kMenu)) + "}\n");
  EXPECT_EQ(App({"state", "--json", kMenu, "visible"}).out,
            "{\"app\":\"org.pavix.menu\",\"state\":\"visible\"}\n");
  EXPECT_EQ(App({"stop", "--json", kMenu}).out,
            "{\"app\":\"org.pavix.menu\",\"running\":false,\"pid\":null}\n");
}

TEST_F(AppVerbs, AfterStopTheProcessAndItsNameAreGone) {
  AppDone({"start", kViewer});
  const pid_t pid = PidOf(kViewer);
  AppDone({"stop", kViewer});
  EXPECT_TRUE(support::WaitForEnd(pid));
  EXPECT_FALSE(Runs(kViewer));
  EXPECT_EQ(Log(kViewer).back(), "ended: SIGTERM");
}

TEST_F(AppVerbs, AStoppedProcessEndsByForceOnly) {
  AppDone({"start", kCsfs});
  const pid_t pid = PidOf(kCsfs);
  ASSERT_EQ(kill(pid, SIGSTOP), 0);
  ExpectFailure(App({"start", kCsfs, "--timeout", "0.05"}), 3, "did not answer in time");
  ExpectFailure(App({"stop", kCsfs, "--timeout", "0.05"}), 3,
                "is still running; wait longer with --timeout SECONDS, or force it with --kill");
  AppDone({"stop", kCsfs, "--kill"});
  EXPECT_TRUE(support::WaitForEnd(pid));
  EXPECT_FALSE(Runs(kCsfs));
}

TEST_F(AppVerbs, AStateIsEnteredWhenTheVerbEnds) {
  AppDone({"start", kCsfs});
  for (const auto& [name, number] :
       {std::pair("background", 4), std::pair("visible", 3), std::pair("foreground", 2)}) {
    AppDone({"state", kCsfs, name});
    EXPECT_EQ(Status(kCsfs), KeyValue(number));
  }
}

TEST_F(AppVerbs, AnApplicationThatDoesNotRunIsNeitherStoppedNorStartedForAState) {
  ExpectFailure(App({"stop", kMenu}), 1,
                "org.pavix.menu is not running; start it with setctl app start org.pavix.menu");
  ExpectFailure(App({"state", kMenu, "visible"}), 1, "is not running");
  EXPECT_FALSE(Runs(kMenu));
}

TEST_F(AppVerbs, AnApplicationThatThereIsNotEndsWith10) {
  for (const std::vector<std::string>& line :
       {std::vector<std::string>{"start", "org.example.none"},
        {"stop", "org.example.none"},
        {"state", "org.example.none", "visible"}}) {
    ExpectFailure(App(line), 10, "no application \"org.example.none\" is installed");
  }
  ExpectFailure(App({"start", "org.example.none"}), 10, "; see setctl app list\n");
}

TEST_F(AppVerbs, AMistypedApplicationIsAnsweredWithTheNearest) {
  for (const std::vector<std::string>& line : {std::vector<std::string>{"start", "org.pavix.mneu"},
                                               {"stop", "org.pavix.mneu"},
                                               {"state", "org.pavix.mneu", "visible"}}) {
    ExpectFailure(App(line), 10, "; nearest: org.pavix.menu\n");
  }
  ExpectFailure(App({"log", "org.pavix.mneu"}), 10,
                "; the set's own applications write one once started: setctl app start "
                "org.pavix.mneu\n");
  AppDone({"start", kMenu});
  ExpectFailure(App({"log", "org.pavix.mneu"}), 10, "; nearest: org.pavix.menu\n");
}

TEST_F(AppVerbs, AnApplicationThatCannotBeStartedEndsWith1AndOneThatDoesNotAnswerWith3) {
  ExpectFailure(App({"start", kBroken}), 1, "could not start \"org.example.broken\"");
  const Silent silent(*m_Bus, "org.example.silent");
  ExpectFailure(App({"start", "org.example.silent", "--timeout", "0.05"}), 3,
                "did not answer in time");
}

TEST_F(AppVerbs, WrongUsageEndsWith2) {
  for (const std::string verb : {"start", "stop", "log"}) {
    ExpectFailure(App({verb, "menu"}), 2, "\"menu\" is not an application ID");
    ExpectFailure(App({verb, "org.freedesktop.DBus"}), 2, "is not an application ID");
    ExpectFailure(App({verb, "../../etc/passwd"}), 2, "is not an application ID");
    ExpectFailure(App({verb}), 2, "ID is required");
  }
  ExpectFailure(App({"start", kMenu, "type"}), 2, "\"type\" is not KEY=VALUE");
  ExpectFailure(App({"start", kMenu, "=x"}), 2, "\"=x\" is not KEY=VALUE");
  ExpectFailure(App({"start", kMenu, "type=\xff"}), 2, "is not UTF-8");
  ExpectFailure(App({"state", kMenu, "asleep"}), 2, "foreground");
  ExpectFailure(App({"list", "--bus", "nowhere"}), 2, "use session, system or a bus address");
  EXPECT_FALSE(Runs(kMenu));
}

TEST_F(AppVerbs, WithoutABusTheyEndWith8AndSayWhatToDo) {
  const std::string bus = "unix:path=" + (m_Root / "nobus").native();
  for (const std::vector<std::string>& line : {std::vector<std::string>{"list"},
                                               {"start", kMenu},
                                               {"stop", kMenu},
                                               {"state", kMenu, "visible"}}) {
    std::vector<std::string> arguments = line;
    arguments.insert(arguments.end(), {"--bus", bus});
    ExpectFailure(App(arguments), 8, "start a set, e.g. with ./run");
  }
}

TEST_F(AppVerbs, TheBusCanBeGivenBeforeTheVerb) {
  AppDone({"start", kMenu});
  support::Variables elsewhere = Variables();
  elsewhere["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=" + (m_Root / "nobus").native();
  const Outcome outcome =
      support::RunCommand({SETCTL, "--bus", m_Bus->Address(), "app", "list"}, elsewhere);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("foreground"));
}

TEST_F(AppVerbs, TheLogIsPrintedAndItsLastLines) {
  AppDone({"start", kMenu});
  const Outcome all = App({"log", kMenu});
  EXPECT_EQ(all.out, support::ReadFile(m_Root / "var/log/apps" / (kMenu + ".log")));
  const Outcome last = App({"log", kMenu, "--lines", "1"});
  EXPECT_EQ(last.status, 0);
  EXPECT_THAT(last.out, EndsWith("): state foreground\n"));
  EXPECT_EQ(std::count(last.out.begin(), last.out.end(), '\n'), 1);
}

TEST_F(AppVerbs, TheLogIsFollowed) {
  AppDone({"start", kMenu});
  support::Process follow({SETCTL, "app", "log", kMenu, "--follow", "--lines", "1"}, Variables(),
                          {"/dev/null", m_Root / "out", m_Root / "err"});
  const auto shows = [&](const std::string& text) {
    return support::WaitUntil(
        [&] { return support::ReadFile(m_Root / "out").find(text) != std::string::npos; });
  };
  EXPECT_TRUE(shows("state foreground\n"));
  AppDone({"start", kMenu, "type=protection-popup"});
  EXPECT_TRUE(shows("popup protection-popup\n"));
  follow.Signal(SIGINT);
  EXPECT_EQ(follow.Wait(), 0);
}

TEST_F(AppVerbs, AMissingLogEndsWith10AndSaysHowToGetOne) {
  ExpectFailure(App({"log", kMenu}), 10, "setctl app start org.pavix.menu");
}

}  // namespace
