#pragma once

#include "nuvra/daemon_service.h"

namespace Nuvra {

// Runs the main loop around `service` and returns the exit status of the process: reads the
// platform's own command-line options, makes the service reachable under its name, then calls
// t_OnPrepare, t_OnCreate, IfMessageReceived for every request, and t_OnTerminate at the end.
// `service` stays the caller's and must live until the process ends. Call once, from the main
// thread. docs/lifecycle.md lists the exit statuses.
int AppMain(int argc, char** argv, TCDaemonService* service);

}  // namespace Nuvra
