#pragma once

#include "nuvra/event_io.h"
#include "nuvra/message.h"

namespace Nuvra {

// What the main loop calls in a program, always on the main-loop thread and never two at once.
// The order of the virtual functions is part of the contract: a service and the framework may
// come from different builds, so a new hook goes to the end of the list. An exception that leaves
// one goes no further: the platform logs it.
class TCApplication {
 public:
  virtual ~TCApplication();

  // May redirect a message to another event-IO. The default leaves `eventIO` alone and returns
  // false: the message is not transferred.
  virtual bool IfTransferMessage(const char* sender, const TCMessage* message, TCEventIO*& eventIO);

  // One request. `sender` is the bus name of the client; `reply` starts with an empty body and
  // is sent when the function returns true. All four belong to the framework and are valid
  // during the call only. False, or an exception, is answered with an error (docs/wire.md). The
  // default returns false.
  virtual bool IfMessageReceived(const char* sender, const TCMessage* request, TCMessage* reply,
                                 const char* option);

  // The reply to a message that this program sent. The default does nothing.
  virtual void IfMessageReplied(const char* sender, const TCMessage* reply);

  // Before t_OnCreate. An exception ends the program with exit status 1. The default does nothing.
  virtual void t_OnPrepare();

  // Once, before the first request. False, or an exception, ends the program with exit status 1;
  // t_OnTerminate is not called then. The default returns true.
  virtual bool t_OnCreate();

  virtual void t_OnService();
  virtual void t_OnPause();
  virtual void t_OnResume();

  // Once, after the last request, at a regular end of the main loop.
  virtual void t_OnTerminate();

  virtual void t_OnLangChanged();
};

}  // namespace Nuvra
