#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

// Common sd-bus code for all programs. It knows nothing of the settings service, and is not
// installed.
namespace bus {

template <typename T, T* (*Release)(T*)>
struct Releaser {
  void operator()(T* object) const { Release(object); }
};

// Closes on destruction, without sending what is still queued.
using Connection = std::unique_ptr<sd_bus, Releaser<sd_bus, sd_bus_close_unref>>;
using Slot = std::unique_ptr<sd_bus_slot, Releaser<sd_bus_slot, sd_bus_slot_unref>>;
using Message = std::unique_ptr<sd_bus_message, Releaser<sd_bus_message, sd_bus_message_unref>>;
using Credentials = std::unique_ptr<sd_bus_creds, Releaser<sd_bus_creds, sd_bus_creds_unref>>;

// Receives an object from an sd-bus function; `owner` owns it at the end of the statement.
template <typename Owner>
class Out {
 public:
  explicit Out(Owner& owner) : m_Owner(owner) {}
  ~Out() { m_Owner.reset(m_Object); }
  Out(const Out&) = delete;
  Out& operator=(const Out&) = delete;

  operator typename Owner::pointer *() { return &m_Object; }

 private:
  Owner& m_Owner;
  typename Owner::pointer m_Object = nullptr;
};

// Receives the name and the text of an error reply; empty when there was none.
class Error {
 public:
  Error() = default;
  ~Error() { sd_bus_error_free(&m_Error); }
  Error(const Error&) = delete;
  Error& operator=(const Error&) = delete;

  sd_bus_error* Out() { return &m_Error; }
  std::string Name() const { return m_Error.name == nullptr ? "" : m_Error.name; }
  std::string Text() const { return m_Error.message == nullptr ? "" : m_Error.message; }

 private:
  sd_bus_error m_Error = SD_BUS_ERROR_NULL;
};

// Returns `result`. Throws a negative errno as std::system_error, with `what` in front of its text.
int Check(int result, const char* what);

// A time by which something must have happened. sd-bus counts it in the same clock.
class Deadline {
 public:
  // `limit` from now; nothing for no limit.
  explicit Deadline(std::optional<std::chrono::microseconds> limit);

  bool Passed() const;

  // As for sd_bus_wait: microseconds, all ones for no limit.
  std::uint64_t Left() const;

 private:
  std::optional<std::chrono::steady_clock::time_point> m_End;
};

// Connects to "session", "system" or a bus address, and returns when the connection is usable.
// Connecting, and each later call, may take `patience`; nothing for sd-bus's default. Negative
// errno of sd-bus on failure, with `connection` unchanged.
int Connect(const std::string& name, std::optional<std::chrono::microseconds> patience,
            Connection& connection);

// Waits until there is something to handle or to send, or for the deadline. Negative errno.
int Wait(sd_bus* bus, const Deadline& deadline);

// Handles one incoming message or event, or waits for one. Negative errno; -ETIMEDOUT when nothing
// came before the deadline.
int ProcessOrWait(sd_bus* bus, const Deadline& deadline);

// Handles all messages that have arrived and flushes all outgoing ones. Negative errno; -ETIMEDOUT
// when that is not done by the deadline.
int Settle(sd_bus* bus, const Deadline& deadline);

// Whether the message comes from the bus itself. A match on the bus as sender is not enough:
// messages addressed to this connection arrive without a match.
bool IsFromBus(sd_bus_message* message);

// Whether somebody owns the name: 1 or 0, or a negative errno.
int HasOwner(sd_bus* bus, const std::string& name);

// Whether `id` can be an application's ID: a name that a program can own, and that is not the bus's
// or its services' (org.freedesktop.*) or the set's (org.nuvra.service.*). Accepts any text.
bool IsApplicationId(const std::string& id);

// The applications' IDs among the names that programs own, or among those that the bus can start a
// program for. Negative errno, with `ids` unchanged.
enum class Applications { kRunning, kInstalled };
int ListApplications(sd_bus* bus, Applications which, std::set<std::string>& ids);

// The strings of an array that sd-bus allocated, which is freed; empty when it is null.
std::vector<std::string> TakeTexts(char** array);

// Why Connect failed, for a message; valid until the next call of strerror.
const char* ConnectingProblem(int result);

}  // namespace bus
