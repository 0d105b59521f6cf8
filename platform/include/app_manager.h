#pragma once

// Watching the applications of the set come and go. Main-loop thread only.

typedef struct app_context_s app_context_s;
typedef app_context_s* app_context_h;

enum app_context_event_e {
  APP_CONTEXT_EVENT_LAUNCHED = 0,
  APP_CONTEXT_EVENT_TERMINATED = 1,
};

// `context` is valid during the call only. An exception that leaves it ends this call only: the
// platform logs it, and the events behind it still come.
typedef void (*app_context_event_cb)(app_context_h context, app_context_event_e event,
                                     void* user_data);

extern "C" {

// From now on calls `callback` on the main loop for every application that starts or ends, in the
// order in which that happened, and in one order with the requests to the service of this process:
// the end of an application comes after all its requests, and before all requests of a later
// instance of it. While a request is served, everything that happened since it was sent is still to
// come, even for a callback that is set only now. One callback per process: a second call replaces
// the first. Returns 0, or a non-zero error code when nothing was registered, as for a null
// callback; the previous callback then stays.
int app_manager_set_app_context_event_cb(app_context_event_cb callback, void* user_data);

// No calls follow. Harmless when no callback is registered.
void app_manager_unset_app_context_event_cb();

// Returns the application ID in `*app_id`, which the caller releases with free(). Returns 0, or a
// non-zero error code, `*app_id` untouched; the context may be asked again.
int app_context_get_app_id(app_context_h context, char** app_id);

}  // extern "C"
