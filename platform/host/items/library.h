#pragma once

#include "items/item_library.h"

namespace host {

// The library of this process, over its key store and the model of its set. For the platform's
// functions only: everything else is passed what it needs.
ItemLibrary& Library();

}  // namespace host
