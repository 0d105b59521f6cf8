#pragma once

#include <type_traits>

#include "system/outlives_exit.h"

namespace host {

// Parts of the host, declared where they belong: here they have names and no more.
class Log;
struct Environment;
struct Model;
struct RemainingEvents;

// All that the host has once in a process; nothing else in it is a variable of a namespace, a class
// or a function. A part comes after those that it needs, and is reached through the function that
// its own header declares.
//
// The functions of platform/include lead here in programs without AppMain, too, and in threads that
// go on when it has returned. So the host is here before main and after exit, and its parts are
// made when somebody needs them.
struct Host {
  OutlivesExit<Log> log;
  OutlivesExit<Environment> environment;
  OutlivesExit<Model> model;
  OutlivesExit<RemainingEvents> remainingEvents;
};

static_assert(std::is_trivially_destructible_v<Host>);

inline constinit Host g_Host;

// What each thread has once.
struct HostThread {
  int logHolds = 0;
};

inline thread_local constinit HostThread t_Host;

}  // namespace host
