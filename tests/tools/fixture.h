#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/process.h"
#include "support/temp_directory.h"

// A message bus of a configuration of its own.
class TestBus {
 public:
  // `configuration` goes into the <busconfig>, behind what lets everybody do everything.
  explicit TestBus(const std::string& configuration = "");

  const std::string& Address() const { return m_Address; }

  // Ends the bus; its clients lose their connections.
  void End();

 private:
  support::TempDirectory m_Directory;
  std::string m_Address;
  std::unique_ptr<support::Process> m_Daemon;
};

// A command that runs beside the test, with its output in files.
class Background {
 public:
  explicit Background(const std::vector<std::string>& command,
                      const support::Variables& variables = {});

  std::string Out() const { return support::ReadFile(m_Directory / "out"); }
  std::string Err() const { return support::ReadFile(m_Directory / "err"); }
  support::Process& Process() { return m_Process; }

  // Whether that text has appeared, or does so in time.
  bool WaitForOut(const std::string& text) const;
  bool WaitForErr(const std::string& text) const;

 private:
  support::TempDirectory m_Directory;
  support::Process m_Process;
};

// A bus with a stand-in for the service, and the tools.
class OnBus : public testing::Test {
 protected:
  explicit OnBus(const std::string& configuration = "") : m_Bus(configuration) {}

  // Starts the stand-in and waits until it has its name.
  void StartService();
  // Ends it and waits for that. The bus notices some time later.
  void EndService();

  support::Variables Variables() const;
  std::vector<std::string> Command(std::vector<std::string> arguments) const;

  // Sends what only the service and the bus may announce, to everybody and to this client alone.
  void Forge(const std::string& client) const;

  // Runs settingsctl with these arguments on the bus.
  support::Outcome Run(const std::vector<std::string>& arguments) const;

  // Makes the stand-in do one of its tricks; `data` is a JSON object.
  support::Outcome Request(const std::string& method, const std::string& data = "{}") const;

  TestBus m_Bus;
  std::unique_ptr<Background> m_Service;
};

// How the tools print a time, for MatchesRegex.
inline constexpr char kTimePattern[] =
    "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}[+-][0-9]{2}:[0-9]{2}";

// The number of lines in a text.
int Lines(const std::string& text);

// Checks an outcome: success with this standard output, or a failure of `tool` with this exit
// status and, in place of output, one line of message that contains `message`.
void ExpectOutput(const support::Outcome& outcome, const std::string& text);
void ExpectFailureOf(const std::string& tool, const support::Outcome& outcome, int status,
                     const std::string& message);
