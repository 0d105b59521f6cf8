// The verbs that operate the virtual set are generated from the table of operations.

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "set/keys.h"
#include "set/ports.h"
#include "set/set_error.h"
#include "set/set_operations.h"
#include "set/set_operator.h"
#include "setctl/completion_offers.h"
#include "setctl/key_text.h"
#include "setctl/verbs.h"
#include "system/environment.h"
#include "text.h"

namespace setctl {
namespace {

using host::Operation;
using host::SetError;
using tools::ExitCode;
using tools::Failure;

constexpr std::string_view kSourceGroup = "source ";

std::string SourceName(const host::SetSource& source) {
  const host::Port* port = host::FindPort(source.sourceId);
  return port != nullptr ? std::string(port->name) : std::to_string(source.sourceId);
}

// The error's text, with this tool's advice. `sources` are those of the set, for kNoSource.
Failure FailureOf(const SetError& error, const std::vector<host::SetSource>& sources = {}) {
  const std::string& subject = error.Subject();
  const auto advised = [&](ExitCode code, const std::string& advice) {
    return Failure(code, fmt::format("{}; {}", error.what(), advice));
  };
  switch (error.GetKind()) {
    case SetError::Kind::kMissing:
    case SetError::Kind::kNotAllowed:
      return Failure(ExitCode::kUsage, error.what());
    case SetError::Kind::kNoSource: {
      std::vector<std::string> names;
      std::transform(sources.begin(), sources.end(), std::back_inserter(names), SourceName);
      return advised(ExitCode::kNotFound,
                     fmt::format("there are {}; add it with setctl source add {}",
                                 names.empty() ? "none" : tools::Joined(names), subject));
    }
    case SetError::Kind::kSourceExists:
      return advised(ExitCode::kRefused, "rename it, or remove it first");
    case SetError::Kind::kTooManySources:
      return advised(ExitCode::kRefused, "remove one first");
    case SetError::Kind::kUnreadable:
      return advised(ExitCode::kRefused, fmt::format("setctl key unset {} resets it", subject));
    case SetError::Kind::kCannotCount:
      return advised(ExitCode::kRefused, "set it to 0");
  }
  return Failure(ExitCode::kRefused, error.what());
}

ExitCode WithAdvice(const std::function<ExitCode()>& verb) {
  try {
    return verb();
  } catch (const SetError& error) {
    throw FailureOf(error);
  }
}

void Play(const Options& options, const Operation& operation, const host::Arguments& arguments,
          host::KeyStore& store) {
  const auto print = [&](const host::Step& step) {
    if (options.json) {
      tools::PrintLine(KeyJson(step.key, step.value));
      tools::Flush();
    }
  };
  try {
    host::SetOperator(store, host::RunDir())
        .Play([&](const host::SetView& view) { return operation.steps(view, arguments); }, print);
  } catch (const SetError& error) {
    if (error.GetKind() != SetError::Kind::kNoSource) {
      throw;
    }
    throw FailureOf(error, host::SetView(store).Sources());
  }
}

std::string SourceText(const host::SetSource& source, bool isCurrent, bool isPreview) {
  std::string text = fmt::format("{:>3}  {:<11}  {}", source.sourceId, SourceName(source),
                                 tools::Escape(source.editName));
  if (!source.detectedName.empty()) {
    text += fmt::format(" ({})", tools::Escape(source.detectedName));
  }
  text += source.isEmpty ? "  empty" : "";
  text += isCurrent ? "  current" : "";
  return text + (isPreview ? "  preview" : "");
}

std::string SourceJson(const host::SetSource& source, bool isCurrent, bool isPreview) {
  const host::Port* port = host::FindPort(source.sourceId);
  return tools::JsonLine({{"id", source.sourceId},
                          {"port", port != nullptr ? std::string(port->name) : Json::Value()},
                          {"name", source.editName},
                          {"detected", source.detectedName},
                          {"empty", source.isEmpty},
                          {"current", isCurrent},
                          {"preview", isPreview}});
}

ExitCode ListSources(const Options& options) {
  return WithStore(options, [&](host::KeyStore& store) {
    const host::SetView view(store);
    const auto current = view.Number(host::kCurrentSourceKey);
    const auto preview = view.Number(host::kPreviewKey);
    for (const host::SetSource& source : view.Sources()) {
      const auto text = options.json ? SourceJson : SourceText;
      tools::PrintLine(text(source, source.sourceId == current, source.sourceId == preview));
    }
    return ExitCode::kDone;
  });
}

ExitCode Operate(const Options& options, const Operation& operation, const host::Texts& texts) {
  const host::Arguments arguments = host::ReadArguments(operation, texts);
  return WithStore(options, [&](host::KeyStore& store) {
    Play(options, operation, arguments, store);
    return ExitCode::kDone;
  });
}

// Lists all values, unless there are others.
std::string Description(const host::Parameter& parameter) {
  return parameter.others.empty()
             ? fmt::format("{} ({})", parameter.description, fmt::join(parameter.values(), ", "))
             : parameter.description;
}

void AddParameter(tools::Syntax verb, const host::Parameter& parameter,
                  std::optional<std::string>& text, tools::Offer offer) {
  const bool isOption = parameter.name.starts_with("--");
  const tools::Parameter added =
      isOption ? verb.AddOption(parameter.name, "NAME", text, Description(parameter))
               : verb.AddArgument(parameter.name, text, Description(parameter));
  added.CompletedBy(std::move(offer));
  if (parameter.isRequired) {
    added.Required();
  }
}

}  // namespace

void AddSetVerbs(tools::Tool& tool, const Options& options) {
  const tools::Syntax sources =
      tool.AddGroup("source", "Manage the sources: the tuner and the inputs");
  tool.AddVerb(sources, "list", "Print the sources, and which is current",
               [&options] { return WithAdvice([&] { return ListSources(options); }); });
  for (const Operation& operation : host::Operations()) {
    const bool isOfSources = operation.name.starts_with(kSourceGroup);
    const auto texts = std::make_shared<host::Texts>(operation.parameters.size());
    const tools::Syntax verb =
        tool.AddVerb(isOfSources ? sources : tool.App(),
                     isOfSources ? operation.name.substr(kSourceGroup.size()) : operation.name,
                     operation.description, [&options, &operation, texts] {
                       return WithAdvice([&] { return Operate(options, operation, *texts); });
                     });
    for (std::size_t i = 0; i < texts->size(); ++i) {
      const host::Parameter& parameter = operation.parameters[i];
      AddParameter(verb, parameter, (*texts)[i], ParameterOffer(options, operation, parameter));
    }
  }
}

}  // namespace setctl
