// The game bar and the crosshair on a whole set: sources, power and keys change, and the daemon
// launches, ends and steers the game bar, which is a process of its own.

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <fstream>

#include "keystore/key_store.h"
#include "support/applications.h"
#include "system_test.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kGameBar[] = "com.velmora.tv.gamebar";
constexpr char kViewer[] = "org.pavix.tv-viewer";
constexpr char kAimStatus[] = "memory/menu/virtualaim/status";
constexpr char kAimPosition[] = "db/menu/virtualaim/position";
constexpr char kLaunch[] = "[GameBarService] Launch gamebar due to source change";

// A crosshair of type 2 for HDMI 1 and a picture that is wider than high.
constexpr char kAim[] = R"([{"s":13,"d":[{"rt":1,"as":1,"at":2,"ax":0.5,"ay":0.25}]}])";

// A set on which somebody is about to play: a console at HDMI 1, the picture's game item on, and
// the viewer in front.
class Automation : public testing::Test {
 protected:
  explicit Automation(const std::string& model = "full") : m_Set(model) {
    m_Set.StartDaemon();
    Setctl({"source", "add", "hdmi1", "PlayConsole Game Console", "--detected", "PC9"});
    Setctl({"game-item", "1"});
    Setctl({"app", "start", kViewer});
  }

  void Setctl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "setctl");
    const support::Outcome outcome = m_Set.Run(arguments);
    EXPECT_EQ(outcome.status, 0) << testing::PrintToString(arguments) << outcome.err;
  }

  std::optional<host::KeyValue> Key(const std::string& key) { return m_Keys.Get(key); }

  bool KeyBecomes(const std::string& key, const host::KeyValue& value) {
    return support::WaitUntil([&] { return Key(key) == value; });
  }

  std::vector<std::string> GameBarLog() { return support::ApplicationLog(m_Set.Root(), kGameBar); }

  int CountOf(const std::vector<std::string>& lines, const std::string& line) {
    return static_cast<int>(std::count(lines.begin(), lines.end(), line));
  }

  bool GameBarLogs(const std::string& line, int times = 1) {
    return support::WaitUntil([&] { return CountOf(GameBarLog(), line) == times; });
  }

  bool GameBarSaysLast(const std::string& line) {
    return support::WaitUntil([&] {
      const std::vector<std::string> lines = GameBarLog();
      return !lines.empty() && lines.back() == line;
    });
  }

  // How often the daemon logged it.
  int Logged(const std::string& message) {
    const std::vector<LogLine> lines = m_Set.LogLines();
    return static_cast<int>(std::count_if(
        lines.begin(), lines.end(), [&](const LogLine& line) { return line.message == message; }));
  }

  bool Logs(const std::string& message, int times) {
    return support::WaitUntil([&] { return Logged(message) == times; });
  }

  bool IsRunning(const std::string& id) {
    const support::Outcome outcome = m_Set.Run({"setctl", "app", "list", "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);) {
      if (line.find("\"" + id + "\"") != std::string::npos) {
        return line.find(R"("running":true)") != std::string::npos;
      }
    }
    return false;
  }

  // Switches to HDMI 1 where something forbids the game bar: the daemon says so, and the bar does
  // not come.
  void ExpectVeto(const std::string& message) {
    Setctl({"source", "switch", "hdmi1"});
    EXPECT_TRUE(m_Set.WaitForLog(message)) << message;
    EXPECT_FALSE(IsRunning(kGameBar));
  }

  // The same where the daemon does not even try to launch it. `message` is the last that it logs
  // then; with the next try it launches.
  void ExpectNoTry(const std::string& message) {
    ExpectVeto(message);
    EXPECT_EQ(Logged(kLaunch), 0);
  }

  TelevisionSet m_Set;
  host::KeyStore m_Keys{m_Set.Root() / "var/lib/settings-service",
                        m_Set.Root() / "run/settings-service"};
};

TEST_F(Automation, AConsoleBringsTheGameBarAndTheCrosshairAndTakesThemAlong) {
  Setctl({"key", "set", kAimPosition, kAim});
  Setctl({"source", "switch", "hdmi1"});
  EXPECT_TRUE(GameBarLogs("mode auto_source_change"));
  EXPECT_TRUE(KeyBecomes(kAimStatus, 1));
  EXPECT_TRUE(GameBarLogs("crosshair  -( )-  status 1, type 2"));
  EXPECT_EQ(Key("db/menu/virtualaim/aimtype"), host::KeyValue(2));

  Setctl({"rotate", "2"});
  EXPECT_TRUE(KeyBecomes(kAimStatus, 0));
  EXPECT_TRUE(GameBarSaysLast("no crosshair"));
  Setctl({"rotate", "1"});
  EXPECT_TRUE(GameBarSaysLast("crosshair  -( )-  status 1, type 2"));

  Setctl({"source", "remove", "hdmi1"});
  EXPECT_TRUE(GameBarLogs("mode Terminate"));
  EXPECT_TRUE(support::WaitUntil([&] { return !IsRunning(kGameBar); }));
}

TEST_F(Automation, TheGameBarIsLaunchedOncePerRealSource) {
  Setctl({"source", "add", "hdmi2", "Another Game Console"});
  Setctl({"source", "switch", "hdmi1"});
  ASSERT_TRUE(GameBarLogs("mode auto_source_change"));
  Setctl({"source", "switch", "hdmi1"});
  ASSERT_TRUE(m_Set.WaitForLog("[GameBarService] m_LaunchCount [1] > 0, return"));
  // A preview and its end are no other source.
  Setctl({"source", "preview", "hdmi2"});
  Setctl({"source", "preview", "none"});
  Setctl({"source", "switch", "hdmi1"});
  ASSERT_TRUE(Logs("[GameBarService] m_LaunchCount [1] > 0, return", 2));
  EXPECT_EQ(CountOf(GameBarLog(), "mode auto_source_change"), 1);

  Setctl({"source", "switch", "hdmi2"});
  EXPECT_TRUE(GameBarLogs("mode auto_source_change", 2));
}

TEST_F(Automation, AKilledGameBarComesBackInTheBackground) {
  Setctl({"source", "switch", "hdmi1"});
  ASSERT_TRUE(GameBarLogs("mode auto_source_change"));
  Setctl({"app", "stop", kGameBar, "--kill"});
  Setctl({"source", "switch", "hdmi1"});
  EXPECT_TRUE(GameBarLogs("mode auto_background"));
  EXPECT_EQ(CountOf(GameBarLog(), "mode auto_source_change"), 1);
}

TEST_F(Automation, TheFirstUseSetupsRequestIsConsumed) {
  Setctl({"source", "switch", "hdmi1"});
  ASSERT_TRUE(GameBarLogs("mode auto_source_change"));
  Setctl({"key", "set", "memory/gamebar/launch_by_erbrightness", "1"});
  EXPECT_TRUE(GameBarLogs("mode auto_game_item_on"));
  EXPECT_TRUE(KeyBecomes("memory/gamebar/launch_by_erbrightness", 0));
}

TEST_F(Automation, AForeignApplicationInFrontKeepsTheGameBarAway) {
  Setctl({"app", "start", "com.velmora.tv.csfs"});
  ExpectVeto(
      "[GameBarService]  CSFS or MultiScreenLauncher is Running, Gamebar app can not be launched!");
}

TEST_F(Automation, AForeignApplicationInTheBackgroundDoesNot) {
  Setctl({"app", "start", "com.velmora.tv.csfs"});
  Setctl({"app", "state", "com.velmora.tv.csfs", "background"});
  Setctl({"source", "switch", "hdmi1"});
  EXPECT_TRUE(GameBarLogs("mode auto_source_change"));
}

TEST_F(Automation, TheMultiScreenViewKeepsTheGameBarAndTheCrosshairAway) {
  Setctl({"key", "set", kAimPosition, kAim});
  Setctl({"app", "start", "com.velmora.tv.multiscreenlauncher"});
  ExpectVeto(
      "[GameBarService]  MultiScreen is Showing, Gamebar app can not be launched in this case!");
  EXPECT_TRUE(m_Set.WaitForLog(
      "[GameBarService]  MultiScreen is Showing, virtual aim point can not be showing in this "
      "case!"));
  EXPECT_NE(Key(kAimStatus), host::KeyValue(1));
}

TEST_F(Automation, AViewerThatIsNotInFrontKeepsTheGameBarAway) {
  Setctl({"app", "state", kViewer, "background"});
  ExpectNoTry("[GameBarService] tv-viewer state: pause, 4");
  Setctl({"app", "state", kViewer, "visible"});
  Setctl({"source", "switch", "hdmi1"});
  EXPECT_TRUE(GameBarLogs("mode auto_source_change"));
}

TEST_F(Automation, ABannerAboutTheDisplayModeKeepsTheGameBarAway) {
  Setctl({"app", "start", kViewer, "banners=screen_ratio"});
  ExpectNoTry("[GameBarService] tv-viewer state / visible banner: resume_focus, screen_ratio");
}

TEST_F(Automation, AViewerKeyThatHoldsNoTextEndsNeitherTheDaemonNorTheNextTry) {
  Setctl({"key", "set", "memory/tv-viewer/viewer_state", "5", "--int"});
  Setctl({"source", "switch", "hdmi1"});
  ASSERT_TRUE(support::WaitUntil([&] {
    return m_Set.LogText().find("basic_string::_M_construct null not valid") != std::string::npos;
  }));
  Setctl({"app", "state", kViewer, "background"});
  Setctl({"app", "state", kViewer, "foreground"});
  Setctl({"source", "switch", "hdmi1"});
  EXPECT_TRUE(GameBarLogs("mode auto_source_change"));
}

// The full model with another value for one feature; the path of its file without ".json".
std::string ModelWith(const std::string& feature, const std::string& value) {
  static const support::TempDirectory directory;
  std::string model = support::ReadFile(SETTINGS_DATA_DIRECTORY "/models/full.json");
  const std::string member = "\"com.velmora/featureconf/" + feature + "\": ";
  const std::size_t begin = model.find(member) + member.size();
  model.replace(begin, model.find_first_of(",\n}", begin) - begin, value);
  std::ofstream(directory / (feature + ".json")) << model;
  return directory / feature;
}

// A set whose first use has no step for the energy regulation.
class WithoutBrightnessStep : public Automation {
 protected:
  WithoutBrightnessStep()
      : Automation(ModelWith("oobe.show_energy_regulation_brightness", "false")) {}
};

TEST_F(WithoutBrightnessStep, TheGameModeAloneBringsTheGameBarInAModeOfItsOwn) {
  Setctl({"source", "switch", "hdmi1"});
  ASSERT_TRUE(GameBarLogs("mode auto_source_change"));
  Setctl({"game-item", "2"});
  Setctl({"game-mode", "1"});
  EXPECT_TRUE(GameBarLogs("mode auto_internal_game_mode_on"));
}

TEST_F(Automation, TheGameBarComesBackWhenTheSetIsSwitchedOn) {
  for (const auto& [name, delay] : {std::pair{"Game Console", milliseconds(2500)},
                                    std::pair{"PlayStation 5", milliseconds(5000)}}) {
    Setctl({"source", "rename", "hdmi1", name});
    Setctl({"source", "switch", "hdmi1"});
    ASSERT_TRUE(m_Set.WaitForLog(std::string("[GameBarService] deviceDetectName: PC9 | "
                                             "deviceEditName: ") +
                                 name));
    const int before = Logged("[GameBarService] Launch gamebar due to soft power off/on");
    Setctl({"power", "off"});
    const auto start = steady_clock::now();
    Setctl({"power", "on"});
    ASSERT_TRUE(Logs("[GameBarService] Launch gamebar due to soft power off/on", before + 1));
    EXPECT_GE(steady_clock::now() - start, delay) << name;
  }
  EXPECT_EQ(Logged("[GameBarService] PlayStation detect!"), 1);
}

TEST_F(Automation, APictureThatComesBackIsNotTheSetThatDoes) {
  Setctl({"power", "picture-off"});
  Setctl({"power", "on"});
  EXPECT_TRUE(m_Set.WaitForLog("[GameBarService] power resume from picture off, ignore!"));
}

TEST_F(Automation, SourcesThatGoTakeTheirAimPointsAlong) {
  Setctl({"source", "add", "hdmi2", "Computer"});
  Setctl({"key", "set", kAimPosition, R"([{"s":13,"d":[]},{"s":14,"d":[]}])"});
  ASSERT_TRUE(m_Set.WaitForLog("[GameBarService] VAP data=[source=13, source=14, ]"));
  Setctl({"source", "remove", "hdmi2"});
  EXPECT_TRUE(KeyBecomes(kAimPosition, "[{\"d\":[],\"s\":13}]\n"));
  Setctl({"source", "remove", "hdmi1"});
  EXPECT_TRUE(KeyBecomes(kAimPosition, "null\n"));
}

// --- Everything at once.

std::size_t ThreadCount(pid_t pid) {
  return std::distance(
      std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task"), {});
}

// Runs commands again and again for a while.
std::vector<std::string> Repeating(const std::string& commands) {
  return {"sh", "-c",
          "end=$(($(date +%s) + " + std::to_string(SETTINGS_STORM_SECONDS) +
              ")); while [ \"$(date +%s)\" -lt \"$end\" ]; do " + commands + "; done"};
}

TEST_F(Automation, SurvivesEverythingAtOnceAndAllWorkersEnd) {
  ASSERT_TRUE(m_Set.WaitForLog("Outdoor supported[0]"));
  const std::size_t threadsWithoutWorkers = ThreadCount(m_Set.Daemon().Pid());
  Setctl({"source", "add", "hdmi2", "Computer"});
  Setctl({"source", "switch", "hdmi1"});
  ASSERT_TRUE(GameBarLogs("mode auto_source_change"));
  {
    std::vector<std::unique_ptr<support::Process>> storm;
    for (const char* commands : {
             "setctl source switch hdmi1; setctl source signal 27; setctl source switch hdmi2; "
             "setctl source remove hdmi2; setctl source add hdmi2 Computer; sleep 1",
             "setctl game-item 1; setctl game-mode 1; setctl game-item 2; setctl game-mode 0; "
             "setctl game-item 0; sleep 1",
             "setctl power off; setctl power on; setctl rotate 2; setctl rotate 1; sleep 4",
             R"(setctl key set db/menu/virtualaim/position '[{"s":13,"d":[{"rt":1,"as":1}]}]'; )"
             "setctl key set db/menu/virtualaim/position '[[[' --string; "
             R"(setctl key set db/menu/virtualaim/position '[{"s":14,"d":[{"rt":1,"as":2}]}]'; )"
             "setctl key set db/menu/virtualaim/position '[]' --string",
         }) {
      storm.push_back(std::make_unique<support::Process>(Repeating(commands), m_Set.Variables(),
                                                         support::Files{}));
    }
    for (const auto& process : storm) {
      EXPECT_EQ(process->Wait(std::chrono::seconds(SETTINGS_STORM_SECONDS) + support::kPatience),
                0);
    }
  }
  EXPECT_EQ(m_Set.Run({"settingsctl", "get", "picturemode"}).out, "standard (Standard)\n");
  std::size_t threads = 0;
  EXPECT_TRUE(support::WaitUntil(
      [&] { return (threads = ThreadCount(m_Set.Daemon().Pid())) <= threadsWithoutWorkers; },
      support::kPatience * 3))
      << threads << " threads, " << threadsWithoutWorkers << " without workers";
  EXPECT_EQ(m_Set.EndDaemon(), 0);
}

}  // namespace
