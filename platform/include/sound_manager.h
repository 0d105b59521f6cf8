#pragma once

// The television's sound outputs; the numbers are the platform's own.
enum sound_tv_output_route_e : int {};

// An exception that leaves it goes no further: the platform logs it.
typedef void (*sound_speaker_changed_cb)(sound_tv_output_route_e route, void* user_data);

extern "C" {

// From now on calls `callback` on the main loop whenever the active speaker changes. One
// callback per process: a second call replaces the first. `user_data` is passed through.
// Returns 0, or a non-zero error code when nothing was registered; the callback before it stays
// then. Main-loop thread only.
int sound_manager_set_speaker_changed_cb(sound_speaker_changed_cb callback, void* user_data);

}  // extern "C"
