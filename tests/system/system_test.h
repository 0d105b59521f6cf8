#pragma once

#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <utility>

#include "television_set.h"

// A test on a set with a running daemon.
class SystemTest : public testing::Test {
 protected:
  explicit SystemTest(const std::string& model = "full") : SystemTest(Started(model)) {}
  explicit SystemTest(std::shared_ptr<TelevisionSet> set)
      : m_Owned(std::move(set)), m_Set(*m_Owned) {}

  static std::shared_ptr<TelevisionSet> Started(const std::string& model) {
    auto set = std::make_shared<TelevisionSet>(model);
    set->StartDaemon();
    return set;
  }

  // The reply body that the daemon gives to a request body.
  std::string Request(const std::string& body) {
    const support::Outcome outcome = m_Set.Run({"settingsctl", "request", body});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
  }

 private:
  const std::shared_ptr<TelevisionSet> m_Owned;

 protected:
  TelevisionSet& m_Set;
};

// The same on one set for the whole suite: for tests that leave nothing behind that another sees.
class SharedSetTest : public SystemTest {
 protected:
  SharedSetTest() : SystemTest(s_Shared) {}

  static void SetUpTestSuite() { s_Shared = Started("full"); }
  static void TearDownTestSuite() { s_Shared.reset(); }

  void TearDown() override {
    if (HasFailure()) {
      std::cerr << "The daemon's log:\n" << m_Set.LogText();
    }
  }

 private:
  inline static std::shared_ptr<TelevisionSet> s_Shared;
};
