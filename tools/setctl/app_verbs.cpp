#include <fmt/format.h>
#include <signal.h>

#include <memory>
#include <vector>

#include "apps/application_id.h"
#include "apps/application_state.h"
#include "keystore/key_store.h"
#include "setctl/app_bus.h"
#include "setctl/log_output.h"
#include "setctl/verbs.h"
#include "system/environment.h"
#include "text.h"

namespace setctl {
namespace {

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

AppBus Connect(const Options& options, const AppArguments& arguments) {
  return AppBus(options.bus, tools::Duration(arguments.timeout.value_or(kPatience)));
}

void CheckId(const std::string& id) {
  if (!host::IsApplicationId(id)) {
    throw Failure(ExitCode::kUsage, Quote(id) +
                                        " is no application ID: it has at least two parts of "
                                        "letters, digits, _ and - with a dot between them, as "
                                        "org.pavix.menu");
  }
}

AppOwner OwnerOf(AppBus& bus, const std::string& id) {
  if (const std::optional<AppOwner> owner = bus.OwnerOf(id)) {
    return *owner;
  }
  if (!bus.Installed().contains(id)) {
    throw Failure(ExitCode::kNotFound,
                  fmt::format("no application {} is installed or runs; setctl app list says which "
                              "do",
                              Quote(id)));
  }
  throw Failure(ExitCode::kRefused,
                fmt::format("{0} does not run; start it with setctl app start {0}", id));
}

std::string RunningJson(const std::string& id, const std::optional<AppOwner>& owner) {
  return tools::JsonLine({{"app", id},
                          {"running", owner.has_value()},
                          {"pid", owner ? Json::Value(owner->pid) : Json::nullValue}});
}

ExitCode List(const Options& options, const AppArguments& arguments) {
  AppBus bus = Connect(options, arguments);
  return WithStore(options, [&](host::KeyStore& store) {
    const std::set<std::string> installed = bus.Installed();
    std::set<std::string> all = bus.Running();
    all.insert(installed.begin(), installed.end());
    std::size_t width = 0;
    for (const std::string& id : all) {
      width = std::max(width, id.size());
    }
    for (const std::string& id : all) {
      const std::optional<AppOwner> owner = bus.OwnerOf(id);
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
      throw Failure(ExitCode::kUsage,
                    Quote(text) + " is no extra datum; write it as KEY=VALUE, e.g. mode=manual");
    }
    data[text.substr(0, equals)] = text.substr(equals + 1);
  }
  return data;
}

ExitCode Start(const Options& options, const AppArguments& arguments) {
  CheckId(arguments.id);
  const ExtraData extraData = ParseExtraData(arguments.extraData);
  AppBus bus = Connect(options, arguments);
  bus.Activate(arguments.id, extraData);
  if (options.json) {
    tools::PrintLine(RunningJson(arguments.id, bus.OwnerOf(arguments.id)));
  }
  return ExitCode::kDone;
}

ExitCode Stop(const Options& options, const AppArguments& arguments) {
  CheckId(arguments.id);
  AppBus bus = Connect(options, arguments);
  bus.EndOwner(arguments.id, OwnerOf(bus, arguments.id), arguments.kill ? SIGKILL : SIGTERM);
  if (options.json) {
    tools::PrintLine(RunningJson(arguments.id, std::nullopt));
  }
  return ExitCode::kDone;
}

ExitCode State(const Options& options, const AppArguments& arguments) {
  CheckId(arguments.id);
  AppBus bus = Connect(options, arguments);
  OwnerOf(bus, arguments.id);
  bus.ActivateAction(arguments.id, "state", arguments.state);
  if (options.json) {
    tools::PrintLine(tools::JsonLine({{"app", arguments.id}, {"state", arguments.state}}));
  }
  return ExitCode::kDone;
}

ExitCode Log(const Options& options, const AppArguments& arguments) {
  CheckId(arguments.id);
  EnterSet(options);
  const std::string name = arguments.id + ".log";
  return PrintLog(options, host::GetEnvironment().root / "var/log/apps" / name, arguments.log,
                  fmt::format("the set's own applications write one from their first start on: "
                              "setctl app start {}",
                              arguments.id));
}

}  // namespace

void AddAppVerbs(tools::Tool& tool, const Options& options) {
  tools::Syntax group = tool.AddGroup("app", "Start, end and watch the applications of the set");
  auto arguments = std::make_shared<AppArguments>();
  const auto add = [&](const char* name, const char* description,
                       ExitCode (*run)(const Options&, const AppArguments&)) {
    return tool.AddVerb(group, name, description,
                        [&options, arguments, run] { return run(options, *arguments); });
  };
  const auto addId = [&](tools::Syntax verb) {
    verb.AddArgument("ID", arguments->id, "e.g. org.pavix.menu").Required();
  };
  const auto addTimeout = [&](tools::Syntax verb) {
    tools::AddSeconds(verb, "--timeout", arguments->timeout,
                      fmt::format("How long to wait ({})", kPatience));
  };

  addTimeout(add("list", "Print all applications, which of them run, and how", List));

  tools::Syntax start = add("start", "Launch an application, and wait until it took that", Start);
  addId(start);
  start.AddArgument("KEY=VALUE", arguments->extraData, "Extra data of the launch request");
  addTimeout(start);

  tools::Syntax stop = add("stop", "End an application, and wait for its end", Stop);
  addId(stop);
  stop.AddFlag("--kill", arguments->kill, "By force (SIGKILL instead of SIGTERM)");
  addTimeout(stop);

  tools::Syntax state =
      add("state", "Bring an application to the foreground or another state", State);
  addId(state);
  state.AddArgument("STATE", arguments->state, "foreground, visible or background")
      .Required()
      .OneOf(host::StatesToEnter());
  addTimeout(state);

  tools::Syntax log = add("log", "Print what an application was asked for and did", Log);
  addId(log);
  AddLogOptions(log, arguments->log);
}

}  // namespace setctl
