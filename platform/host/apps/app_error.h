#pragma once

#include "base/error.h"

namespace host {

// Why an application is not started, ended or asked. The subject is the ID of the application, or
// the name of the bus for errors that concern the bus.
enum class AppErrorKind {
  kNotAnId,       // given in place of an application's ID; nothing was sent
  kNotText,       // an extra datum is not UTF-8
  kNotInstalled,  // it neither runs nor can be started
  kNotRunning,    // it is installed, but must run for what was asked
  kCannotStart,   // the bus could not run its program
  kNoName,        // its program was started and did not take the application's name in time
  kNoAnswer,      // it runs and did not answer in time
  kNoEnd,         // it was told to end and still runs
  kEnded,         // it ended before it answered
  kRefused,       // it said no, or cannot be asked
  kNotAllowed,    // this user may not ask it, end it or connect to the bus
  kNoBus,         // the bus cannot be connected to
  kBusLost,       // the connection has ended
  kBusSilent,     // the bus did not answer in time
};
using AppError = base::Error<AppErrorKind>;

}  // namespace host
