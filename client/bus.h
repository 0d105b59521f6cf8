#pragma once

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

// Connections to a bus for programs that wait for each answer. Used by the client and by setctl;
// not installed.
namespace settings {

template <typename T, T* (*Release)(T*)>
struct Releaser {
  void operator()(T* object) const { Release(object); }
};

using Bus = std::unique_ptr<sd_bus, Releaser<sd_bus, sd_bus_close_unref>>;
using BusSlot = std::unique_ptr<sd_bus_slot, Releaser<sd_bus_slot, sd_bus_slot_unref>>;
using BusMessage = std::unique_ptr<sd_bus_message, Releaser<sd_bus_message, sd_bus_message_unref>>;

// Where a call puts the name and the text of an error reply; empty when there was none.
class BusError {
 public:
  BusError() = default;
  ~BusError() { sd_bus_error_free(&m_Error); }
  BusError(const BusError&) = delete;
  BusError& operator=(const BusError&) = delete;

  sd_bus_error* Out() { return &m_Error; }
  std::string Name() const { return m_Error.name == nullptr ? "" : m_Error.name; }
  std::string Text() const { return m_Error.message == nullptr ? "" : m_Error.message; }

 private:
  sd_bus_error m_Error = SD_BUS_ERROR_NULL;
};

// A time by which something must have happened. sd-bus counts it in the same clock.
class Deadline {
 public:
  // `limit` from now; nothing for no end.
  explicit Deadline(std::optional<std::chrono::microseconds> limit);

  bool Passed() const;

  // As sd_bus_wait takes it: microseconds, all ones for no end.
  std::uint64_t Left() const;

 private:
  std::optional<std::chrono::steady_clock::time_point> m_End;
};

// Connects to "session", "system" or a bus address, and returns when the connection can be used.
// That, and each call later on, may take `patience`. Negative errno, as sd-bus has it, and `bus`
// stays as it is.
int Connect(const std::string& name, std::chrono::microseconds patience, Bus& bus);

// Handles one thing that came, or waits for one. Negative errno; -ETIMEDOUT when nothing came
// before the deadline.
int ProcessOrWait(sd_bus* bus, const Deadline& deadline);

// The reason why Connect failed, for a message; valid until the next call of strerror.
const char* ConnectingProblem(int result);

}  // namespace settings
