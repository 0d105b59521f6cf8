#include "fixture.h"

#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <vector>

namespace fakes {

namespace {

using Lines = std::vector<std::string>;

// The lines of both, those only in `expected` marked with "-" and those only in `actual` with
// "+", by the longest sequence that they have in common.
std::string Difference(const Lines& expected, const Lines& actual) {
  std::vector common(expected.size() + 1, std::vector<int>(actual.size() + 1));
  for (auto e = expected.size(); e-- > 0;) {
    for (auto a = actual.size(); a-- > 0;) {
      common[e][a] = expected[e] == actual[a] ? common[e + 1][a + 1] + 1
                                              : std::max(common[e + 1][a], common[e][a + 1]);
    }
  }
  std::string difference;
  std::size_t e = 0;
  std::size_t a = 0;
  while (e < expected.size() || a < actual.size()) {
    if (e < expected.size() && a < actual.size() && expected[e] == actual[a]) {
      difference += "  " + expected[e++] + '\n';
      ++a;
    } else if (a == actual.size() ||
               (e < expected.size() && common[e + 1][a] >= common[e][a + 1])) {
      difference += "- " + expected[e++] + '\n';
    } else {
      difference += "+ " + actual[a++] + '\n';
    }
  }
  return difference;
}

}  // namespace

FakePlatformTest::FakePlatformTest() {
  fake.Reset();
  Let("pid", std::to_string(getpid()));
}

void FakePlatformTest::TearDown() {
  for (const std::string& unused : fake.UnusedFailures()) {
    ADD_FAILURE() << unused;
  }
  fake.RemoveFiles();
}

void FakePlatformTest::Let(const std::string& name, std::string text) {
  m_Placeholders["{" + name + "}"] = std::move(text);
}

void FakePlatformTest::ExpectTrace(std::string_view expected, Place where) {
  Lines expectedLines;
  std::istringstream stream{std::string(expected)};
  for (std::string line; std::getline(stream, line);) {
    line.erase(0, line.find_first_not_of(' '));
    if (line.empty()) {
      continue;
    }
    for (const auto& [placeholder, text] : m_Placeholders) {
      for (auto at = line.find(placeholder); at != std::string::npos;
           at = line.find(placeholder, at + text.size())) {
        line.replace(at, placeholder.size(), text);
      }
    }
    expectedLines.push_back(line);
  }

  const Lines actualLines = fake.TakeTrace();
  if (expectedLines != actualLines) {
    ADD_FAILURE_AT(where.file, where.line) << "The trace differs (- expected, + happened):\n"
                                           << Difference(expectedLines, actualLines);
  }
}

}  // namespace fakes
