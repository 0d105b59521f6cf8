#pragma once

#include <sys/types.h>

extern "C" {

// Registers process `pid` as `name`, so that callers waiting for it lend it their CPU priority. A
// later call with the same name replaces the process. Returns 0, or a negative number when nothing
// was registered. Any thread.
int resource_register_cpu_inheritance_destination(const char* name, pid_t pid);

}  // extern "C"
