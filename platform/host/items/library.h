#pragma once

#include "items/item_library.h"

namespace host {

// The library of this process, over its key store and the model of its set. For the calls of the
// platform only: everything else is handed what it needs.
ItemLibrary& Library();

}  // namespace host
