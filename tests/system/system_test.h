#pragma once

#include <gtest/gtest.h>

#include "television_set.h"

// A test on a set with a running daemon.
class SystemTest : public testing::Test {
 protected:
  explicit SystemTest(const std::string& model = "full") : m_Set(model) { m_Set.StartDaemon(); }

  // The reply body that the daemon gives to a request body.
  std::string Request(const std::string& body) {
    const support::Outcome outcome = m_Set.Run({"settingsctl", "request", body});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return outcome.out;
  }

  TelevisionSet m_Set;
};
