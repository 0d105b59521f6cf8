#pragma once

#include <json/json.h>

#include "items/item_library.h"

namespace host {

// Whether an item of the library's catalogue is visible and enabled, and every reason why it or a
// group above it is not (docs/wire.md, Explain). Throws InputFailure when the key store cannot be
// read.
Json::Value Explain(const ItemLibrary& library, const Item& item);

}  // namespace host
