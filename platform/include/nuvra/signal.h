#pragma once

#include "nuvra/message.h"

namespace Nuvra {

// Broadcasts `message` (body and type, copied) from the service `serviceName` under
// `signalName` to everybody who listens (docs/wire.md). Does not wait for receivers. Main-loop
// thread only. Returns false when an argument is null or the message could not be handed to
// the bus; nothing was sent then.
bool SendSignal(const char* serviceName, const char* signalName, const TCMessage* message);

}  // namespace Nuvra
