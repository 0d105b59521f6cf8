#pragma once

#include <json/json.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

// The client of the settings service: requests, replies and signals (docs/wire.md).
namespace settings {

enum class ErrorCode {
  kNotRunning,      // nobody owns the service's name, or the service ended before it answered
  kTimedOut,        // no answer in time; a request may still be carried out
  kInvalidMessage,  // the service cannot read the request; it did nothing
  kFailed,          // the service or the bus could not do it
  kNotAllowed,      // the bus refuses this program, or the service refuses the request
  kBus,             // the bus cannot be reached, or the connection to it is lost
  kProtocol,        // not an answer that the settings service gives
};

// What went wrong, and what to do about it. The code is for programs, what() for people.
class [[gnu::visibility("default")]] Error : public std::runtime_error {
 public:
  Error(ErrorCode code, const std::string& problem, const std::string& advice);

  ErrorCode Code() const { return m_Code; }

  // what() without the advice, for programs that have better advice.
  const std::string& Problem() const { return m_Problem; }

 private:
  ErrorCode m_Code;
  std::string m_Problem;
};

// A message as sent: the message type and the body, JSON text.
struct Message {
  int type = 0;
  std::string body;
};

struct [[gnu::visibility("default")]] Reply {
  int type = 0;
  std::string text;  // as received
  Json::Value body;  // the same, parsed; an object

  // Whether the service did what was asked. Also false for a reply that does not say, such as that
  // of a method whose result comes as a signal.
  bool Succeeded() const;
};

struct Signal {
  std::string name;
  int type = 0;
  std::string body;    // JSON text
  std::string sender;  // the unique bus name of the service that sent it
};

// What an item became: only what is another than before is there.
struct ItemUpdate {
  std::string item;
  std::optional<std::string> value;
  std::optional<std::string> valueName;  // in the menu language
  std::optional<bool> visible;           // the item's own state, whatever its groups' is
  std::optional<bool> enabled;
};

// One of the conditions that hide or disable an item.
struct Reason {
  enum class What { kVisible, kEnabled };
  enum class Of { kItem, kKey, kFeature, kSource, kSpeaker, kGroup, kApp };

  What what = What::kVisible;     // the state that it decides
  Of of = Of::kItem;              // what it lies in: a value, a group above, or an application,
  std::string name;               // and which; the key of the source's and the speaker's type
  Json::Value is;                 // its present value, null when it has none,
  std::vector<Json::Value> list;  // and what is needed instead: one of these,
  bool isNot = false;             // or none of these. Empty for a group and an application.
};

// Why an item is hidden or disabled. Without reasons it is neither.
struct Explanation {
  std::string item;
  bool visible = false;  // the item's own states
  bool enabled = false;
  std::vector<Reason> reasons;
};

enum class ItemKind { kGroup, kSwitch, kList, kRange, kAction };

struct NamedValue {
  std::string value;
  std::string name;  // in the menu language
};

// What an item is. A group and an action have no value.
struct ItemDescription {
  std::string item;
  ItemKind kind = ItemKind::kAction;
  bool isPreview = false;          // whether its value is shown without being kept,
  std::optional<NamedValue> kept;  // and what is kept
  std::vector<NamedValue> values;  // of a list or a switch, in the order of the menu
};

// The bounds of an item and the distance between its values, as the menu shows them.
struct Range {
  double min = 0;
  double max = 0;
  double step = 0;
};

using SignalCallback = std::function<void(const Signal&)>;
using ItemsCallback = std::function<void(const std::vector<ItemUpdate>&)>;
using LanguageCallback = std::function<void(const std::string& language)>;

// A callback is called as long as its subscription lives; assigning another subscription ends it
// too. May outlive its client, and may end inside the callback. The client's thread only.
class [[nodiscard, gnu::visibility("default")]] Subscription {
 public:
  Subscription();  // to nothing
  ~Subscription();
  Subscription(Subscription &&) noexcept;
  Subscription& operator=(Subscription&&) noexcept;

 private:
  friend class Client;
  struct [[gnu::visibility("hidden")]] Impl;
  [[gnu::visibility("hidden")]] explicit Subscription(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> m_Impl;
};

// A connection to the bus of a settings service. The service need not be running: a request starts
// it if the bus can, and a subscription sees the signals of every instance. One thread at a time.
// Every function that talks to the bus throws Error; after kBus the connection stays lost, and a
// new client is needed.
class [[gnu::visibility("default")]] Client {
 public:
  // Connects to "session", "system" or a bus address such as "unix:path=/run/bus". `timeout` is
  // how long the connection, each request and each subscription may take; at least 1 µs.
  explicit Client(const std::string& bus = "session",
                  std::chrono::microseconds timeout = std::chrono::seconds(5));
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Sends the text unchanged and returns the reply. kInvalidMessage, without asking the service,
  // when the text is not UTF-8 or contains a zero byte.
  Message Request(const std::string& body, int type = 0);

  // Calls a method of the service with the members of `data` as its arguments; `members` go into
  // the request beside "method" and "data". Both must be objects; std::invalid_argument otherwise.
  Reply Call(const std::string& method, const Json::Value& data = Json::objectValue,
             const Json::Value& members = Json::objectValue);

  // The methods of the service. Nothing, or false, when the service could not do it: there is no
  // such item, or it does not accept the value. kProtocol when the service does not know the
  // method.
  std::optional<std::string> GetItemValue(const std::string& item);
  std::optional<std::string> GetItemValueName(const std::string& item);
  bool SetItemValue(const std::string& item, const std::string& value, bool preview = false);

  std::optional<std::string> GetItemDisplayName(const std::string& item);
  std::optional<std::string> GetItemDisplayID(const std::string& item);
  std::optional<std::string> GetItemPath(const std::string& item);
  std::optional<Range> GetItemMinMaxStepValue(const std::string& item);

  // The items directly below one, or at the top of the menu for ""; the values of a list or a
  // switch. Nothing also when there are none.
  std::optional<std::vector<std::string>> GetItemChildList(const std::string& item);
  std::optional<std::vector<std::string>> GetItemDataList(const std::string& item);

  std::optional<bool> GetItemVisible(const std::string& item);
  std::optional<bool> GetItemEnable(const std::string& item);
  std::optional<bool> GetItemPathVisible(const std::string& item);
  std::optional<bool> GetItemPathEnable(const std::string& item);
  std::optional<bool> GetItemDataVisible(const std::string& item, const std::string& value);
  std::optional<bool> GetItemDataEnable(const std::string& item, const std::string& value);

  // The answers come as signals of type 1 and 2, which carry `pid` and `callback`. No for an item
  // that does not exist.
  void GetItemVisibleAsync(const std::string& item, int pid, int callback);
  void GetItemPathEnableAsync(const std::string& item, int pid, int callback);

  // The record of items that applications disable (docs/disabled-items.md). The service does not
  // report whether a change succeeded: ask GetDisablerAppNamesByMenuId.
  void DisableItem(const std::string& item, const std::string& app);
  void EnableItem(const std::string& item, const std::string& app);
  void DisableItemsByList(const std::vector<std::string>& items, const std::string& app);
  void RemoveDisabledItemsByAppname(const std::string& app);
  std::optional<bool> IsItemEnabled(const std::string& item);
  std::optional<std::vector<std::string>> GetDisablerAppNamesByMenuId(const std::string& item);
  std::optional<std::vector<std::string>> GetDisabledItemsList();

  // Which conditions hide or disable an item at present. Nothing when there is no such item;
  // kProtocol when the service cannot explain.
  std::optional<Explanation> Explain(const std::string& item);

  // What the items are, in their order, without those that do not exist. Nothing when the service
  // does not describe items.
  std::optional<std::vector<ItemDescription>> DescribeItems(const std::vector<std::string>& items);

  // Why the service's key store failed since `begin`. Nothing when it did not fail, or when the
  // service does not say.
  std::optional<std::string> StoreFailureSince(std::chrono::steady_clock::time_point begin);

  // Whether `name` can be an application's: a bus name that is not a connection's, the bus's, its
  // services' or the set's (org.freedesktop.*, org.nuvra.service.*).
  static bool IsApplicationId(const std::string& name);

  // The IDs of the applications that run or that the bus can start, in order.
  std::vector<std::string> Applications();

  // Makes `name` a bus name of this connection until the client is destroyed, so that the service
  // takes this program for the application with that ID and releases what it disabled when it ends,
  // however it ends. False when another program has the name. std::invalid_argument when it cannot
  // be an application's.
  bool RequestName(const std::string& name);

  // Waits until the service is on the bus, without starting it. False when it did not come within
  // `limit` (nothing: forever). Calls callbacks, as RunUntil does.
  bool WaitForService(std::optional<std::chrono::microseconds> limit = std::nullopt);

  // After it returns, `callback` sees every signal that the service broadcasts, in order, across
  // restarts of the service. Only Process and RunUntil call it. It may send requests and subscribe,
  // but must neither call Process or RunUntil nor destroy the client. What it throws leaves the
  // Process or RunUntil that called it.
  Subscription Subscribe(SignalCallback callback);

  // The same for what items become (docs/wire.md): each change is announced once, and what was
  // asked after the subscription is as new as what was announced before the answer or newer. The
  // service has the items' own states; ItemCache (item_cache.h) knows what a hidden group hides.
  Subscription SubscribeItems(ItemsCallback callback);

  // The same for the menu language, when answers are in it.
  Subscription SubscribeLanguage(LanguageCallback callback);

  // For an event loop: wait until `Events()` (as for poll) happen on `Fd()` or `Timeout()` has
  // passed (nothing: forever), then call Process until it returns false. All three may change with
  // every call of this object.
  int Fd() const;
  short Events() const;
  std::optional<std::chrono::microseconds> Timeout() const;

  // Does one step of the pending work, without waiting: delivers at most one signal. False when
  // there was nothing to do.
  bool Process();

  // Processes until `done` returns true; it is called first, and after every step. False when that
  // did not happen within `limit` (nothing: forever).
  bool RunUntil(const std::function<bool()>& done,
                std::optional<std::chrono::microseconds> limit = std::nullopt);

 private:
  friend class Batch;
  friend class ItemCache;
  friend struct Subscription::Impl;
  struct [[gnu::visibility("hidden")]] Impl;
  std::unique_ptr<Impl> m_Impl;
};

}  // namespace settings
