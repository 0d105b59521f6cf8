#pragma once

#include <json/json.h>

#include <memory>
#include <optional>
#include <string>

// The value that a JSON text holds; nothing when the text is not JSON. Throws Json::Exception when
// it is nested too deeply.
inline std::optional<Json::Value> ParseJsonText(const std::string& text) {
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  Json::Value root;
  std::string errors;
  if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors) || !errors.empty()) {
    return std::nullopt;
  }
  return root;
}
