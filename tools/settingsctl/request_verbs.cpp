#include <fmt/format.h>

#include <memory>
#include <optional>
#include <vector>

#include "settingsctl/call_arguments.h"
#include "settingsctl/completion_offers.h"
#include "settingsctl/format.h"
#include "settingsctl/verbs.h"
#include "text.h"

namespace settingsctl {
namespace {

using settings::Client;
using tools::ExitCode;

struct CallLine {
  std::string method;
  std::optional<std::string> first;
  std::vector<std::string> others;
};

ExitCode Call(const Options& options, const CallLine& line) {
  std::vector<std::string> all = line.others;
  if (line.first) {
    all.insert(all.begin(), *line.first);
  }
  const CallArguments arguments = ParseCallArguments(all);
  return WithClient(options, [&](Client& client) {
    const settings::Reply reply = client.Call(line.method, arguments.data, arguments.members);
    tools::PrintLine(options.json ? tools::EscapeJson(reply.text) : ReplyText(reply.body));
    const bool tells = reply.body.isMember("call_api_success");
    if (!tells && !options.json) {
      tools::PrintNote(
          fmt::format("The reply has no result: {} answers by signal (settingsctl monitor), or the "
                      "service has no such method.",
                      tools::Quote(line.method)));
    }
    return tells && !reply.Succeeded() ? ExitCode::kRefused : ExitCode::kDone;
  });
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
  tools::Syntax call = tool.AddVerb(tool.App(), "call", "Call any method and print the reply",
                                    [&options, line] { return Call(options, *line); });
  call.AddArgument("METHOD", line->method, "The method, e.g. GetItemValue").Required();
  // A separate argument: as an element of a list, an ID in brackets would be taken for a list.
  call.AddArgument("ITEM", line->first, "The item's ID, for the methods that need one")
      .CompletedBy(ItemOffer(options));
  call.AddArgument("KEY=VALUE", line->others, "A string argument; KEY:=JSON for other types");

  auto text = std::make_shared<std::string>();
  tools::Syntax request =
      tool.AddVerb(tool.App(), "request", "Send a request as is and print the reply",
                   [&options, text] { return Request(options, *text); });
  request.AddArgument("JSON", *text, "The body of the request, sent as is").Required();
}

}  // namespace settingsctl
