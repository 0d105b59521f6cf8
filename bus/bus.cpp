#include "bus/bus.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

namespace bus {
namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

// Begins to connect. The caller releases `*bus` in any case.
int Open(const std::string& name, sd_bus** bus) {
  if (name == "session") {
    return sd_bus_open_user(bus);
  }
  if (name == "system") {
    return sd_bus_open_system(bus);
  }
  int result = sd_bus_new(bus);
  if (result < 0 || (result = sd_bus_set_address(*bus, name.c_str())) < 0 ||
      (result = sd_bus_set_bus_client(*bus, 1)) < 0) {
    return result;
  }
  return sd_bus_start(*bus);
}

int WaitUntilReady(sd_bus* bus, const Deadline& deadline) {
  int result = 0;
  while (result >= 0 && (result = sd_bus_is_ready(bus)) == 0) {
    result = ProcessOrWait(bus, deadline);
  }
  return result;
}

}  // namespace

int Check(int result, const char* what) {
  if (result < 0) {
    throw std::system_error(-result, std::generic_category(), what);
  }
  return result;
}

Deadline::Deadline(std::optional<microseconds> limit) {
  const auto now = steady_clock::now();
  // Compared in the coarser unit: in the clock's own, a long limit would overflow.
  if (limit && *limit < std::chrono::floor<microseconds>(steady_clock::time_point::max() - now)) {
    m_End = now + *limit;
  }
}

bool Deadline::Passed() const { return m_End && steady_clock::now() >= *m_End; }

std::uint64_t Deadline::Left() const {
  if (!m_End) {
    return UINT64_MAX;
  }
  const auto left = std::chrono::ceil<microseconds>(*m_End - steady_clock::now());
  return std::max<std::int64_t>(left.count(), 0);
}

int Connect(const std::string& name, std::optional<microseconds> patience, Connection& connection) {
  const Deadline deadline(patience);
  Connection opened;
  int result = Open(name, Out(opened));
  if (result >= 0 && patience) {
    result = sd_bus_set_method_call_timeout(opened.get(), patience->count());
  }
  if (result < 0 || (result = WaitUntilReady(opened.get(), deadline)) < 0) {
    return result;
  }
  connection = std::move(opened);
  return 0;
}

int Wait(sd_bus* bus, const Deadline& deadline) {
  const int result = sd_bus_wait(bus, deadline.Left());
  return result == -EINTR ? 0 : result;
}

int ProcessOrWait(sd_bus* bus, const Deadline& deadline) {
  const int result = sd_bus_process(bus, nullptr);
  if (result == 0) {
    return deadline.Passed() ? -ETIMEDOUT : Wait(bus, deadline);
  }
  return result == -EINTR ? 0 : result;
}

int Settle(sd_bus* bus, const Deadline& deadline) {
  for (;;) {
    int result = sd_bus_process(bus, nullptr);
    std::uint64_t unsent = 0;
    const bool idle = result == 0;
    if (idle) {
      result = sd_bus_get_n_queued_write(bus, &unsent);
    }
    if (result < 0 || (idle && unsent == 0)) {
      return result;
    }
    if (deadline.Passed()) {
      return -ETIMEDOUT;
    }
    if (idle && (result = Wait(bus, deadline)) < 0) {
      return result;
    }
  }
}

bool IsFromBus(sd_bus_message* message) {
  const char* const sender = sd_bus_message_get_sender(message);
  return sender != nullptr && std::strcmp(sender, "org.freedesktop.DBus") == 0;
}

int HasOwner(sd_bus* bus, const std::string& name) {
  Message reply;
  int result = sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                  "org.freedesktop.DBus", "NameHasOwner", nullptr, Out(reply), "s",
                                  name.c_str());
  int owned = 0;
  if (result >= 0) {
    result = sd_bus_message_read(reply.get(), "b", &owned);
  }
  return result < 0 ? result : owned;
}

bool IsApplicationId(const std::string& id) {
  return id.find('\0') == std::string::npos && !id.starts_with(':') &&
         sd_bus_service_name_is_valid(id.c_str()) > 0 && !id.starts_with("org.freedesktop.") &&
         !id.starts_with("org.nuvra.service.");
}

int ListApplications(sd_bus* bus, Applications which, std::set<std::string>& ids) {
  char** names = nullptr;
  const int result = which == Applications::kRunning ? sd_bus_list_names(bus, &names, nullptr)
                                                     : sd_bus_list_names(bus, nullptr, &names);
  if (result < 0) {
    return result;
  }
  ids.clear();
  for (const std::string& name : TakeTexts(names)) {
    if (IsApplicationId(name)) {
      ids.insert(name);
    }
  }
  return result;
}

std::vector<std::string> TakeTexts(char** array) {
  std::vector<std::string> texts;
  for (char** text = array; text != nullptr && *text != nullptr; ++text) {
    texts.emplace_back(*text);
    std::free(*text);
  }
  std::free(array);
  return texts;
}

const char* ConnectingProblem(int result) {
  // sd-bus's error when no variable says where the session bus is.
  return result == -ENOMEDIUM ? "DBUS_SESSION_BUS_ADDRESS is not set" : std::strerror(-result);
}

}  // namespace bus
