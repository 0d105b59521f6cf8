#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "items/inputs.h"
#include "keystore/key_value.h"

// Keys and features in memory, to be looked into.
class MemoryInputs : public host::Inputs {
 public:
  std::optional<int> Number(const std::string& key) const override { return Find<int>(keys, key); }
  std::optional<std::string> Text(const std::string& key) const override {
    return Find<std::string>(keys, key);
  }
  bool WriteNumber(const std::string& key, int number) override {
    keys[key] = number;
    return true;
  }
  bool WriteText(const std::string& key, const std::string& text) override {
    keys[key] = text;
    return true;
  }
  std::optional<bool> BoolFeature(const std::string& feature) const override {
    return Find<bool>(features, feature);
  }
  std::optional<int> IntFeature(const std::string& feature) const override {
    return Find<int>(features, feature);
  }

  std::map<std::string, host::KeyValue> keys;
  std::map<std::string, std::variant<bool, int>> features;

 private:
  template <typename Type, typename Values>
  static std::optional<Type> Find(const Values& values, const std::string& name) {
    const auto found = values.find(name);
    return found != values.end() && std::holds_alternative<Type>(found->second)
               ? std::optional(std::get<Type>(found->second))
               : std::nullopt;
  }
};
