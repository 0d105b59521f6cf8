#pragma once

// The game functions of the set's audio and video output control. Any thread.

// Called on a thread of the library, one call at a time, in the order of the changes. `reserved` is
// null; `value` is the new value of the named setting. An exception must not leave it.
typedef void (*ormu_notification_cb)(void* reserved, int value, void* user_data);

extern "C" {

// The picture's game item: 1 on, 2 a second game state, other values off. `output` is 0 for the
// main output, `profile` 1 for the main picture. Returns 0, or another number and `*value`
// untouched.
int ormu_get_game_mode(int output, int profile, int* value);

// Whether the game mode is in effect: 1 on, 0 off. As above.
int ormu_get_real_game_mode(int profile, int* value);

// From now on calls `callback` for every notification of that name: "picture-setting-period" (0
// when the picture settings of a new source are done), "game-item-changed" and
// "game-mode-changed". Returns the registration's number, above 0; 0 when nothing was registered.
int ormu_register_callback_id(const char* name, ormu_notification_cb callback, void* user_data);

// Ends a registration. A call that has begun may still be running when this returns. Returns 0, or
// another number when there is no such registration.
int ormu_unregister_callback_id(int id);

}  // extern "C"
