#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "keystore/key_store.h"

// How setctl reads and prints keys and values.
namespace setctl {

// How a value on the command line is stored.
enum class ValueType { kByText, kInt, kString };

// By default a value is an integer if it is written as one is printed, unless the key already holds
// a string (`held`). Throws tools::Failure (wrong usage) when an integer is wanted but not given,
// or does not fit in 32 bits.
host::KeyValue ParseValue(const std::string& text, ValueType type,
                          const std::optional<host::KeyValue>& held);

// Throw tools::Failure (wrong usage) unless the store accepts the key, or could hold a key that
// begins with the prefix.
void CheckKey(const std::string& key);
void CheckPrefix(const std::string& prefix);

// The value alone; a string without quotes.
std::string ValueText(const host::KeyValue& value);

// `db/menu/x = 5`, `db/menu/y = "text"`, and `db/menu/z removed` when there is no value.
std::string KeyText(const std::string& key, const std::optional<host::KeyValue>& value);

// {"key":"db/menu/x","value":5}; null when there is no value. The other begins with "time".
std::string KeyJson(const std::string& key, const std::optional<host::KeyValue>& value);
std::string KeyJson(const std::string& time, const std::string& key,
                    const std::optional<host::KeyValue>& value);

}  // namespace setctl
