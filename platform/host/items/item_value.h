#pragma once

#include "items/item.h"

namespace host {

// The value of an item in the key store (docs/items.md). `item` has a value. Main-loop thread
// only.

// The value in effect: what is previewed, otherwise what the item follows, otherwise what is
// stored, otherwise the default. A text or number in the store that is none of the item's
// values counts as not there.
ValuePosition CurrentValue(const Item& item);

// Stores a value for good and ends a preview. False, and logged, when the key store failed; the
// value was not stored then.
bool StoreValue(const Item& item, ValuePosition position);

// Shows a value until the next StoreValue, at most until the set restarts. False, and logged,
// when the key store failed.
bool PreviewValue(const Item& item, ValuePosition position);

}  // namespace host
