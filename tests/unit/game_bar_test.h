#pragma once

#include <string>
#include <utility>
#include <vector>

#include "fixture.h"

// A test of the game bar automation over the fake platform. At its beginning the TV viewer is in
// front, no other application runs, several screens are not shown at once and the model launches
// the game bar by itself; a console on the first input is shown, and the game item is off. Sleeps
// are held. At its end every object of the automation is gone.
class GameBarTest : public fakes::FakePlatformTest {
 protected:
  GameBarTest();
  ~GameBarTest() override;

  // Shows the source, which has no preview before it.
  void ShowSource(int source);

  // Creates a singleton, if it is not there, and forgets the trace. The first two are called
  // "sourceDataManager" and "gameModeDataManager" in traces.
  void CreateSourceDataManager();
  void CreateGameModeDataManager();
  // With the state of the screen's rotation, where 1 allows the aim point.
  void CreateVAPManager(int rotation = 0);

  // Waits for the one worker that sleeps and ends its sleep.
  void EndSleep();
  // Waits for the end of the worker, which must not sleep again.
  void JoinSourceWorker();
  void JoinGameModeWorker();
  // Both.
  void FinishSourceWorker();
  void FinishGameModeWorker();

  static constexpr int kConsole = 13;
  static constexpr int kComputer = 14;
  static constexpr int kPlayer = 15;
  static constexpr int kTuner = 0;
};

// The applications and keys of the automation.
inline constexpr char kGameBar[] = "com.velmora.tv.gamebar";
inline constexpr char kViewer[] = "org.pavix.tv-viewer";
inline constexpr char kScreens[] = "com.velmora.tv.multiscreenlauncher";
inline constexpr char kForeign[] = "com.velmora.tv.csfs";
inline constexpr char kViewerState[] = "memory/tv-viewer/viewer_state";
inline constexpr char kBanners[] = "memory/tv-viewer/visible_banners";
inline constexpr char kScreensInfo[] = "memory/multiscreen/info";
inline constexpr char kDetection[] = "memory/detection/game";
inline constexpr char kBrightness[] = "memory/gamebar/launch_by_erbrightness";
inline constexpr char kAimStatus[] = "memory/menu/virtualaim/status";
inline constexpr char kAimType[] = "db/menu/virtualaim/aimtype";
inline constexpr char kAimStore[] = "db/menu/virtualaim/position";
inline constexpr char kRotation[] = "db/sysman/rotation_state";
inline constexpr char kLaunchType[] = "com.velmora/featureconf/game_bar.auto_launch_support_type";
inline constexpr char kShowsBrightness[] =
    "com.velmora/featureconf/oobe.show_energy_regulation_brightness";

// Where in an expected trace one text, which stands there once, is another.
using Differences = std::vector<std::pair<std::string, std::string>>;
std::string But(std::string trace, const Differences& differences,
                fakes::Place where = fakes::Place::Current());

// What functions leave in the trace, with the applications, keys and sources as they are at the
// beginning.

// CGameBarUtil: LaunchGameBarApp with its mode, TerminateGameBarApp, and the questions.
std::string LaunchTrace(const std::string& mode);
std::string TerminateTrace();
std::string MultiScreenTrace(const std::string& mode = "off");
std::string ViewerTrace(const std::string& state = "resume_focus", int status = 2);
std::string PopupTrace(const std::string& state = "resume_focus", const std::string& banners = "");
std::string AliveTrace(int status);
std::string RealGameModeTrace(int mode);

// GameBarVAPManager: its constructor on a turned screen; SetVAP on a turned screen; CloseVAP when
// there is nothing to close.
std::string CreateVAPTrace();
std::string RotatedTrace();
std::string AlreadyClosedTrace();

// CSourceDataManager: the list of sources read, and the source that is shown and the game item
// read.
std::string SourceListTrace();
std::string RefreshTrace(int gameItem, int source = 13, int sourceState = 1);
