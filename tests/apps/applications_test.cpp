#include "support/applications.h"

#include <signal.h>

#include <cstdlib>
#include <fstream>

#include "apps/application_id.h"
#include "fixture.h"

namespace {

using host::KeyValue;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr char kViewerState[] = "memory/tv-viewer/viewer_state";
constexpr char kBanners[] = "memory/tv-viewer/visible_banners";
constexpr char kMultiScreen[] = "memory/multiscreen/info";
constexpr char kAimStatus[] = "memory/menu/virtualaim/status";
constexpr char kAimType[] = "db/menu/virtualaim/aimtype";

// Calls a method of an application; the name of the error reply, "" for success.
template <typename... Arguments>
std::string Call(const support::PrivateBus& bus, const std::string& id, const char* method,
                 const char* signature, Arguments... arguments) {
  bus::Error error;
  sd_bus_call_method(bus.Connect().get(), id.c_str(), host::ApplicationObjectPath(id).c_str(),
                     "org.freedesktop.Application", method, error.Out(), nullptr, signature,
                     arguments...);
  return error.Name();
}

TEST_F(Applications, EachIsStartedByItsFirstLaunchRequestAndSaysItsState) {
  for (const std::string& id : kAll) {
    EXPECT_FALSE(Runs(id));
    AppDone({"start", id});
    EXPECT_TRUE(Runs(id)) << id;
    EXPECT_EQ(Status(id), KeyValue(2)) << id;
    EXPECT_THAT(Log(id), Contains("activate")) << id;
  }
}

TEST_F(Applications, EachEndsOnTerminationWithoutATraceOfItsState) {
  for (const std::string& id : kAll) {
    AppDone({"start", id});
    const pid_t pid = PidOf(id);
    ASSERT_GT(pid, 0);
    ASSERT_EQ(kill(pid, SIGTERM), 0);
    EXPECT_TRUE(support::WaitForEnd(pid)) << id;
    EXPECT_EQ(Status(id), std::nullopt) << id;
    EXPECT_EQ(Log(id).back(), "ended: SIGTERM");
  }
}

TEST_F(Applications, EachEndsWithTheBusWithoutATraceOfItsState) {
  for (const std::string& id : kAll) {
    AppDone({"start", id});
  }
  m_Bus->End();
  for (const std::string& id : kAll) {
    EXPECT_TRUE(WaitForLog(id, "ended: the bus has ended")) << id;
    EXPECT_TRUE(support::WaitUntil([&] { return !Status(id); })) << id;
  }
}

TEST_F(Applications, OneThatIsStartedByHandEndsWith0OnInterruptAndTermination) {
  for (const int signal : {SIGINT, SIGTERM}) {
    const auto menu = StartByHand(kMenu);
    ASSERT_TRUE(support::WaitUntil([&] { return Runs(kMenu); }));
    EXPECT_EQ(Status(kMenu), KeyValue(4));
    menu->Signal(signal);
    EXPECT_EQ(menu->Wait(), 0);
    EXPECT_EQ(support::ReadFile(m_Root / "err"), "");
  }
  // Standard output gets what the log gets.
  EXPECT_EQ(support::ReadFile(m_Root / "out"),
            support::ReadFile(m_Root / "var/log/apps" / (kMenu + ".log")));
}

TEST_F(Applications, ASecondLaunchRequestGoesToTheRunningOne) {
  AppDone({"start", kMenu});
  const pid_t pid = PidOf(kMenu);
  AppDone({"start", kMenu, "type=protection-popup"});
  EXPECT_EQ(PidOf(kMenu), pid);
  EXPECT_THAT(Log(kMenu), ElementsAre("started", "state background", "activate", "menu open",
                                      "state foreground", "activate type=\"protection-popup\"",
                                      "popup protection-popup"));
}

TEST_F(Applications, ASecondOneOfTheSameIdGivesUpAndLeavesTheFirstAlone) {
  AppDone({"start", kMenu});
  const auto second = StartByHand(kMenu);
  EXPECT_EQ(second->Wait(), 1);
  EXPECT_THAT(support::ReadFile(m_Root / "err"), HasSubstr("already running"));
  EXPECT_TRUE(Runs(kMenu));
  EXPECT_EQ(Status(kMenu), KeyValue(2));
}

TEST_F(Applications, WhatTheirCommandLineDoesNotTakeIsWrongUsage) {
  const auto expectUsage = [this](const std::string& id, const std::vector<std::string>& words,
                                  const std::string& problem) {
    std::vector<std::string> command = {APPLICATIONS "/" + id};
    command.insert(command.end(), words.begin(), words.end());
    const support::Outcome outcome = support::RunCommand(command, Variables());
    EXPECT_EQ(outcome.status, 2) << id;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, id + ": " + problem + "; usage: " + id +
                               (id == kMenu ? " [--version | ITEM]\n" : " [--version]\n"));
    EXPECT_FALSE(std::filesystem::exists(m_Root / "var/log/apps" / (id + ".log")));
  };
  for (const std::string& id : kAll) {
    expectUsage(id, {"--nosuchoption"}, "no option \"--nosuchoption\"");
    expectUsage(id, {"-h"}, "no option \"-h\"");
    expectUsage(id, {"a", "b\x1b[2J"},
                id == kMenu ? "unexpected argument \"b\\x1b[2J\"" : "unexpected argument \"a\"");
    const support::Outcome version =
        support::RunCommand({APPLICATIONS "/" + id, "--version"}, Variables());
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.out, testing::StartsWith(id + " "));
  }
}

TEST_F(Applications, OneThatWasKilledStartsAgainWithItsFirstState) {
  AppDone({"start", kLauncher});
  AppDone({"stop", kLauncher, "--kill"});
  EXPECT_EQ(Status(kLauncher), KeyValue(2));
  EXPECT_EQ(Key(kMultiScreen), KeyValue(R"({"mode":"on"})"));
  const auto launcher = StartByHand(kLauncher);
  ASSERT_TRUE(support::WaitUntil([&] { return Runs(kLauncher); }));
  EXPECT_EQ(Status(kLauncher), KeyValue(4));
  EXPECT_EQ(Key(kMultiScreen), KeyValue(R"({"mode":"off"})"));
}

TEST_F(Applications, WithoutABusOrAUsableSetNoneStarts) {
  support::Variables variables = Variables();
  variables["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=/nonexistent/bus";
  const support::Outcome noBus = support::RunCommand({APPLICATIONS "/" + kMenu}, variables);
  EXPECT_EQ(noBus.status, 1);
  EXPECT_THAT(noBus.err, HasSubstr(kMenu + ": "));
  std::ofstream(m_Root / "file") << "";
  variables = Variables();
  variables["SETTINGS_ROOT"] = m_Root / "file";
  const support::Outcome noSet = support::RunCommand({APPLICATIONS "/" + kMenu}, variables);
  EXPECT_EQ(noSet.status, 1);
  EXPECT_THAT(noSet.err, HasSubstr((m_Root / "file").native()));
}

TEST_F(Applications, WhatAnApplicationIsAskedIsOneLineWhateverIsInIt) {
  AppDone({"start", kMenu, "type=a\nb\x1b[2J", "k=v"});
  EXPECT_THAT(Log(kMenu), Contains("activate k=\"v\" type=\"a\\nb\\x1b[2J\""));
  EXPECT_THAT(Log(kMenu), Contains("popup a\\nb\\x1b[2J"));
}

TEST_F(Applications, ExtraDataThatAreNoTextAreLeftOut) {
  EXPECT_EQ(Call(*m_Bus, kMenu, "Activate", "a{sv}", 2, "count", "i", 5, "type", "s", "x"), "");
  EXPECT_THAT(Log(kMenu), Contains("activate type=\"x\""));
}

TEST_F(Applications, OpeningFilesComesToTheForeground) {
  EXPECT_EQ(Call(*m_Bus, kCsfs, "Open", "asa{sv}", 2, "file:///a b", "file:///c", 0), "");
  EXPECT_THAT(Log(kCsfs), Contains("open \"file:///a b\" \"file:///c\""));
  EXPECT_EQ(Status(kCsfs), KeyValue(2));
}

TEST_F(Applications, AnActionThatThereIsNotIsAnErrorReplyAndChangesNothing) {
  const char* const kInvalid = "org.freedesktop.DBus.Error.InvalidArgs";
  AppDone({"start", kCsfs});
  EXPECT_EQ(Call(*m_Bus, kCsfs, "ActivateAction", "sava{sv}", "dance", 0, 0), kInvalid);
  EXPECT_EQ(Call(*m_Bus, kCsfs, "ActivateAction", "sava{sv}", "state", 0, 0), kInvalid);
  EXPECT_EQ(Call(*m_Bus, kCsfs, "ActivateAction", "sava{sv}", "state", 1, "i", 4, 0), kInvalid);
  EXPECT_EQ(Call(*m_Bus, kCsfs, "ActivateAction", "sava{sv}", "state", 1, "s", "gone", 0),
            kInvalid);
  EXPECT_EQ(Status(kCsfs), KeyValue(2));
  EXPECT_EQ(
      Call(*m_Bus, kCsfs, "ActivateAction", "sava{sv}", "state", 2, "s", "visible", "i", 1, 0), "");
  EXPECT_EQ(Status(kCsfs), KeyValue(3));
}

TEST_F(Applications, AnApplicationCanBeIntrospected) {
  AppDone({"start", kViewer});
  const support::Outcome outcome = support::RunCommand(
      {"dbus-send", "--bus=" + m_Bus->Address(), "--print-reply", "--dest=" + kViewer,
       "/org/pavix/tv_viewer", "org.freedesktop.DBus.Introspectable.Introspect"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("<interface name=\"org.freedesktop.Application\">"));
  EXPECT_THAT(outcome.out, HasSubstr("<arg type=\"a{sv}\" name=\"platform_data\""));
}

TEST_F(Applications, TheGameBarSaysItsModeAndWhereItAppears) {
  AppDone({"start", kGameBar, "mode=auto_background"});
  EXPECT_THAT(Log(kGameBar), Contains("mode auto_background"));
  EXPECT_EQ(Status(kGameBar), KeyValue(4));
  AppDone({"start", kGameBar, "mode=auto_source_change", "__NO_RAISE_WINDOW=enable"});
  EXPECT_THAT(Log(kGameBar), Contains("mode auto_source_change"));
  EXPECT_EQ(Status(kGameBar), KeyValue(4));
  AppDone({"start", kGameBar, "mode=auto_game_item_on"});
  EXPECT_EQ(Status(kGameBar), KeyValue(2));
}

TEST_F(Applications, TheGameBarEndsWhenItIsAskedToTerminate) {
  AppDone({"start", kGameBar});
  const pid_t pid = PidOf(kGameBar);
  AppDone({"start", kGameBar, "mode=Terminate", "__NO_RAISE_WINDOW=enable"});
  EXPECT_TRUE(support::WaitForEnd(pid));
  EXPECT_EQ(Log(kGameBar).back(), "ended: mode Terminate");
  EXPECT_EQ(Status(kGameBar), std::nullopt);
  EXPECT_TRUE(support::WaitUntil([&] { return !Runs(kGameBar); }));
}

TEST_F(Applications, TheGameBarDrawsTheCrosshairOfTheTwoKeys) {
  m_Keys.Set(kAimType, KeyValue(1));
  AppDone({"start", kGameBar});
  EXPECT_THAT(Log(kGameBar), Contains("no crosshair"));
  m_Keys.Set(kAimStatus, KeyValue(1));
  EXPECT_TRUE(WaitForLog(kGameBar, "crosshair  -+-  status 1, type 1"));
  m_Keys.Set(kAimType, KeyValue(2));
  EXPECT_TRUE(WaitForLog(kGameBar, "crosshair  -( )-  status 1, type 2"));
  m_Keys.Set(kAimType, KeyValue(-7));
  EXPECT_TRUE(WaitForLog(kGameBar, "crosshair  +  status 1, type -7"));
  m_Keys.Set(kAimStatus, KeyValue(0));
  EXPECT_TRUE(support::WaitUntil([&] { return Log(kGameBar).back() == "no crosshair"; }));
  // Neither a type without a crosshair nor any other key is a drawing.
  m_Keys.Set(kAimType, KeyValue(3));
  m_Keys.Set("memory/other", KeyValue(1));
  m_Keys.Set(kAimStatus, KeyValue(2));
  EXPECT_TRUE(WaitForLog(kGameBar, "crosshair  ( + )  status 2, type 3"));
  const std::vector<std::string> log = Log(kGameBar);
  EXPECT_EQ(log[log.size() - 2], "no crosshair");
}

TEST_F(Applications, TheGameBarDrawsTheCrosshairThatWasThereBeforeIt) {
  m_Keys.Set(kAimType, KeyValue(0));
  m_Keys.Set(kAimStatus, KeyValue(1));
  AppDone({"start", kGameBar});
  EXPECT_THAT(Log(kGameBar), Contains("crosshair  +  status 1, type 0"));
  EXPECT_THAT(Log(kGameBar), Not(Contains("no crosshair")));
}

TEST_F(Applications, TheViewerSaysWhetherItIsResumedAndWhatBannersItShows) {
  AppDone({"start", kViewer, "banners=channel,screen_ratio"});
  EXPECT_EQ(Key(kViewerState), KeyValue("resume_focus"));
  EXPECT_EQ(Key(kBanners), KeyValue("channel,screen_ratio"));
  AppDone({"state", kViewer, "visible"});
  EXPECT_EQ(Key(kViewerState), KeyValue("resume"));
  EXPECT_EQ(Key(kBanners), KeyValue("channel,screen_ratio"));
  AppDone({"state", kViewer, "background"});
  EXPECT_EQ(Key(kViewerState), KeyValue("pause"));
  EXPECT_EQ(Key(kBanners), KeyValue(""));
  AppDone({"start", kViewer});
  EXPECT_EQ(Key(kViewerState), KeyValue("resume_focus"));
  EXPECT_EQ(Key(kBanners), KeyValue(""));
  AppDone({"start", kViewer, "banners=screen_ratio"});
  AppDone({"stop", kViewer});
  EXPECT_EQ(Key(kViewerState), KeyValue("pause"));
  EXPECT_EQ(Key(kBanners), KeyValue(""));
}

TEST_F(Applications, TheLauncherSaysThatItShowsSeveralPicturesOnlyInTheForeground) {
  AppDone({"start", kLauncher});
  EXPECT_EQ(Key(kMultiScreen), KeyValue(R"({"mode":"on"})"));
  AppDone({"state", kLauncher, "background"});
  EXPECT_EQ(Key(kMultiScreen), KeyValue(R"({"mode":"off"})"));
  AppDone({"state", kLauncher, "foreground"});
  EXPECT_EQ(Key(kMultiScreen), KeyValue(R"({"mode":"on"})"));
  AppDone({"stop", kLauncher});
  EXPECT_EQ(Key(kMultiScreen), KeyValue(R"({"mode":"off"})"));
}

}  // namespace
