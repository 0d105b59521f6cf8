#include "support/message_reader.h"

#include <string_view>

#include "bus/bus.h"

namespace apps {
namespace {

int Check(int result) { return bus::Check(result, "cannot read the arguments"); }

// The text in a variant; nothing when it holds something else.
std::optional<std::string> ReadVariant(sd_bus_message* message) {
  char type = 0;
  const char* contents = nullptr;
  Check(sd_bus_message_peek_type(message, &type, &contents));
  if (type != 'v' || std::string_view(contents) != "s") {
    Check(sd_bus_message_skip(message, "v"));
    return std::nullopt;
  }
  const char* text = nullptr;
  Check(sd_bus_message_read(message, "v", "s", &text));
  return text;
}

}  // namespace

ExtraData ReadExtraData(sd_bus_message* message) {
  ExtraData data;
  Check(sd_bus_message_enter_container(message, 'a', "{sv}"));
  while (Check(sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
    const std::string key = ReadText(message);
    if (const std::optional<std::string> value = ReadVariant(message)) {
      data[key] = *value;
    }
    Check(sd_bus_message_exit_container(message));
  }
  Check(sd_bus_message_exit_container(message));
  return data;
}

std::vector<std::string> ReadTexts(sd_bus_message* message) {
  std::vector<std::string> texts;
  Check(sd_bus_message_enter_container(message, 'a', "s"));
  const char* text = nullptr;
  while (Check(sd_bus_message_read(message, "s", &text)) > 0) {
    texts.emplace_back(text);
  }
  Check(sd_bus_message_exit_container(message));
  return texts;
}

std::string ReadText(sd_bus_message* message) {
  const char* text = nullptr;
  Check(sd_bus_message_read(message, "s", &text));
  return text;
}

std::optional<std::string> ReadParameter(sd_bus_message* message) {
  std::optional<std::string> first;
  Check(sd_bus_message_enter_container(message, 'a', "v"));
  if (Check(sd_bus_message_at_end(message, 0)) == 0) {
    first = ReadVariant(message);
  }
  while (Check(sd_bus_message_at_end(message, 0)) == 0) {
    Check(sd_bus_message_skip(message, "v"));
  }
  Check(sd_bus_message_exit_container(message));
  return first;
}

}  // namespace apps
