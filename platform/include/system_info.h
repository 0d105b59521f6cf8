#pragma once

// The features of the model: fixed while the set runs. Both functions may be called from any
// thread and return 0 for success. A missing key, a key of another type or an unreadable model
// returns a non-zero error code and leaves `*value` untouched.

extern "C" {

int system_info_get_custom_bool(const char* key, bool* value);
int system_info_get_custom_int(const char* key, int* value);

}  // extern "C"
