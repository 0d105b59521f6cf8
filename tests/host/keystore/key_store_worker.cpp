// A process beside the test: key_store_worker STATE-DIR RUN-DIR COMMAND…
//
//   count LAST KEY…   sets all keys to 1, then to 2 and so on up to LAST, and says "KEY VALUE"
//                     after each write that returned
//   hurry LAST KEY    sets the key to 1, then to 2 and so on up to LAST, without a pause
//   remove KEY        removes the key
//   watch KEY         says "ready", then every change, up to and including the first of KEY
//   tally KEY         the same, but only says how many changes there were
//   flush FILE        writes and flushes blocks of 4 KB in the file without a pause, for a minute
//   slowly TIME COMMAND…  what COMMAND does, on a disk whose flush takes so many microseconds more
//   stuck COMMAND…    what COMMAND does, but it stops, as by SIGSTOP, in its first flush
//   opening COMMAND…  the same, but in the first flush of opening the store
//   absent COMMAND…   the same, when its first turn in the line of writers comes
//   moving NUMBER COMMAND…  the same as COMMAND, but it is killed, with that NUMBER, before it
//                     gives a file another name or takes one away
//
// Its output is complete even if it is killed at the next instruction.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "change_text.h"
#include "keystore/key_store.h"
#include "system/file_descriptor.h"
#include "system/log.h"

namespace {

using host::KeyChange;
using host::KeyStore;
using host::KeyWatcher;

std::chrono::microseconds g_FlushTime{0};
bool g_StopsInFlush = false;
bool g_StopsInTurn = false;
int g_MovesToDeath = 0;  // none: it lives

void BeforeMove() {
  if (g_MovesToDeath > 0 && --g_MovesToDeath == 0) {
    ::raise(SIGKILL);
  }
}

void BeforeFlush() {
  if (std::exchange(g_StopsInFlush, false)) {
    ::raise(SIGSTOP);
  }
  std::this_thread::sleep_for(g_FlushTime);
}

void Say(const std::string& line) {
  std::puts(line.c_str());
  std::fflush(stdout);
}

void Count(KeyStore& store, int last, const std::vector<std::string>& keys) {
  for (int value = 1; value <= last; ++value) {
    for (const std::string& key : keys) {
      store.Set(key, value);
      Say(key + " " + std::to_string(value));
    }
  }
}

void FlushWithoutAPause(const std::string& file) {
  constexpr int kBlocks = 1024;
  const std::string block(4096, 'x');
  const host::FileDescriptor opened(::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
  Say("ready");
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  for (int number = 0; std::chrono::steady_clock::now() < end; ++number) {
    const off_t offset = static_cast<off_t>(block.size()) * (number % kBlocks);
    if (::pwrite(opened.Get(), block.data(), block.size(), offset) < 0 ||
        ::fdatasync(opened.Get()) != 0) {
      throw std::system_error(errno, std::generic_category(), file);
    }
  }
}

// Hands every change to `each`, up to and including the first of `lastKey`.
template <typename Each>
void Watch(KeyStore& store, const std::string& lastKey, Each each) {
  KeyWatcher watcher(store);
  Say("ready");
  pollfd readable{.fd = watcher.Fd(), .events = POLLIN, .revents = 0};
  while (::poll(&readable, 1, -1) == 1) {
    for (const KeyChange& change : watcher.TakeChanges()) {
      each(change);
      if (change.key == lastKey) {
        return;
      }
    }
  }
}

void Run(KeyStore& store, const std::string& command, const std::vector<std::string>& arguments) {
  if (command == "count") {
    Count(store, std::stoi(arguments.at(0)), {arguments.begin() + 1, arguments.end()});
  } else if (command == "hurry") {
    for (int value = 1; value <= std::stoi(arguments.at(0)); ++value) {
      store.Set(arguments.at(1), value);
    }
  } else if (command == "remove") {
    store.Unset(arguments.at(0));
  } else if (command == "watch") {
    Watch(store, arguments.at(0), [](const KeyChange& change) { Say(ToText(change)); });
  } else if (command == "tally") {
    long changes = 0;
    Watch(store, arguments.at(0), [&](const KeyChange&) { ++changes; });
    Say(std::to_string(changes));
  } else if (command == "flush") {
    FlushWithoutAPause(arguments.at(0));
  } else if (command == "slowly") {
    g_FlushTime = std::chrono::microseconds(std::stoi(arguments.at(0)));
    Run(store, arguments.at(1), {arguments.begin() + 2, arguments.end()});
  } else if (command == "stuck") {
    g_StopsInFlush = true;
    Run(store, arguments.at(0), {arguments.begin() + 1, arguments.end()});
  } else if (command == "absent") {
    g_StopsInTurn = true;
    Run(store, arguments.at(0), {arguments.begin() + 1, arguments.end()});
  } else {
    throw std::invalid_argument("no command " + command);
  }
}

}  // namespace

// These take precedence over the C library's, also for SQLite.
extern "C" int fsync(int fd) {
  BeforeFlush();
  return static_cast<int>(syscall(SYS_fsync, fd));
}

extern "C" int fdatasync(int fd) {
  BeforeFlush();
  return static_cast<int>(syscall(SYS_fdatasync, fd));
}

extern "C" int rename(const char* from, const char* to) noexcept {
  BeforeMove();
  return static_cast<int>(syscall(SYS_rename, from, to));
}

extern "C" int link(const char* from, const char* to) noexcept {
  BeforeMove();
  return static_cast<int>(syscall(SYS_link, from, to));
}

extern "C" int unlink(const char* file) noexcept {
  BeforeMove();
  return static_cast<int>(syscall(SYS_unlink, file));
}

// Whoever has got a turn begins it by putting down its number.
extern "C" pid_t getpid() {
  if (std::exchange(g_StopsInTurn, false)) {
    ::raise(SIGSTOP);
  }
  return static_cast<pid_t>(syscall(SYS_getpid));
}

int main(int argc, char** argv) try {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  host::OpenLog("");
  const bool stopsAtOnce = arguments.at(2) == "opening";
  g_StopsInFlush = stopsAtOnce;
  const bool diesMoving = arguments.at(2) == "moving";
  g_MovesToDeath = diesMoving ? std::stoi(arguments.at(3)) : 0;
  KeyStore store(arguments.at(0), arguments.at(1));
  const auto command = arguments.begin() + (diesMoving ? 4 : stopsAtOnce ? 3 : 2);
  Run(store, *command, {command + 1, arguments.end()});
  return host::FlushLog(std::chrono::seconds(10)) ? EXIT_SUCCESS : EXIT_FAILURE;
} catch (const std::exception& error) {
  std::fprintf(stderr, "key_store_worker: %s\n", error.what());
  return EXIT_FAILURE;
}
