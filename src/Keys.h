#pragma once

// The configuration keys that the daemon reads, writes and watches.

inline constexpr char kLanguageKey[] = "db/menu_widget/language";

// The state of the general reset, and how often the set was reset to what it left the factory with.
inline constexpr char kGeneralResetKey[] = "memory/menu/general/reset/progressing";
inline constexpr char kFactoryResetCountKey[] = "db/factory/factory_reset_count";

// Auto power off, in the menu and as the set is to act.
inline constexpr char kAutoPowerOffKey[] = "db/menu/auto_power_off";
inline constexpr char kEcoAutoPowerOffKey[] = "db/menu/system/eco_solution/auto_power_off";

// The library's record of disabled items, and the order to show the menu anew.
inline constexpr char kDisabledItemsKey[] = "memory/menu/disabled_items";
inline constexpr char kRefreshMenuKey[] = "db/menu/refresh_menu";

inline constexpr char kViewerStateKey[] = "memory/tv-viewer/viewer_state";
inline constexpr char kVisibleBannersKey[] = "memory/tv-viewer/visible_banners";
inline constexpr char kMultiScreenKey[] = "memory/multiscreen/info";
inline constexpr char kGameDetectionKey[] = "memory/detection/game";
inline constexpr char kLaunchByERBrightnessKey[] = "memory/gamebar/launch_by_erbrightness";

// The store of the aim points, what is shown of them, and the rotation of the screen.
inline constexpr char kAimPositionKey[] = "db/menu/virtualaim/position";
inline constexpr char kAimStatusKey[] = "memory/menu/virtualaim/status";
inline constexpr char kAimTypeKey[] = "db/menu/virtualaim/aimtype";
inline constexpr char kRotationKey[] = "db/sysman/rotation_state";

// 1 while the protection mode is on.
inline constexpr char kProtectionKey[] = "memory/ave/protection";
