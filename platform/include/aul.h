#pragma once

extern "C" {

// State of the application with that ID: 0 or a positive state number, of which 2 and 3 mean that
// it is visible (with and without the focus), 4 that it runs in the background, 5 that it is ending
// and 9 that it has ended. Negative when the application is not running or its state is unknown.
// Any thread; does not wait for the application.
int aul_app_get_status(const char* app_id);

}  // extern "C"
