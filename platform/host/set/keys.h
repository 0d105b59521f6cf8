#pragma once

// The keys of the virtual set (docs/virtual-set.md): its state, and events as writes of a number.
namespace host {

inline constexpr char kSetPrefix[] = "memory/set/";

inline constexpr char kSourcesKey[] = "memory/set/sources";
inline constexpr char kSourceEventKey[] = "memory/set/source/event";
inline constexpr char kCurrentSourceKey[] = "memory/set/source/current";
inline constexpr char kPreviewKey[] = "memory/set/source/preview";
inline constexpr char kSourceStateKey[] = "memory/set/source/state";
inline constexpr char kSourceTypeKey[] = "memory/set/source/type";
inline constexpr char kSignalKey[] = "memory/set/signal";
inline constexpr char kWindowKey[] = "memory/set/window";
inline constexpr char kGameItemKey[] = "memory/set/game_item";
inline constexpr char kGameModeKey[] = "memory/set/game_mode";
inline constexpr char kPictureSettingKey[] = "memory/set/picture_setting";
inline constexpr char kPowerKey[] = "memory/set/power";
inline constexpr char kSpeakerKey[] = "memory/set/speaker";
inline constexpr char kNetworkSpeakersKey[] = "memory/set/network_speakers";

inline constexpr char kViewerPrefix[] = "memory/tv-viewer/";
inline constexpr char kViewerStateKey[] = "memory/tv-viewer/viewer_state";
inline constexpr char kVisibleBannersKey[] = "memory/tv-viewer/visible_banners";
inline constexpr char kRotationKey[] = "db/sysman/rotation_state";
inline constexpr char kFactoryResetCountKey[] = "db/factory/factory_reset_count";
inline constexpr char kGeneralResetKey[] = "memory/menu/general/reset/progressing";
inline constexpr char kProtectionKey[] = "memory/ave/protection";
inline constexpr char kLanguageKey[] = "db/menu_widget/language";
inline constexpr char kDisabledItemsKey[] = "memory/menu/disabled_items";
inline constexpr char kRefreshMenuKey[] = "db/menu/refresh_menu";
inline constexpr char kMultiScreenKey[] = "memory/multiscreen/info";
inline constexpr char kGameDetectionKey[] = "memory/detection/game";
inline constexpr char kLaunchByERBrightnessKey[] = "memory/gamebar/launch_by_erbrightness";

// In kPreviewKey.
inline constexpr int kNoPreview = -1;

// In kSourceStateKey.
inline constexpr int kPictureShown = 1;

// In kPictureSettingKey.
inline constexpr int kPictureSettingDone = 0;

// In kPowerKey.
inline constexpr int kPowerOn = 0;
inline constexpr int kPowerPictureOff = 1;
inline constexpr int kPowerOff = 2;

}  // namespace host
