#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <vector>

#include "keystore/process_store.h"

namespace host {

// Takes numbers on one thread, to be looked at on another.
class Numbers {
 public:
  void Take(int number);
  std::vector<int> All() const;

  // Whether there are so many, or are in time.
  bool WaitForCount(std::size_t count) const;

 private:
  mutable std::mutex m_Mutex;
  std::vector<int> m_Numbers;
};

// Notifications of the game item.
class GameItems : public Numbers {
 public:
  GameItems();
  ~GameItems();

 private:
  const int m_Id;
};

// Tests on the set that all tests of the process share. Each begins and ends with no keys of the
// set, and sees what was logged meanwhile.
class HostSet : public testing::Test {
 protected:
  HostSet();
  ~HostSet() override;

  static KeyStore& Store() { return ProcessStore(); }

  // The lines since the test began that contain `text`.
  std::vector<std::string> Logged(const std::string& text) const;

 private:
  static void RemoveKeys();

  std::size_t m_LogBegin;
};

}  // namespace host
