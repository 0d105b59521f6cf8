#include "set_test.h"

#include <chrono>
#include <sstream>

#include "ormu.h"
#include "support/temp_directory.h"
#include "support/wait.h"
#include "system/environment.h"
#include "system/log.h"

namespace host {
namespace {

std::string LogText() {
  EXPECT_TRUE(FlushLog(std::chrono::seconds(10)));
  return support::ReadFile(GetEnvironment().root / "log");
}

void TakeNotification(void*, int value, void* numbers) {
  static_cast<Numbers*>(numbers)->Take(value);
}

}  // namespace

void Numbers::Take(int number) {
  const std::lock_guard lock(m_Mutex);
  m_Numbers.push_back(number);
}

std::vector<int> Numbers::All() const {
  const std::lock_guard lock(m_Mutex);
  return m_Numbers;
}

bool Numbers::WaitForCount(std::size_t count) const {
  return support::WaitUntil([&] { return All().size() >= count; });
}

GameItems::GameItems()
    : m_Id(ormu_register_callback_id("game-item-changed", TakeNotification,
                                     static_cast<Numbers*>(this))) {
  EXPECT_GT(m_Id, 0);
}

GameItems::~GameItems() { EXPECT_EQ(ormu_unregister_callback_id(m_Id), 0); }

HostSet::HostSet() : m_LogBegin(LogText().size()) { RemoveKeys(); }

HostSet::~HostSet() { RemoveKeys(); }

std::vector<std::string> HostSet::Logged(const std::string& text) const {
  std::vector<std::string> lines;
  std::istringstream log(LogText().substr(m_LogBegin));
  for (std::string line; std::getline(log, line);) {
    if (line.find(text) != std::string::npos) {
      lines.push_back(line);
    }
  }
  return lines;
}

void HostSet::RemoveKeys() {
  for (const char* prefix : {"memory/", "db/"}) {
    for (const auto& [key, value] : Store().List(prefix)) {
      Store().Unset(key);
    }
  }
}

}  // namespace host
