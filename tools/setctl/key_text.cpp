#include "setctl/key_text.h"

#include <fmt/format.h>

#include <cstdint>
#include <system_error>

#include "base/json.h"
#include "base/number.h"
#include "common.h"
#include "text.h"

namespace setctl {
namespace {

using host::KeyValue;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

constexpr std::string_view kStores[] = {"db/", "memory/"};

// Written as an integer is printed: without leading zeros, which would be lost.
bool IsCanonical(const std::string& text) {
  const std::size_t first = text.rfind('-', 0) == 0 ? 1 : 0;
  return text == "0" || (text.size() > first && text[first] != '0');
}

Json::Value JsonOf(const std::optional<KeyValue>& value) {
  if (!value) {
    return Json::nullValue;
  }
  return std::visit([](const auto& held) { return Json::Value(held); }, *value);
}

}  // namespace

KeyValue ParseValue(const std::string& text, ValueType type, const std::optional<KeyValue>& held) {
  const bool holdsString = held && std::holds_alternative<std::string>(*held);
  std::int32_t number = 0;
  const std::errc error = base::ReadWhole(text, number);
  const bool isString =
      type == ValueType::kString ||
      (type == ValueType::kByText &&
       (holdsString || error == std::errc::invalid_argument || !IsCanonical(text)));
  if (isString) {
    return text;
  }
  if (error == std::errc::result_out_of_range) {
    throw Failure(
        ExitCode::kUsage,
        fmt::format("{} does not fit in 32 bits; use --string to store it as text", Quote(text)));
  }
  if (error != std::errc()) {
    throw Failure(ExitCode::kUsage,
                  Quote(text) + " is not an integer; leave out --int to store it as text");
  }
  return number;
}

void CheckKey(const std::string& key) {
  if (!host::IsValidKey(key)) {
    throw Failure(ExitCode::kUsage,
                  Quote(key) +
                      " is not a valid key: keys begin with db/ or memory/, have no empty part "
                      "and no control characters, and are at most 255 bytes long");
  }
}

void CheckPrefix(const std::string& prefix) {
  for (const std::string_view store : kStores) {
    const std::size_t common = std::min(store.size(), prefix.size());
    if (store.substr(0, common) == std::string_view(prefix).substr(0, common)) {
      return;
    }
  }
  throw Failure(ExitCode::kUsage,
                "no key begins with " + Quote(prefix) + ": keys begin with db/ or memory/");
}

std::string ValueText(const KeyValue& value) {
  const std::string* text = std::get_if<std::string>(&value);
  return text != nullptr ? tools::Escape(*text) : std::to_string(std::get<int>(value));
}

std::string KeyText(const std::string& key, const std::optional<KeyValue>& value) {
  return value ? fmt::format("{} = {}", tools::Escape(key),
                             tools::Escape(base::WriteJson(JsonOf(value))))
               : fmt::format("{} removed", tools::Escape(key));
}

std::string KeyJson(const std::string& key, const std::optional<KeyValue>& value) {
  return tools::JsonLine({{"key", key}, {"value", JsonOf(value)}});
}

std::string KeyJson(const std::string& time, const std::string& key,
                    const std::optional<KeyValue>& value) {
  return tools::JsonLine({{"time", time}, {"key", key}, {"value", JsonOf(value)}});
}

}  // namespace setctl
