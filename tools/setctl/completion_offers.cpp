#include "setctl/completion_offers.h"

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "apps/app_operator.h"
#include "keystore/key_store.h"
#include "set/ports.h"
#include "set/set_view.h"
#include "setctl/key_text.h"

namespace setctl {
namespace {

using tools::Candidate;
using tools::ExitCode;

std::vector<Candidate> Values(const host::Parameter& parameter) {
  std::vector<Candidate> candidates;
  for (const std::string& value : parameter.values()) {
    candidates.push_back({value, ""});
  }
  return candidates;
}

// Ports without a source are left out.
std::vector<Candidate> Sources(const host::Parameter& parameter, host::KeyStore& store) {
  std::vector<Candidate> candidates;
  for (const std::string& value : parameter.values()) {
    if (host::FindPort(value) == nullptr) {
      candidates.push_back({value, ""});
    }
  }
  for (const host::SetSource& source : host::SetView(store).Sources()) {
    const host::Port* port = host::FindPort(source.sourceId);
    candidates.push_back(
        {port != nullptr ? std::string(port->name) : std::to_string(source.sourceId),
         source.editName});
  }
  return candidates;
}

}  // namespace

tools::Offer KeyOffer(const Options& options) {
  return [&options](const std::string& begin) {
    std::vector<Candidate> candidates;
    WithStore(options, [&](host::KeyStore& store) {
      for (const auto& [key, value] : store.List(begin)) {
        candidates.push_back({key, ValueText(value)});
      }
      return ExitCode::kDone;
    });
    return candidates;
  };
}

tools::Offer AppOffer(const Options& options, bool onlyRunning) {
  return [&options, onlyRunning](const std::string&) {
    // The tool itself ends what takes too long.
    host::AppOperator apps(options.bus, std::chrono::seconds(1));
    const std::set<std::string> running = apps.Running();
    std::set<std::string> all = onlyRunning ? running : apps.Installed();
    all.insert(running.begin(), running.end());
    std::vector<Candidate> candidates;
    for (const std::string& id : all) {
      candidates.push_back({id, running.count(id) != 0 ? "running" : "not running"});
    }
    return candidates;
  };
}

tools::Offer ParameterOffer(const Options& options, const host::Operation& operation,
                            const host::Parameter& parameter) {
  const bool isThere = parameter.noun == "source" && operation.name != "source add";
  return [&options, &parameter, isThere](const std::string&) {
    if (!isThere) {
      return Values(parameter);
    }
    std::vector<Candidate> candidates;
    WithStore(options, [&](host::KeyStore& store) {
      candidates = Sources(parameter, store);
      return ExitCode::kDone;
    });
    return candidates;
  };
}

}  // namespace setctl
