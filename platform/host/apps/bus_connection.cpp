#include "apps/bus_connection.h"

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <utility>

#include "framework/bus_address.h"

namespace host {
namespace {

// Only the bus itself is ever waited for, and it answers at once unless the whole set hangs.
constexpr std::chrono::microseconds kPatience = std::chrono::seconds(2);

// The first error of a chain of sd-bus calls; each runs only if all before it succeeded.
template <typename... Calls>
int FirstError(Calls... calls) {
  int result = 0;
  const bool succeeded = (((result = calls()) >= 0) && ...);
  return succeeded ? 0 : result;
}

}  // namespace

int Connect(BusConnection& connection) {
  sd_bus* raw = nullptr;
  int result = sd_bus_new(&raw);
  if (result < 0) {
    return result;
  }
  BusConnection bus(raw);
  result = FirstError([&] { return sd_bus_set_address(raw, BusAddress().c_str()); },
                      [&] { return sd_bus_set_bus_client(raw, true); },
                      [&] { return sd_bus_set_method_call_timeout(raw, kPatience.count()); },
                      [&] { return sd_bus_start(raw); }, [&] { return Settle(raw); });
  if (result == 0) {
    connection = std::move(bus);
  }
  return result;
}

int Settle(sd_bus* bus) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    const int handled = sd_bus_process(bus, nullptr);
    if (handled < 0) {
      return handled;
    }
    std::uint64_t unsent = 0;
    const int known = sd_bus_get_n_queued_write(bus, &unsent);
    if (known < 0) {
      return known;
    }
    if (handled == 0 && unsent == 0 && sd_bus_is_ready(bus) > 0) {
      return 0;
    }
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
        end - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      return -ETIMEDOUT;
    }
    const int waited = handled > 0 ? 0 : sd_bus_wait(bus, left.count());
    if (waited < 0 && waited != -EINTR) {
      return waited;
    }
  }
}

}  // namespace host
