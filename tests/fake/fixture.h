#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>

#include "fake_platform.h"

namespace fakes {

// A place in a test's text. As a default argument, Current() is where the function was called:
// what std::source_location is for, which not every compiler that builds this has.
struct Place {
  static Place Current(const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    return {file, line};
  }

  const char* file;
  int line;
};

// A test over a fresh fake platform. Fails at its end when a failure that it injected never
// came about.
class FakePlatformTest : public testing::Test {
 protected:
  FakePlatformTest();
  void TearDown() override;

  // From now on "{name}" in an expected trace stands for `text`. "{pid}" is there from the
  // beginning: this process.
  void Let(const std::string& name, std::string text);

  // Expects exactly these lines as the trace since the last call, and takes them out of it. One
  // line of `expected` is one of the trace; indentation and empty lines do not count.
  void ExpectTrace(std::string_view expected, Place where = Place::Current());

  Platform& fake = Platform::Instance();

 private:
  std::map<std::string, std::string> m_Placeholders;
};

}  // namespace fakes
