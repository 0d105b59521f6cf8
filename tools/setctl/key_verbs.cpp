#include <fmt/format.h>
#include <poll.h>

#include <memory>
#include <string>
#include <vector>

#include "keystore/key_store.h"
#include "nearest.h"
#include "setctl/completion_offers.h"
#include "setctl/key_text.h"
#include "setctl/verbs.h"
#include "text.h"

namespace setctl {
namespace {

using host::KeyStore;
using host::KeyValue;
using tools::ExitCode;
using tools::Failure;
using tools::Listening;
using tools::Quote;

struct KeyArguments {
  std::string key;
  std::string value;
  std::string prefix;
  bool isInt = false;
  bool isString = false;
  std::optional<int> count;
  std::optional<double> timeout;
};

Failure NoSuchKey(KeyStore& store, const std::string& key) {
  std::vector<std::string> keys;
  for (const auto& [name, value] : store.List("")) {
    keys.push_back(name);
  }
  return Failure(ExitCode::kNotFound, tools::NoSuch("key", key, keys, "setctl key list shows all"));
}

ExitCode Get(const Options& options, const std::string& key) {
  CheckKey(key);
  return WithStore(options, [&](KeyStore& store) {
    const std::optional<KeyValue> value = store.Get(key);
    if (!value) {
      throw NoSuchKey(store, key);
    }
    tools::PrintLine(options.json ? KeyJson(key, value) : ValueText(*value));
    return ExitCode::kDone;
  });
}

ExitCode Set(const Options& options, const KeyArguments& arguments) {
  const std::string& key = arguments.key;
  CheckKey(key);
  const ValueType type = arguments.isInt      ? ValueType::kInt
                         : arguments.isString ? ValueType::kString
                                              : ValueType::kByText;
  return WithStore(options, [&](KeyStore& store) {
    const KeyValue value = ParseValue(arguments.value, type, store.Get(key));
    store.Set(key, value);
    if (options.json) {
      tools::PrintLine(KeyJson(key, value));
    }
    return ExitCode::kDone;
  });
}

ExitCode Unset(const Options& options, const std::string& key) {
  CheckKey(key);
  return WithStore(options, [&](KeyStore& store) {
    if (!store.Unset(key)) {
      throw NoSuchKey(store, key);
    }
    if (options.json) {
      tools::PrintLine(KeyJson(key, std::nullopt));
    }
    return ExitCode::kDone;
  });
}

ExitCode List(const Options& options, const std::string& prefix) {
  CheckPrefix(prefix);
  return WithStore(options, [&](KeyStore& store) {
    for (const auto& [key, value] : store.List(prefix)) {
      tools::PrintLine(options.json ? KeyJson(key, value) : KeyText(key, value));
    }
    return ExitCode::kDone;
  });
}

// Prints the available changes, at most `most`; returns how many.
int PrintChanges(host::KeyWatcher& watcher, const Options& options, const std::string& prefix,
                 std::optional<int> most) {
  const std::string time = tools::TimeText(std::chrono::system_clock::now());
  int printed = 0;
  for (const host::KeyChange& change : watcher.TakeChanges()) {
    if (change.key.rfind(prefix, 0) != 0 || printed == most) {
      continue;
    }
    tools::PrintLine(options.json ? KeyJson(time, change.key, change.value)
                                  : time + " " + KeyText(change.key, change.value));
    ++printed;
  }
  tools::Flush();
  return printed;
}

ExitCode Watch(const Options& options, const KeyArguments& arguments) {
  CheckPrefix(arguments.prefix);
  return WithStore(options, [&](KeyStore& store) {
    host::KeyWatcher watcher(store);
    Listening listening(arguments.timeout);
    tools::PrintNote("watching…");
    std::optional<int> left = arguments.count;
    while (left != 0) {
      switch (listening.Wait(watcher.Fd(), POLLIN, std::nullopt)) {
        case Listening::Event::kInput: {
          const int printed = PrintChanges(watcher, options, arguments.prefix, left);
          left = left ? std::optional(*left - printed) : left;
          break;
        }
        case Listening::Event::kLimit:
          if (!left) {
            return ExitCode::kDone;
          }
          throw Failure(
              ExitCode::kTimedOut,
              fmt::format("only {} of {} changes arrived in {} s; wait longer with --timeout",
                          *arguments.count - *left, *arguments.count, *arguments.timeout));
        case Listening::Event::kEnd:
          return ExitCode::kDone;
      }
    }
    return ExitCode::kDone;
  });
}

}  // namespace

void AddKeyVerbs(tools::Tool& tool, const Options& options) {
  auto arguments = std::make_shared<KeyArguments>();
  const auto addKey = [&](tools::Syntax verb) {
    verb.AddArgument("KEY", arguments->key, "db/… or memory/…")
        .Required()
        .CompletedBy(KeyOffer(options));
  };
  tools::Syntax group = tool.AddGroup("key", "Read, write and watch the keys of the set");

  addKey(tool.AddVerb(group, "get", "Print the value of a key",
                      [&options, arguments] { return Get(options, arguments->key); }));

  tools::Syntax set = tool.AddVerb(group, "set", "Store the value of a key",
                                   [&options, arguments] { return Set(options, *arguments); });
  addKey(set);
  set.AddArgument("VALUE", arguments->value,
                  "Stored as an integer if written as one, unless the key holds a string")
      .Required();
  tools::Parameter isInt = set.AddFlag("--int", arguments->isInt, "Store an integer");
  set.AddFlag("--string", arguments->isString, "Store a string").Excludes(isInt);

  addKey(tool.AddVerb(group, "unset", "Remove a key",
                      [&options, arguments] { return Unset(options, arguments->key); }));

  tools::Syntax list =
      tool.AddVerb(group, "list", "Print all keys, or those that begin with PREFIX",
                   [&options, arguments] { return List(options, arguments->prefix); });
  list.AddArgument("PREFIX", arguments->prefix, "e.g. db/menu/").CompletedBy(KeyOffer(options));

  tools::Syntax watch = tool.AddVerb(group, "watch", "Print each change of a key as it happens",
                                     [&options, arguments] { return Watch(options, *arguments); });
  watch.AddArgument("PREFIX", arguments->prefix, "Only keys with this prefix, e.g. memory/set/")
      .CompletedBy(KeyOffer(options));
  tools::AddCount(watch, arguments->count, "Exit after N changes");
  tools::AddSeconds(watch, "--timeout", arguments->timeout, "How long to watch (default: forever)");

  AddKeyFileVerbs(tool, group, options);
}

}  // namespace setctl
