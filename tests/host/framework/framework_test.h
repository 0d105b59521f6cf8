#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "bus/bus.h"
#include "support/private_bus.h"
#include "support/process.h"
#include "support/temp_directory.h"

inline constexpr char kBusName[] = "org.nuvra.service.test_service";
inline constexpr char kObject[] = "/org/nuvra/service/test_service";
inline constexpr char kInterface[] = "org.nuvra.Service1";

// What a client got: a reply, or the name and the message of an error.
struct Answer {
  int type = 0;
  std::string body;
  std::string error;
  std::string message;

  bool operator==(const Answer&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const Answer& answer);

// What an answer to a request says.
Answer ReadAnswer(sd_bus_message* message);

struct ReceivedSignal {
  std::string name;
  int type = 0;
  std::string body;

  bool operator==(const ReceivedSignal&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const ReceivedSignal& signal);

// One connection to the bus. One thread at a time.
class Client {
 public:
  explicit Client(const std::string& address);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  sd_bus* Get() const { return m_Bus.get(); }
  std::string UniqueName() const;

  // Asks the test service, by its well-known name unless said, and waits for the answer.
  Answer Request(const std::string& body, int type = 0, const std::string& to = kBusName);

  // Sends a request and returns; the next Answers come in `answers`.
  void Post(const std::string& body, bool expectReply = true);
  const std::vector<Answer>& Answers() const { return m_Answers; }

  // Collects the signals of the service from now on.
  void Listen();
  const std::vector<ReceivedSignal>& Signals() const { return m_Signals; }

  // Whether somebody owns the name.
  bool HasOwner(const std::string& name = kBusName);

  // Handles what arrives until `done`; false when that takes too long.
  bool Until(const std::function<bool()>& done);

 private:
  static int OnAnswer(sd_bus_message* message, void* self, sd_bus_error*);
  static int OnSignal(sd_bus_message* message, void* self, sd_bus_error*);

  bus::Connection m_Bus;
  std::vector<Answer> m_Answers;
  std::vector<ReceivedSignal> m_Signals;
};

// A bus of its own, and test services on it.
class FrameworkTest : public testing::Test {
 protected:
  FrameworkTest();
  ~FrameworkTest() override;

  // Starts a service. A client that asks it waits until it serves.
  support::Process& Start(const support::Variables& variables = {},
                          const std::vector<std::string>& options = {});

  // The same, and returns when it serves.
  support::Process& StartAndWait(const support::Variables& variables = {},
                                 const std::vector<std::string>& options = {});

  // Runs a service to its end.
  support::Outcome Run(const std::vector<std::string>& options,
                       const support::Variables& variables = {});

  support::Variables WithDefaults(const support::Variables& variables) const;

  support::PrivateBus& Bus() { return *m_Bus; }
  const std::string& Address() const { return m_Bus->Address(); }
  std::filesystem::path Path(const std::string& file) const { return m_Directory / file; }

  // What the framework called in the services so far.
  std::vector<std::string> Trace() const;
  bool WaitForTrace(const std::string& line) const;
  std::string Log() const;
  std::vector<std::string> LogLinesWith(const std::string& text) const;

 private:
  support::TempDirectory m_Directory;
  std::unique_ptr<support::PrivateBus> m_Bus;
  std::vector<std::unique_ptr<support::Process>> m_Services;
};
