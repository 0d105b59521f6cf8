#pragma once

// Asking the platform to launch an application, or to hand a running one a new request.

typedef struct app_control_s* app_control_h;

// Reserved for the reply of a launched application; `reply` is valid during the call only. An
// exception must not leave it.
typedef void (*app_control_reply_cb)(app_control_h request, app_control_h reply, int result,
                                     void* user_data);

extern "C" {

// All functions return 0 for success and a non-zero error code for failure, and may be called
// from any thread; one handle is used by one thread at a time. A null handle is an error. After any
// other failure a request is what it was before the call: it may be used on and is still to be
// released.

// Returns an empty request in `*control`, which the caller releases with app_control_destroy. A
// failure sets `*control` to null.
int app_control_create(app_control_h* control);

// The application to be launched, by its application ID. Copied.
int app_control_set_app_id(app_control_h control, const char* app_id);

// Extra data for the application; copied. A second value for the same key replaces the first.
int app_control_add_extra_data(app_control_h control, const char* key, const char* value);

// Hands the request to the platform: the application is started if it is not running, and gets the
// extra data either way. Returns without waiting for the application. `callback` may be null.
int app_control_send_launch_request(app_control_h control, app_control_reply_cb callback,
                                    void* user_data);

int app_control_destroy(app_control_h control);

}  // extern "C"
