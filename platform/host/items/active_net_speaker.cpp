#include "active_net_speaker.h"

#include <json/json.h>

#include <optional>
#include <stdexcept>
#include <string>

#include "base/json.h"
#include "base/utf8.h"
#include "items/answer.h"
#include "items/host_inputs.h"
#include "set/keys.h"
#include "system/error_log.h"

namespace {

struct NetworkSpeaker {
  std::string id;
  std::string name;
  std::string type;
};

// Throws std::runtime_error that says what is wrong with the description.
std::string Text(const Json::Value& speaker, const char* member) {
  const Json::Value& text = speaker[member];
  if (!text.isString() || !base::IsPlainText(text.asString())) {
    throw std::runtime_error(std::string("a speaker's \"") + member + "\" is not a text");
  }
  return text.asString();
}

std::vector<NetworkSpeaker> ParseSpeakers(const std::string& description) {
  const Json::Value list = base::ParseJson(description);
  if (!list.isArray()) {
    throw std::runtime_error("not a list");
  }
  std::vector<NetworkSpeaker> speakers;
  for (const Json::Value& speaker : list) {
    if (!speaker.isObject()) {
      throw std::runtime_error("a speaker is not an object");
    }
    speakers.push_back({Text(speaker, "id"), Text(speaker, "name"), Text(speaker, "type")});
  }
  return speakers;
}

std::vector<NetworkSpeaker> ActiveSpeakers() {
  const auto description = host::AnswerOr(std::optional<std::string>(), [] {
    return host::HostInputs().Text(host::kNetworkSpeakersKey);
  });
  if (!description || description->empty()) {
    return {};
  }
  try {
    return ParseSpeakers(*description);
  } catch (const std::exception& exception) {  // JsonCpp throws when the text is nested too deep
    host::LogError("settings-items",
                   std::string(host::kNetworkSpeakersKey) + ": " + exception.what());
    return {};
  }
}

}  // namespace

int GetActiveNetSpkInfo(char* displayName, char* speakerType, std::vector<std::string>& speakers) {
  const std::vector<NetworkSpeaker> active = ActiveSpeakers();
  if (active.empty()) {
    return 0;
  }
  base::CopyCut(active.front().name, displayName, NET_SPEAKER_DISPLAY_NAME_SIZE);
  base::CopyCut(active.front().type, speakerType, NET_SPEAKER_TYPE_SIZE);
  speakers.clear();
  for (const NetworkSpeaker& speaker : active) {
    speakers.push_back(speaker.id);
  }
  return static_cast<int>(active.size());
}
