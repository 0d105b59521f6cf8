#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "settingsctl/call_arguments.h"
#include "settingsctl/completion_offers.h"
#include "settingsctl/format.h"
#include "settingsctl/items.h"
#include "settingsctl/methods.h"
#include "settingsctl/verbs.h"
#include "text.h"

namespace settingsctl {
namespace {

using settings::Client;
using tools::ExitCode;
using tools::Failure;

struct CallLine {
  std::string method;
  std::optional<std::string> first;
  std::vector<std::string> others;
};

void CheckParameters(const Method& method, const CallArguments& arguments) {
  for (const Json::Value* all : {&arguments.data, &arguments.members}) {
    for (const std::string& name : all->getMemberNames()) {
      CheckParameter(method, name);
    }
  }
}

// What the reply to a call that failed does not say.
std::string WhyRefused(Client& client, const Method& method, const CallArguments& arguments,
                       const settings::Reply& reply) {
  if (!reply.body["connect_server"].asBool()) {
    return fmt::format(
        "a parameter of {} has the wrong type; KEY=TEXT gives a string, KEY:=JSON "
        "any type",
        method.name);
  }
  const auto text = [&](const char* name) {
    const Json::Value& value = arguments.data[name];
    return value.isString() ? value.asString() : "";
  };
  const std::string id = text("menuID");
  try {
    RequireItem(client, id);
    const bool hasValue = client.GetItemValue(id).has_value();
    if (hasValue && Contains(method.parameters, "Value")) {
      return NotAccepted(client, id, text("Value")).what();
    }
    return hasValue || method.name == "GetItemChildList"
               ? fmt::format("{} has nothing for {}", tools::Quote(id), method.name)
               : NoValue(client, id, ExitCode::kRefused).what();
  } catch (const Failure& failure) {
    return failure.what();  // there is no such item
  }
}

// The members of the request stay as they are given but for the item's path.
ExitCode Call(const Options& options, const CallLine& line) {
  std::vector<std::string> all = line.others;
  if (line.first) {
    all.insert(all.begin(), *line.first);
  }
  CallArguments arguments = ParseCallArguments(all);
  const Method method = FindMethod(line.method);
  CheckParameters(method, arguments);
  return WithClient(options, [&](Client& client) {
    const std::size_t slash = line.first ? line.first->find('/') : std::string::npos;
    if (slash != std::string::npos && slash < line.first->find('=')) {
      arguments.data["menuID"] = ItemAt(client, *line.first).value_or(*line.first);
    }
    const settings::Reply reply = client.Call(method.name, arguments.data, arguments.members);
    tools::PrintLine(options.json ? tools::EscapeJson(reply.text) : ReplyText(reply.body));
    if (reply.Succeeded()) {
      return ExitCode::kDone;
    }
    tools::Flush();
    if (reply.body.isMember("call_api_success")) {
      throw Failure(ExitCode::kRefused, WhyRefused(client, method, arguments, reply));
    }
    if (!method.answersBySignal) {
      throw Failure(ExitCode::kRefused, fmt::format("the settings service has no method {}; update "
                                                    "the service",
                                                    tools::Quote(method.name)));
    }
    if (!options.json) {
      tools::PrintNote(
          fmt::format("The reply has no result: {} answers by signal (settingsctl "
                      "monitor).",
                      tools::Quote(method.name)));
    }
    return ExitCode::kDone;
  });
}

// For the help: all methods with their parameters.
std::string MethodsText() {
  std::string text = "Methods:\n";
  for (const Method& method : Methods()) {
    const std::string parameters = tools::Joined(method.parameters);
    text += parameters.empty() ? fmt::format("  {}\n", method.name)
                               : fmt::format("  {:<30}{}\n", method.name, parameters);
  }
  return text;
}

// KEY= for each parameter that is not given yet; KEY:= where a text is of the wrong type.
std::vector<tools::Candidate> Keys(const CallLine& line) {
  Names given = line.others;
  if (line.first) {
    given.push_back(line.first->find('=') == std::string::npos ? "menuID=" : *line.first);
  }
  const auto isGiven = [&](const std::string& key) {
    return std::any_of(given.begin(), given.end(), [&](const std::string& argument) {
      return argument.starts_with(key + "=") || argument.starts_with(key + ":=");
    });
  };
  std::vector<tools::Candidate> keys;
  for (const std::string& key : FindMethod(line.method).parameters) {
    if (!isGiven(key)) {
      keys.push_back({key + (IsText(key) ? "=" : ":="), ""});
    }
  }
  return keys;
}

ExitCode Request(const Options& options, const std::string& request) {
  return WithClient(options, [&](Client& client) {
    tools::PrintLine(tools::EscapeJson(client.Request(request).body));
    return ExitCode::kDone;
  });
}

}  // namespace

void AddRequestVerbs(tools::Tool& tool, const Options& options) {
  auto line = std::make_shared<CallLine>();
  tools::Syntax call = tool.AddVerb(tool.App(), "call", "Call a method and print the reply",
                                    [&options, line] { return Call(options, *line); });
  call.AddArgument("METHOD", line->method, "The method, e.g. GetItemValue")
      .Required()
      .CompletedBy([](const std::string&) {
        std::vector<tools::Candidate> candidates;
        for (const Method& method : Methods()) {
          candidates.push_back({method.name, tools::Joined(method.parameters)});
        }
        return candidates;
      });
  // A separate argument: as an element of a list, an ID in brackets would be taken for a list.
  call.AddArgument("ITEM", line->first, "The item's ID or path, for the methods that need one")
      .CompletedBy([line, items = ItemOffer(options)](const std::string& begin) {
        std::vector<tools::Candidate> all = Keys(*line);
        if (Contains(FindMethod(line->method).parameters, "menuID")) {
          const std::vector<tools::Candidate> found = items(begin);
          all.insert(all.begin(), found.begin(), found.end());
        }
        return all;
      });
  call.AddSection(MethodsText());
  call.AddArgument("KEY=VALUE", line->others, "A string argument; KEY:=JSON for other types")
      .CompletedBy([line](const std::string&) { return Keys(*line); });

  auto text = std::make_shared<std::string>();
  tools::Syntax request =
      tool.AddVerb(tool.App(), "request", "Send a request as is and print the reply",
                   [&options, text] { return Request(options, *text); });
  request.AddArgument("JSON", *text, "The body of the request, sent as is").Required();
}

}  // namespace settingsctl
