#pragma once

#include <json/json.h>

#include "items/item_library.h"

namespace host {

// What an item of the library's catalogue is, beside what the settings data library says: its kind,
// whether its value is a preview and what it is without, and the names of all its values
// (docs/wire.md, Describe). Throws InputFailure when the key store cannot be read.
Json::Value Describe(const ItemLibrary& library, const Item& item);

}  // namespace host
