#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "keystore/key_store.h"
#include "support/private_bus.h"
#include "support/process.h"
#include "support/temp_directory.h"

inline const std::string kCsfs = "com.velmora.tv.csfs";
inline const std::string kGameBar = "com.velmora.tv.gamebar";
inline const std::string kLauncher = "com.velmora.tv.multiscreenlauncher";
inline const std::string kMenu = "org.pavix.menu";
inline const std::string kViewer = "org.pavix.tv-viewer";
inline const std::string kAll[] = {kCsfs, kGameBar, kLauncher, kMenu, kViewer};

// An application that is installed but ends before it takes its name.
inline const std::string kBroken = "org.example.broken";

// A set's root directory, its key store, its bus, and the applications that this can start.
class Applications : public testing::Test {
 protected:
  Applications();
  // The applications end with the bus, before their set's directory goes.
  ~Applications() override;

  support::Variables Variables() const;

  // Runs `setctl app` with these arguments.
  support::Outcome App(const std::vector<std::string>& arguments) const;

  // The same, expected to succeed without a word.
  void AppDone(const std::vector<std::string>& arguments) const;

  // What `app list --json` says about an application; null when it is not in the list.
  Json::Value Listed(const std::string& id) const;
  bool Runs(const std::string& id) const { return Listed(id)["running"].asBool(); }
  pid_t PidOf(const std::string& id) const { return Listed(id)["pid"].asInt(); }

  // An application that this process starts itself.
  std::unique_ptr<support::Process> StartByHand(const std::string& id) const;

  // The lines of an application's log without time and process; what stands there now, and
  // whether a line is there or comes in time.
  std::vector<std::string> Log(const std::string& id) const;
  bool WaitForLog(const std::string& id, const std::string& line) const;

  std::optional<host::KeyValue> Key(const std::string& key) { return m_Keys.Get(key); }
  std::optional<host::KeyValue> Status(const std::string& id);

  support::TempDirectory m_Root;
  host::KeyStore m_Keys;
  std::unique_ptr<support::PrivateBus> m_Bus;
};
