#pragma once

#include <string>

// What a launch of the game bar is due to.
enum game_bar_launch_mode_e : int {
  GAME_BAR_FOR_GAME_MODE = 1,
  GAME_BAR_FOR_GAME_ITEM = 2,
  GAME_BAR_FOR_SOURCE = 3,
  GAME_BAR_IN_BACKGROUND = 4,
};

// What the automation does to other applications and asks about them: whether the game bar may be
// launched, how it is launched and ended (docs/game-bar.md). No state. Any thread, several at once.
//
// A failed platform call is logged and gives the value named here. A "mode" of the multi-screen
// view that has no text leaves as Json::Exception, from LaunchGameBarApp too.
class CGameBarUtil {
 public:
  // Launches the game bar unless something forbids it. `mode` is a game_bar_launch_mode_e. For any
  // other number nothing is sent, and the launch request that was created is kept.
  static void LaunchGameBarApp(int mode);

  // Asks the game bar to end itself. Nothing forbids that.
  static void TerminateGameBarApp();

  // What the model allows: 0 never launch; 100 when it does not say.
  static int GetAutoLaunchType();

  // Whether what "memory/detection/game" holds is a game.
  static bool CheckGameVconf(int value);

  // Whether the TV viewer has the focus and shows its popup of display modes, and whether it can be
  // seen. Throw std::logic_error when a key of the viewer is missing.
  static bool IsFocusOnDisplayModePopup();
  static bool IsTVViewerResume();

  // From the states of the applications.
  static bool IsGameBarAlive();
  static bool IsMultiScreenLauncherRunning();
  static bool IsCSFSRunning();

  // Whether the game mode is in effect; false when that is not known.
  static bool isGameModeOn();

  // The picture's game item; 0 when it is not known.
  static int GetGameModeValue();

  // "on" while the multi-screen view shows; "" when it never did, "error" when its key holds no
  // JSON.
  static std::string GetMultiScreenStatus();

  // The text of member `key` of the JSON object; "" when it has none, "error" when `json` is not
  // JSON. Throws Json::Exception when the member has no text or `json` is not an object.
  static std::string ParseJsonVal(const std::string& json, const std::string& key);
};
