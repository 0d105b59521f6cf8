// Does what its arguments say, one command after the other, and reports on standard output:
//   bool KEY, int KEY     a feature of the model
//   int-null-output KEY, int-null-key  calls that break the contract
//   together KEY          the same int feature, by many threads at once
//   announce EVENT, announce-null, withdraw
//   register NAME PID, register-null   a CPU inheritance destination
//   path NUMBER RELATIVE, path-null    a composed path
//   watch, feed           the deadlock watchdog
//   environment           what the variables say
//   at-exit               what follows, when the objects of the program are being destroyed

#include <sys/types.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "cpu_inheritance.h"
#include "deadlock_watchdog.h"
#include "lwipc.h"
#include "platform_path.h"
#include "system/environment.h"
#include "system/ready_event.h"
#include "system_info.h"

namespace {

constexpr int kUntouched = -77;

// Preset to `true` and to `false`: only an output that is left alone stays both.
void PrintBool(const std::string& key) {
  bool value = true;
  bool otherValue = false;
  const int result = system_info_get_custom_bool(key.c_str(), &value);
  system_info_get_custom_bool(key.c_str(), &otherValue);
  std::printf("%d %s\n", result, value != otherValue ? "untouched" : value ? "true" : "false");
}

void PrintInt(const char* key) {
  int value = kUntouched;
  const int result = system_info_get_custom_int(key, &value);
  std::printf("%d %s\n", result, value == kUntouched ? "untouched" : std::to_string(value).c_str());
}

void PrintTogether(const std::string& key) {
  std::vector<int> values(8, kUntouched);
  std::vector<std::thread> threads;
  for (int& value : values) {
    threads.emplace_back([&] { system_info_get_custom_int(key.c_str(), &value); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const int value : values) {
    std::printf("%d\n", value);
  }
}

void PrintEnvironment() {
  const host::Environment& environment = host::GetEnvironment();
  std::printf("root %s\nmodel %s\ndata %s\nconfig %s\nstate %s\nrun %s\n", environment.root.c_str(),
              environment.modelFile.c_str(), environment.dataDir.c_str(),
              environment.configDir.c_str(), host::StateDir().c_str(), host::RunDir().c_str());
}

using Arguments = std::vector<std::string>;
struct Command {
  size_t argumentCount;
  std::function<void(const Arguments&)> run;
};

const std::map<std::string, Command> kCommands = {
    {"bool", {1, [](const Arguments& a) { PrintBool(a[0]); }}},
    {"int", {1, [](const Arguments& a) { PrintInt(a[0].c_str()); }}},
    {"int-null-key", {0, [](const Arguments&) { PrintInt(nullptr); }}},
    {"int-null-output",
     {1,
      [](const Arguments& a) {
        std::printf("%d\n", system_info_get_custom_int(a[0].c_str(), nullptr));
      }}},
    {"together", {1, [](const Arguments& a) { PrintTogether(a[0]); }}},
    {"announce",
     {1, [](const Arguments& a) { std::printf("%d\n", LwipcEventDone(a[0].c_str())); }}},
    {"announce-null", {0, [](const Arguments&) { std::printf("%d\n", LwipcEventDone(nullptr)); }}},
    {"withdraw", {0, [](const Arguments&) { host::WithdrawReadyEvents(); }}},
    {"register",
     {2,
      [](const Arguments& a) {
        std::printf("%d\n", resource_register_cpu_inheritance_destination(
                                a[0].c_str(), static_cast<pid_t>(std::stoi(a[1]))));
      }}},
    {"register-null",
     {0,
      [](const Arguments&) {
        std::printf("%d\n", resource_register_cpu_inheritance_destination(nullptr, 1));
      }}},
    {"path",
     {2,
      [](const Arguments& a) {
        std::printf("[%s]\n", ComposePlatformPath(std::stoi(a[0]), a[1].c_str()).c_str());
      }}},
    {"path-null",
     {0,
      [](const Arguments&) {
        std::printf("[%s]\n", ComposePlatformPath(PLATFORM_DIRECTORY_APP_DATA, nullptr).c_str());
      }}},
    {"watch",
     {0,
      [](const Arguments&) {
        std::printf("%d\n", smart_deadlock_register_watchdog_service(100));
      }}},
    {"feed", {0, [](const Arguments&) { std::printf("%d\n", smart_deadlock_watchdog_notify()); }}},
    {"environment", {0, [](const Arguments&) { PrintEnvironment(); }}},
};

// What follows "at-exit" is left to `AtExit`.
int Run(const Arguments& words);

// Is destroyed behind all that the commands of main have made.
struct AtExit {
  ~AtExit() { Run(words); }
  Arguments words;
} g_AtExit;

int Run(const Arguments& words) {
  for (size_t position = 0; position < words.size();) {
    if (words[position] == "at-exit") {
      g_AtExit.words.assign(words.begin() + static_cast<std::ptrdiff_t>(position) + 1, words.end());
      return 0;
    }
    const auto command = kCommands.find(words[position++]);
    if (command == kCommands.end() || command->second.argumentCount > words.size() - position) {
      std::printf("cannot do %s\n", words[position - 1].c_str());
      return 2;
    }
    const auto first = words.begin() + static_cast<std::ptrdiff_t>(position);
    const auto count = static_cast<std::ptrdiff_t>(command->second.argumentCount);
    command->second.run(Arguments(first, first + count));
    position += command->second.argumentCount;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) { return Run(Arguments(argv + 1, argv + argc)); }
