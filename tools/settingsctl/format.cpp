#include "settingsctl/format.h"

#include <fmt/format.h>

#include "base/json.h"
#include "text.h"

namespace settingsctl {

using tools::Escape;

std::string ValueText(const std::string& value, const std::string& name) {
  if (name.empty() || name == value) {
    return Escape(value);
  }
  return fmt::format("{} ({})", Escape(value), Escape(name));
}

std::string RangeText(const settings::Range& range) {
  return fmt::format("{} to {}, step {}", range.min, range.max, range.step);
}

std::string ReplyText(const Json::Value& body) {
  std::string text;
  for (const std::string& name : body.getMemberNames()) {
    text += fmt::format("{}{}: {}", text.empty() ? "" : "\n", Escape(name),
                        Escape(base::WriteJson(body[name])));
  }
  return text;
}

std::string SignalText(const std::string& time, const settings::Signal& signal) {
  return fmt::format("{} {} {} {}", time, Escape(signal.sender), signal.type, Escape(signal.body));
}

std::string SignalJson(const std::string& time, const settings::Signal& signal) {
  return tools::JsonLine({{"time", time},
                          {"sender", signal.sender},
                          {"name", signal.name},
                          {"type", signal.type},
                          {"body", base::TryParseJson(signal.body).value_or(signal.body)}});
}

}  // namespace settingsctl
