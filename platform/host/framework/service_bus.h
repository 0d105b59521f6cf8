#pragma once

#include <stdexcept>
#include <string>

#include "bus/bus.h"

namespace host {

// Why a service does not start: what to tell whoever started it, in one line, and the exit
// status of the process.
class StartFailure : public std::runtime_error {
 public:
  StartFailure(int exitStatus, const std::string& text)
      : std::runtime_error(text), m_ExitStatus(exitStatus) {}
  int ExitStatus() const { return m_ExitStatus; }

 private:
  int m_ExitStatus;
};

// The connection of this process's service to its bus. One at a time. Main-loop thread only.
class ServiceBus {
 public:
  // Connects to `choice`: "session", "system" or the address of a bus. Throws StartFailure.
  explicit ServiceBus(const std::string& choice);

  // Destruction sends nothing that is still queued.
  ServiceBus(const ServiceBus&) = delete;
  ServiceBus& operator=(const ServiceBus&) = delete;

  sd_bus* Get() const { return m_Bus.get(); }

  // Whether it was chosen as the system bus, to which more than one user connects.
  bool IsSystem() const { return m_IsSystem; }

  // Takes the well-known name, without replacing an owner or waiting for one. Throws StartFailure.
  void TakeName(const std::string& name);

  // Gives the name back, and logs who gets it if somebody waits for it. Waits until the bus has
  // taken everything that was sent before, at most two seconds. Does nothing when the connection is
  // lost.
  void ReleaseName(const std::string& name);

  // The connection of the running service; null without one.
  static sd_bus* Current();

 private:
  [[noreturn]] void FailConnecting(int error) const;
  std::string DescribeOwner(const std::string& name) const;
  void WarnOfHeir(const std::string& name) const;

  const bool m_IsSystem;
  const std::string m_Description;  // "the session bus"
  bus::Connection m_Bus;
};

// The address of the set's bus, to which AppMain connected; empty before that. Any thread once
// AppMain has called the service.
const std::string& BusAddress();

}  // namespace host
