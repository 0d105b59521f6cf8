#include <fmt/format.h>

#include <memory>

#include "settingsctl/items.h"
#include "settingsctl/verbs.h"

namespace settingsctl {
namespace {

using settings::Client;
using settings::Explanation;
using settings::Reason;
using tools::ExitCode;

// `"tv"`, `1`, `true`
std::string WrittenValue(const Json::Value& value) {
  return value.isString() ? tools::Quote(value.asString()) : tools::JsonText(value);
}

std::string ListText(const std::vector<Json::Value>& values) {
  std::string text;
  for (const Json::Value& value : values) {
    text += (text.empty() ? "" : " or ") + WrittenValue(value);
  }
  return text;
}

const char* Lack(Reason::What what) {
  return what == Reason::What::kVisible ? "hidden" : "disabled";
}

std::string Subject(const Reason& reason) {
  switch (reason.of) {
    case Reason::Of::kKey:
      return "key " + tools::Escape(reason.name);
    case Reason::Of::kFeature:
      return "feature " + tools::Escape(reason.name);
    case Reason::Of::kSource:
      return "the source";
    case Reason::Of::kSpeaker:
      return "the speaker";
    case Reason::Of::kItem:
    case Reason::Of::kGroup:
    case Reason::Of::kApp:
      break;
  }
  return tools::Escape(reason.name);
}

std::string ReasonText(const Reason& reason) {
  const std::string subject = Subject(reason);
  if (reason.of == Reason::Of::kGroup) {
    return fmt::format("the group {} above it is {}", subject, Lack(reason.what));
  }
  if (reason.of == Reason::Of::kApp) {
    return subject + " disables it";
  }
  return fmt::format("{} is {}, needed {}{}", subject,
                     reason.is.isNull() ? "unset" : WrittenValue(reason.is),
                     reason.isNot ? "anything but " : "", ListText(reason.list));
}

void PrintText(const Explanation& explanation) {
  const std::string item = tools::Escape(explanation.item);
  for (const Reason& reason : explanation.reasons) {
    tools::PrintLine(fmt::format("{} is {}: {}", item, Lack(reason.what), ReasonText(reason)));
  }
  if (explanation.reasons.empty()) {
    tools::PrintLine(item + " is visible and enabled");
  }
}

const char* MemberOf(Reason::Of of) {
  switch (of) {
    case Reason::Of::kItem:
      return "item";
    case Reason::Of::kKey:
      return "key";
    case Reason::Of::kFeature:
      return "feature";
    case Reason::Of::kSource:
      return "source";
    case Reason::Of::kSpeaker:
      return "speaker";
    case Reason::Of::kGroup:
      return "group";
    case Reason::Of::kApp:
      break;
  }
  return "app";
}

// As the service explains it (docs/wire.md).
Json::Value ReasonJson(const Reason& reason) {
  Json::Value json;
  json["of"] = reason.what == Reason::What::kVisible ? "visible" : "enabled";
  json[MemberOf(reason.of)] = reason.name;
  if (reason.of != Reason::Of::kGroup && reason.of != Reason::Of::kApp) {
    json["is"] = reason.is;
    Json::Value& list = json[reason.isNot ? "not" : "needed"] = Json::arrayValue;
    for (const Json::Value& value : reason.list) {
      list.append(value);
    }
  }
  return json;
}

void PrintJson(const Explanation& explanation) {
  Json::Value reasons(Json::arrayValue);
  for (const Reason& reason : explanation.reasons) {
    reasons.append(ReasonJson(reason));
  }
  tools::PrintLine(tools::JsonLine({{"menuID", explanation.item},
                                    {"visible", explanation.visible},
                                    {"enabled", explanation.enabled},
                                    {"reasons", reasons}}));
}

// Of the item, and of the groups in which its reasons lie.
std::vector<Explanation> AskForAll(Client& client, const std::string& item) {
  std::vector<Explanation> explanations;
  Names items = {item};
  for (std::size_t i = 0; i < items.size(); ++i) {
    std::optional<Explanation> explanation = client.Explain(items[i]);
    if (!explanation) {
      throw NoSuchItem(client, items[i]);
    }
    for (const Reason& reason : explanation->reasons) {
      if (reason.of == Reason::Of::kGroup && !Contains(items, reason.name)) {
        items.push_back(reason.name);
      }
    }
    explanations.push_back(*std::move(explanation));
  }
  return explanations;
}

ExitCode Why(const Options& options, const std::string& item, Client& client) {
  for (const Explanation& explanation : AskForAll(client, item)) {
    options.json ? PrintJson(explanation) : PrintText(explanation);
  }
  return ExitCode::kDone;
}

}  // namespace

void AddWhyVerb(tools::Tool& tool, const Options& options) {
  auto item = std::make_shared<std::string>();
  tools::Syntax why =
      tool.AddVerb(tool.App(), "why", "Tell why an item is hidden or disabled", [&options, item] {
        return WithClient(
            options, [&](Client& client) { return Why(options, ItemOf(client, *item), client); });
      });
  AddItem(why, options, *item);
}

}  // namespace settingsctl
