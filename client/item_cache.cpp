#include "settings/item_cache.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <tuple>
#include <utility>

#include "client_impl.h"
#include "settings/batch.h"
#include "settings/question.h"

// The service may announce a change while it serves a list of requests, and what it answered before
// that comes behind the announcement. So what is announced while items are read counts more than
// the answers: if an answer is the newer one, its change is still to be announced.

namespace settings {
namespace {

using Names = std::vector<std::string>;

template <typename T>
using Optional = Answer<std::optional<T>>;

// What is asked of an item.
struct Answers {
  std::string item;
  Optional<std::string> path;
  Optional<std::string> name;
  Optional<std::string> value;
  Optional<std::string> valueName;
  Optional<bool> visible;
  Optional<bool> enabled;
};

bool operator==(const ItemState& a, const ItemState& b) {
  const auto all = [](const ItemState& of) {
    return std::tie(of.name, of.value, of.valueName, of.visible, of.enabled, of.pathVisible,
                    of.pathEnabled);
  };
  return all(a) == all(b);
}

// The groups above an item, whose path is "group/group/item".
Names GroupsOf(const std::string& path) {
  Names groups;
  std::size_t begin = 0;
  for (std::size_t end = path.find('/'); end != std::string::npos; end = path.find('/', begin)) {
    groups.push_back(path.substr(begin, end - begin));
    begin = end + 1;
  }
  return groups;
}

}  // namespace

struct ItemCache::Impl {
  struct Known {
    ItemState state;
    Names groups;                   // above it
    std::set<std::string> below;    // of the cache's items
    std::optional<ItemState> told;  // only of the cache's items
    bool exists = false;
  };

  Impl(Client& client, const Names& items, CacheCallback callback);

  void Read(CacheEvent because);
  void Ask(const std::set<std::string>& some);
  void Take();
  void Take(const Answers& answers);
  std::set<std::string> UnreadGroups();
  void Hear(const std::vector<ItemUpdate>& updates);
  void Apply(const ItemUpdate& update);
  void Tell(CacheEvent event);
  bool OfPath(const Known& of, bool ItemState::*state) const;

  Client& client;
  const std::set<std::string> items;
  const std::shared_ptr<CacheCallback> callback;  // shared with its call, which may end the cache
  std::map<std::string, Known> known;             // the items, and the groups above them
  std::set<std::string> touched;                  // the items that may differ from what was told
  bool isCurrent = false;

  // While the items are read:
  std::unique_ptr<Batch> reading;
  CacheEvent reason = CacheEvent::kRead;
  std::vector<Answers> asked;
  std::set<std::string> read;
  std::vector<ItemUpdate> heard;

  Subscription owner;
  Subscription changes;
  Subscription language;
};

ItemCache::ItemCache(Client& client, const Names& items, CacheCallback callback)
    : m_Impl(std::make_unique<Impl>(client, items, std::move(callback))) {}

ItemCache::~ItemCache() = default;

bool ItemCache::IsCurrent() const { return m_Impl->isCurrent; }

const ItemState* ItemCache::Find(const std::string& item) const {
  const auto found = m_Impl->known.find(item);
  return found != m_Impl->known.end() && found->second.told ? &*found->second.told : nullptr;
}

ItemCache::Impl::Impl(Client& ofCache, const Names& itsItems, CacheCallback itsCallback)
    : client(ofCache),
      items(itsItems.begin(), itsItems.end()),
      callback(std::make_shared<CacheCallback>(std::move(itsCallback))),
      owner(client.m_Impl->SubscribeOwner([this](bool isThere) {
        if (isThere) {
          Read(CacheEvent::kRead);
          return;
        }
        reading.reset();
        if (std::exchange(isCurrent, false)) {
          Tell(CacheEvent::kGone);
        }
      })),
      changes(client.SubscribeItems([this](const auto& updates) { Hear(updates); })),
      language(client.SubscribeLanguage(
          [this](const auto&) { Read(isCurrent ? CacheEvent::kLanguage : CacheEvent::kRead); })) {
  Read(CacheEvent::kRead);
}

void ItemCache::Impl::Read(CacheEvent because) {
  isCurrent = because == CacheEvent::kLanguage;
  reason = because;
  reading = std::make_unique<Batch>(client);
  asked.clear();
  read.clear();
  heard.clear();
  // Without items something is asked, too: whether the service is there.
  Ask(items.empty() ? std::set<std::string>{""} : items);
}

void ItemCache::Impl::Ask(const std::set<std::string>& some) {
  for (const std::string& item : some) {
    asked.push_back(
        {item, reading->Add(ask::GetItemPath(item)), reading->Add(ask::GetItemDisplayName(item)),
         reading->Add(ask::GetItemValue(item)), reading->Add(ask::GetItemValueName(item)),
         reading->Add(ask::GetItemVisible(item)), reading->Add(ask::GetItemEnable(item))});
  }
  reading->Send([this] { Take(); });
}

void ItemCache::Impl::Take() {
  try {
    for (const Answers& answers : std::exchange(asked, {})) {
      Take(answers);
    }
  } catch (const Error& error) {
    const ErrorCode code = error.Code();
    reading.reset();
    if (code == ErrorCode::kTimedOut) {
      Read(reason);
    } else if (code != ErrorCode::kNotRunning) {
      throw;
    }
    return;
  }
  if (const std::set<std::string> groups = UnreadGroups(); !groups.empty()) {
    Ask(groups);
    return;
  }
  reading.reset();
  for (const ItemUpdate& update : std::exchange(heard, {})) {
    Apply(update);
  }
  isCurrent = true;
  touched = items;
  Tell(reason);
}

void ItemCache::Impl::Take(const Answers& answers) {
  const std::optional<std::string>& path = answers.path.Get();
  Known& of = known[answers.item];
  of.exists = path.has_value();
  of.groups = GroupsOf(path.value_or(""));
  of.state.name = answers.name.Get().value_or("");
  of.state.value = answers.value.Get();
  of.state.valueName = of.state.value ? answers.valueName.Get().value_or("") : "";
  of.state.visible = answers.visible.Get().value_or(false);
  of.state.enabled = answers.enabled.Get().value_or(false);
  read.insert(answers.item);
}

std::set<std::string> ItemCache::Impl::UnreadGroups() {
  std::set<std::string> groups;
  for (const std::string& item : items) {
    for (const std::string& group : known[item].groups) {
      known[group].below.insert(item);
      if (read.count(group) == 0) {
        groups.insert(group);
      }
    }
  }
  return groups;
}

void ItemCache::Impl::Hear(const std::vector<ItemUpdate>& updates) {
  if (reading) {
    heard.insert(heard.end(), updates.begin(), updates.end());
    return;
  }
  for (const ItemUpdate& update : updates) {
    Apply(update);
  }
  if (isCurrent) {
    Tell(CacheEvent::kChanged);
  }
}

void ItemCache::Impl::Apply(const ItemUpdate& update) {
  const auto found = known.find(update.item);
  if (found == known.end() || !found->second.exists) {
    return;
  }
  Known& of = found->second;
  of.state.value = update.value ? update.value : of.state.value;
  of.state.valueName = update.valueName.value_or(of.state.valueName);
  of.state.visible = update.visible.value_or(of.state.visible);
  of.state.enabled = update.enabled.value_or(of.state.enabled);
  touched.insert(of.below.begin(), of.below.end());
  if (items.count(update.item) != 0) {
    touched.insert(update.item);
  }
}

bool ItemCache::Impl::OfPath(const Known& of, bool ItemState::*state) const {
  return of.state.*state && std::all_of(of.groups.begin(), of.groups.end(), [&](const auto& group) {
           return known.at(group).state.*state;
         });
}

// The callback may end the cache, so that nothing of it is used after the call.
void ItemCache::Impl::Tell(CacheEvent event) {
  std::vector<ItemChange> differences;
  for (const std::string& item : std::exchange(touched, {})) {
    Known& of = known[item];
    of.state.pathVisible = OfPath(of, &ItemState::visible);
    of.state.pathEnabled = OfPath(of, &ItemState::enabled);
    if (!of.exists) {
      of.told.reset();
    } else if (!of.told) {
      of.told = of.state;
    } else if (!(*of.told == of.state)) {
      differences.push_back({item, *std::exchange(of.told, of.state), of.state});
    }
  }
  if (event != CacheEvent::kChanged || !differences.empty()) {
    const std::shared_ptr<CacheCallback> call = callback;
    (*call)(event, differences);
  }
}

}  // namespace settings
