#pragma once

// The power state of the set. The numbers are the platform's: 0 is on, 1 is on with the picture
// off, any other is off.
struct _device_power_state_info {
  int previous_state;
  int current_state;
};

// Called on a thread of the service after every change, one call at a time, in their order. `info`
// is valid during the call only. An exception must not leave it.
typedef void (*device_power_state_changed_cb)(_device_power_state_info* info, void* user_data);

extern "C" {

// Any thread. From now on calls `callback`; a second call with the same one replaces its
// `user_data`. Returns 0, or another number when nothing was subscribed; what was before stays
// then.
int device_power_subscribe_state_changed_event(device_power_state_changed_cb callback,
                                               void* user_data);

// Ends the subscription. A call that has begun may still be running when this returns. Returns 0,
// or another number when `callback` was not subscribed.
int device_power_unsubscribe_state_changed_event(device_power_state_changed_cb callback);

}  // extern "C"
