#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "apps/app_operator.h"
#include "apps/application_id.h"
#include "apps/application_state.h"
#include "keystore/key_store.h"
#include "nearest.h"
#include "setctl/completion_offers.h"
#include "setctl/log_output.h"
#include "setctl/verbs.h"
#include "system/environment.h"
#include "text.h"

namespace setctl {
namespace {

using host::AppError;
using host::AppOperator;
using host::AppOwner;
using host::ExtraData;
using tools::ExitCode;
using tools::Failure;
using tools::Quote;

struct AppArguments {
  std::string id;
  std::vector<std::string> extraData;
  std::string state;
  bool kill = false;
  std::optional<double> timeout;
  LogArguments log;
};

// Longer than a bus gives an application to start.
constexpr double kPatience = 30;

AppOperator Connect(const Options& options, const AppArguments& arguments) {
  return AppOperator(options.bus, tools::Duration(arguments.timeout.value_or(kPatience)));
}

std::vector<std::string> NearestApps(const Options& options, const AppArguments& arguments) {
  try {
    AppOperator apps = Connect(options, arguments);
    std::set<std::string> all = apps.Installed();
    all.merge(apps.Running());
    return tools::Nearest(arguments.id, {all.begin(), all.end()});
  } catch (const AppError&) {
    return {};  // the failure is still the first one
  }
}

// The error's text, with this tool's advice.
Failure FailureOf(const AppError& error, const std::vector<std::string>& nearest) {
  using Kind = AppError::Kind;
  const auto advised = [&](ExitCode code, const std::string& advice) {
    return Failure(code, fmt::format("{}; {}", error.what(), advice));
  };
  switch (error.GetKind()) {
    case Kind::kNotAnId:
    case Kind::kNotText:
      return Failure(ExitCode::kUsage, error.what());
    case Kind::kNotInstalled:
      return advised(ExitCode::kNotFound, nearest.empty() ? "see setctl app list"
                                                          : "nearest: " + tools::Joined(nearest));
    case Kind::kNotRunning:
      return advised(ExitCode::kRefused, "start it with setctl app start " + error.Subject());
    case Kind::kCannotStart:
      return advised(ExitCode::kRefused, "see its service file");
    case Kind::kNoName:
      return Failure(ExitCode::kTimedOut, error.what());
    case Kind::kNoAnswer:
      return advised(ExitCode::kTimedOut,
                     "wait longer with --timeout SECONDS, or stop it with setctl app stop --kill");
    case Kind::kNoEnd:
      return advised(ExitCode::kTimedOut,
                     "wait longer with --timeout SECONDS, or force it with --kill");
    case Kind::kEnded:
      return advised(ExitCode::kRefused, "see setctl app log");
    case Kind::kRefused:
      return Failure(ExitCode::kRefused, error.what());
    case Kind::kNotAllowed:
      return Failure(ExitCode::kNotAllowed, error.what());
    case Kind::kNoBus:
      return advised(ExitCode::kNotRunning,
                     "start a set, e.g. with ./run, or choose another bus with --bus");
    case Kind::kBusLost:
      return Failure(ExitCode::kNotRunning, error.what());
    case Kind::kBusSilent:
      return advised(ExitCode::kTimedOut, "wait longer with --timeout SECONDS");
  }
  return Failure(ExitCode::kRefused, error.what());
}

std::string RunningJson(const std::string& id, const std::optional<AppOwner>& owner) {
  return tools::JsonLine({{"app", id},
                          {"running", owner.has_value()},
                          {"pid", owner ? Json::Value(owner->pid) : Json::nullValue}});
}

ExitCode List(const Options& options, const AppArguments& arguments) {
  AppOperator apps = Connect(options, arguments);
  return WithStore(options, [&](host::KeyStore& store) {
    const std::set<std::string> installed = apps.Installed();
    std::set<std::string> all = apps.Running();
    all.insert(installed.begin(), installed.end());
    std::size_t width = 0;
    for (const std::string& id : all) {
      width = std::max(width, id.size());
    }
    for (const std::string& id : all) {
      const std::optional<AppOwner> owner = apps.OwnerOf(id);
      const int status = host::ToldApplicationState(store.Get(host::ApplicationStatusKey(id)));
      const std::string state = host::ApplicationStateName(status);
      if (options.json) {
        tools::PrintLine(
            tools::JsonLine({{"app", id},
                             {"installed", installed.contains(id)},
                             {"running", owner.has_value()},
                             {"status", owner ? Json::Value(status) : Json::nullValue},
                             {"state", owner ? Json::Value(state) : Json::nullValue},
                             {"pid", owner ? Json::Value(owner->pid) : Json::nullValue}}));
      } else if (owner) {
        tools::PrintLine(fmt::format("{:<{}}  {:<10}  process {}", id, width, state, owner->pid));
      } else {
        tools::PrintLine(fmt::format("{:<{}}  not running", id, width));
      }
    }
    return ExitCode::kDone;
  });
}

ExtraData ParseExtraData(const std::vector<std::string>& texts) {
  ExtraData data;
  for (const std::string& text : texts) {
    const std::size_t equals = text.find('=');
    if (equals == 0 || equals == std::string::npos) {
      throw Failure(ExitCode::kUsage, Quote(text) + " is not KEY=VALUE; write e.g. mode=manual");
    }
    data[text.substr(0, equals)] = text.substr(equals + 1);
  }
  return data;
}

ExitCode Start(const Options& options, const AppArguments& arguments) {
  const ExtraData extraData = ParseExtraData(arguments.extraData);
  host::CheckApplicationId(arguments.id);
  AppOperator apps = Connect(options, arguments);
  apps.Start(arguments.id, extraData);
  if (options.json) {
    tools::PrintLine(RunningJson(arguments.id, apps.OwnerOf(arguments.id)));
  }
  return ExitCode::kDone;
}

ExitCode Stop(const Options& options, const AppArguments& arguments) {
  host::CheckApplicationId(arguments.id);
  Connect(options, arguments).Stop(arguments.id, arguments.kill);
  if (options.json) {
    tools::PrintLine(RunningJson(arguments.id, std::nullopt));
  }
  return ExitCode::kDone;
}

ExitCode State(const Options& options, const AppArguments& arguments) {
  host::CheckApplicationId(arguments.id);
  Connect(options, arguments).Enter(arguments.id, arguments.state);
  if (options.json) {
    tools::PrintLine(tools::JsonLine({{"app", arguments.id}, {"state", arguments.state}}));
  }
  return ExitCode::kDone;
}

std::vector<std::string> AppsWithLogs(const std::filesystem::path& directory) {
  std::vector<std::string> apps;
  std::error_code problem;
  std::filesystem::directory_iterator entries(directory, problem);
  for (; !problem && entries != std::filesystem::directory_iterator(); entries.increment(problem)) {
    if (entries->path().extension() == ".log") {
      apps.push_back(entries->path().stem());
    }
  }
  std::sort(apps.begin(), apps.end());
  return apps;
}

ExitCode Log(const Options& options, const AppArguments& arguments) {
  host::CheckApplicationId(arguments.id);
  EnterSet(options);
  const std::filesystem::path logs = host::GetEnvironment().root / "var/log/apps";
  const std::vector<std::string> nearest = tools::Nearest(arguments.id, AppsWithLogs(logs));
  return PrintLog(options, logs / (arguments.id + ".log"), arguments.log,
                  nearest.empty()
                      ? fmt::format("the set's own applications write one once started: "
                                    "setctl app start {}",
                                    arguments.id)
                      : "nearest: " + tools::Joined(nearest));
}

}  // namespace

void AddAppVerbs(tools::Tool& tool, const Options& options) {
  tools::Syntax group = tool.AddGroup("app", "Start, stop and watch the set's applications");
  auto arguments = std::make_shared<AppArguments>();
  const auto add = [&](const char* name, const char* description,
                       ExitCode (*run)(const Options&, const AppArguments&)) {
    return tool.AddVerb(group, name, description, [&options, arguments, run] {
      try {
        return run(options, *arguments);
      } catch (const AppError& error) {
        const bool isUnknown = error.GetKind() == AppError::Kind::kNotInstalled;
        throw FailureOf(error,
                        isUnknown ? NearestApps(options, *arguments) : std::vector<std::string>());
      }
    });
  };
  const auto addId = [&](tools::Syntax verb, bool isRunning) {
    verb.AddArgument("ID", arguments->id, "e.g. org.pavix.menu")
        .Required()
        .CompletedBy(AppOffer(options, isRunning));
  };
  const auto addTimeout = [&](tools::Syntax verb) {
    tools::AddSeconds(verb, "--timeout", arguments->timeout,
                      fmt::format("How long to wait ({})", kPatience));
  };

  addTimeout(add("list", "Print all applications and their states", List));

  tools::Syntax start = add("start", "Launch an application and wait until it accepts", Start);
  addId(start, false);
  start.AddArgument("KEY=VALUE", arguments->extraData, "Extra data of the launch request");
  addTimeout(start);

  tools::Syntax stop = add("stop", "Stop an application and wait until it has ended", Stop);
  addId(stop, true);
  stop.AddFlag("--kill", arguments->kill, "Use SIGKILL instead of SIGTERM");
  addTimeout(stop);

  tools::Syntax state =
      add("state", "Put an application in the foreground or another state", State);
  addId(state, true);
  state.AddArgument("STATE", arguments->state, "foreground, visible or background")
      .Required()
      .OneOf(host::StatesToEnter());
  addTimeout(state);

  tools::Syntax log = add("log", "Print an application's log", Log);
  addId(log, false);
  AddLogOptions(log, arguments->log);
}

}  // namespace setctl
