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
  kNotRunning,      // nobody is there under the service's name, or it ended before it answered
  kTimedOut,        // no answer in time; a request may still be carried out
  kInvalidMessage,  // the service does not read such a request; it did nothing
  kFailed,          // the service or the bus could not do it
  kNotAllowed,      // the bus does not let this program in, or not to the service
  kBus,             // the bus cannot be reached, or the connection to it is lost
  kProtocol,        // the answer is none that the settings service gives
};

// What went wrong, and what to do about it. The code tells programs what what() tells people.
class Error : public std::runtime_error {
 public:
  Error(ErrorCode code, const std::string& problem, const std::string& advice);

  ErrorCode Code() const { return m_Code; }

  // what() without the advice, for a program that has a better one.
  const std::string& Problem() const { return m_Problem; }

 private:
  ErrorCode m_Code;
  std::string m_Problem;
};

// A body as it travels: JSON text, with the message type beside it.
struct Message {
  int type = 0;
  std::string body;
};

struct Reply {
  int type = 0;
  std::string text;  // as it came
  Json::Value body;  // the same, parsed; an object

  // Whether the service did what was asked. Also false for a reply that does not say, which is
  // what a method answers whose result comes as a signal.
  bool Succeeded() const;
};

struct Signal {
  std::string name;
  int type = 0;
  std::string body;    // JSON text
  std::string sender;  // the unique bus name of the service that sent it
};

// The bounds of an item and the distance between its values, as the menu shows them.
struct Range {
  double min = 0;
  double max = 0;
  double step = 0;
};

using SignalCallback = std::function<void(const Signal&)>;

// A callback is called as long as its subscription lives; assigning another one to it ends it,
// too. May outlive its client, and may end inside the callback. The client's thread only.
class [[nodiscard]] Subscription {
 public:
  Subscription();  // of nothing
  ~Subscription();
  Subscription(Subscription&&) noexcept;
  Subscription& operator=(Subscription&&) noexcept;

 private:
  friend class Client;
  struct Impl;
  explicit Subscription(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> m_Impl;
};

// A connection to the bus of a settings service. The service itself need not be there: a request
// starts it where the bus knows how to, and a subscription sees the signals of every instance
// that comes. One thread at a time. Every function that talks to the bus throws Error; after
// kBus the connection stays lost, and a new client is needed.
class Client {
 public:
  // Connects to "session", "system" or a bus address such as "unix:path=/run/bus". `timeout` is
  // how long the connection, each request and each subscription may take; at least 1 µs.
  explicit Client(const std::string& bus = "session",
                  std::chrono::microseconds timeout = std::chrono::seconds(5));
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Sends the text as it is and returns what came back. kInvalidMessage without a question to
  // the service when the text is not UTF-8 or holds a zero byte.
  Message Request(const std::string& body, int type = 0);

  // Calls a method of the service with the members of `data` as its arguments; `members` go
  // beside "method" and "data" into the request. Both are objects; std::invalid_argument
  // otherwise.
  Reply Call(const std::string& method, const Json::Value& data = Json::objectValue,
             const Json::Value& members = Json::objectValue);

  // The methods of the service. Nothing, or false, when the service was asked and could not do
  // it: there is no such item, or it does not take the value. kProtocol when the service does
  // not know the method.
  std::optional<std::string> GetItemValue(const std::string& item);
  std::optional<std::string> GetItemValueName(const std::string& item);
  bool SetItemValue(const std::string& item, const std::string& value, bool preview = false);

  std::optional<std::string> GetItemDisplayName(const std::string& item);
  std::optional<std::string> GetItemDisplayID(const std::string& item);
  std::optional<std::string> GetItemPath(const std::string& item);
  std::optional<Range> GetItemMinMaxStepValue(const std::string& item);

  // The items right below one, or at the top of the menu for ""; the values of a list or a
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
  // say what became of a change: ask GetDisablerAppNamesByMenuId.
  void DisableItem(const std::string& item, const std::string& app);
  void EnableItem(const std::string& item, const std::string& app);
  void DisableItemsByList(const std::vector<std::string>& items, const std::string& app);
  void RemoveDisabledItemsByAppname(const std::string& app);
  std::optional<bool> IsItemEnabled(const std::string& item);
  std::optional<std::vector<std::string>> GetDisablerAppNamesByMenuId(const std::string& item);
  std::optional<std::vector<std::string>> GetDisabledItemsList();

  // Why the service could not do something since `begin`: what its key store failed at. Nothing
  // when it did not fail, and from a service that does not tell.
  std::optional<std::string> StoreFailureSince(std::chrono::steady_clock::time_point begin);

  // Whether `name` can be an application's: a bus name that is neither a connection's nor that of
  // the bus, its services or the set's (org.freedesktop.*, org.nuvra.service.*).
  static bool IsApplicationId(const std::string& name);

  // Makes `name` a bus name of this connection until the client ends, so that the service takes
  // the program for the application of that ID and releases what it disabled when it ends, however
  // it ends. False when another program has the name. std::invalid_argument when it cannot be
  // an application's.
  bool RequestName(const std::string& name);

  // Waits until the service is on the bus, which it may be already, without starting it. False when
  // it did not come within `limit` (nothing: for ever). Calls callbacks, as RunUntil does.
  bool WaitForService(std::optional<std::chrono::microseconds> limit = std::nullopt);

  // From the return on `callback` sees every signal that the service broadcasts, in order,
  // across restarts of the service. It is called by Process and RunUntil only. It may send
  // requests and subscribe, but may neither call Process or RunUntil nor end the client. What
  // it throws comes out of the Process or RunUntil that called it.
  Subscription Subscribe(SignalCallback callback);

  // For an event loop: wait until `Events()` (as for poll) happen on `Fd()` or `Timeout()` has
  // passed (nothing: for ever), then call Process until it returns false. All three may change
  // with every call of this object.
  int Fd() const;
  short Events() const;
  std::optional<std::chrono::microseconds> Timeout() const;

  // Does one step of what there is to do, without waiting: delivers at most one signal. False
  // when there was nothing.
  bool Process();

  // Processes until `done` returns true, asked first and after every step. False when that did
  // not happen within `limit` (nothing: for ever).
  bool RunUntil(const std::function<bool()>& done,
                std::optional<std::chrono::microseconds> limit = std::nullopt);

 private:
  friend struct Subscription::Impl;
  struct Impl;
  std::unique_ptr<Impl> m_Impl;
};

}  // namespace settings
