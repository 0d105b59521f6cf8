#include <fmt/format.h>

#include <memory>

#include "settings/item_cache.h"
#include "settingsctl/change_lines.h"
#include "settingsctl/completion_offers.h"
#include "settingsctl/items.h"
#include "settingsctl/verbs.h"

namespace settingsctl {
namespace {

using settings::CacheEvent;
using settings::Client;
using tools::ExitCode;
using tools::Failure;
using tools::Listening;

struct WatchArguments {
  Names items;
  std::optional<int> count;
};

// The items of the command line, which must exist, or all.
Names ItemsToWatch(Client& client, const Names& wanted) {
  if (!wanted.empty()) {
    Names items = ItemsOf(client, wanted);
    RequireItems(client, items);
    return items;
  }
  Names all = AllItems(client);
  if (all.empty()) {
    throw Failure(ExitCode::kRefused, "the service has no items; its log says why");
  }
  return all;
}

// Prints what a cache tells, at most `count` lines.
class Printer {
 public:
  Printer(const Options& options, std::optional<int> count)
      : m_Json(options.json), m_Count(count) {}

  void Print(CacheEvent event, const std::vector<settings::ItemChange>& changes) {
    if (event == CacheEvent::kGone) {
      tools::PrintNote("the service has ended; waiting for it to come back…");
    } else if (event == CacheEvent::kRead) {
      tools::PrintNote(m_Began ? "the service is back" : "watching…");
      m_Began = true;
    }
    const auto now = std::chrono::system_clock::now();
    for (const settings::ItemChange& change : changes) {
      for (const std::string& line :
           ChangeLines(change, event == CacheEvent::kLanguage, now, m_Json)) {
        if (!IsDone()) {
          tools::PrintLine(line);
          ++m_Seen;
        }
      }
    }
    tools::Flush();
  }

  bool IsDone() const { return m_Count && m_Seen >= *m_Count; }
  int Seen() const { return m_Seen; }

 private:
  const bool m_Json;
  const std::optional<int> m_Count;
  int m_Seen = 0;
  bool m_Began = false;
};

ExitCode Watch(const Options& options, const WatchArguments& arguments) {
  const WholeTime time(options);
  return WithClient(time.ForAnswers(), [&](Client& client) {
    Printer printer(options, arguments.count);
    const settings::ItemCache cache(
        client, ItemsToWatch(client, arguments.items),
        [&](CacheEvent event, const auto& changes) { printer.Print(event, changes); });
    Listening listening(time.Left());
    while (!printer.IsDone()) {
      switch (listening.Wait(client.Fd(), client.Events(), client.Timeout())) {
        case Listening::Event::kInput:
          client.Process();
          break;
        case Listening::Event::kLimit:
          if (!arguments.count) {
            return ExitCode::kDone;
          }
          throw Failure(ExitCode::kTimedOut,
                        fmt::format("only {} of {} changes came in {} s; wait longer with "
                                    "--timeout",
                                    printer.Seen(), *arguments.count, *options.timeout));
        case Listening::Event::kEnd:
          return ExitCode::kDone;
      }
    }
    return ExitCode::kDone;
  });
}

}  // namespace

void AddWatchVerb(tools::Tool& tool, const Options& options) {
  auto arguments = std::make_shared<WatchArguments>();
  tools::Syntax watch =
      tool.AddVerb(tool.App(), "watch", "Print what changes of items, as it happens",
                   [&options, arguments] { return Watch(options, *arguments); });
  watch.AddArgument("ITEM", arguments->items, "The items' IDs or paths; by default all items")
      .CompletedBy(ItemOffer(options));
  tools::AddCount(watch, arguments->count, "Exit after N lines");
}

}  // namespace settingsctl
