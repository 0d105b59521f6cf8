#include "framework/main_loop.h"

#include <Ecore.h>
#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "framework/process_signals.h"

namespace {

using host::FdWatch;
using host::MainLoop;
using host::SignalKeeper;

// A descriptor that becomes readable when told.
class Event {
 public:
  Event() : m_Fd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  ~Event() { close(m_Fd); }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  int Fd() const { return m_Fd; }
  void Set() { EXPECT_EQ(eventfd_write(m_Fd, 1), 0); }
  void Clear() {
    eventfd_t value = 0;
    EXPECT_EQ(eventfd_read(m_Fd, &value), 0);
  }

 private:
  const int m_Fd;
};

void Block(int signal) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, signal);
  ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &signals, nullptr), 0);
}

bool Blocks(int signal) {
  sigset_t signals;
  EXPECT_EQ(pthread_sigmask(SIG_SETMASK, nullptr, &signals), 0);
  return sigismember(&signals, signal) == 1;
}

TEST(TheMainLoop, ExistsFromItsBeginningToItsEnd) {
  EXPECT_FALSE(host::MainLoopExists());
  {
    MainLoop loop;
    EXPECT_TRUE(host::MainLoopExists());
  }
  EXPECT_FALSE(host::MainLoopExists());
}

TEST(TheMainLoop, ExistsTooWhenSomebodyElseInitialisedEcore) {
  const SignalKeeper keeper;
  ecore_app_no_system_modules();
  ASSERT_EQ(ecore_init(), 1);
  EXPECT_TRUE(host::MainLoopExists());
  EXPECT_EQ(ecore_shutdown(), 0);
}

TEST(TheMainLoop, EndsEcoreHoweverOftenOthersInitialisedIt) {
  {
    MainLoop loop;
    ASSERT_EQ(ecore_init(), 2);
  }
  EXPECT_FALSE(host::MainLoopExists());
}

TEST(TheMainLoop, DoesNotRunAfterItWasToldToQuit) {
  MainLoop loop;
  loop.Quit();
  Event event;
  event.Set();
  bool called = false;
  FdWatch watch(event.Fd(), [&] {
    called = true;
    event.Clear();
    loop.Quit();
  });
  loop.Run();
  EXPECT_FALSE(called);
}

TEST(TheMainLoop, IsEndedByTheSignalsThatEndAProgram) {
  for (const int signal : {SIGTERM, SIGINT}) {
    MainLoop loop;
    raise(signal);
    loop.Run();
  }
}

TEST(TheMainLoop, IsEndedByASignalThatWaitedForIt) {
  const SignalKeeper keeper;
  for (const int signal : {SIGTERM, SIGINT}) {
    Block(signal);
    raise(signal);
    MainLoop loop;
    loop.Run();
  }
}

TEST(TheMainLoop, PutsBackAtItsEndWhatWasDoneWithSignals) {
  const SignalKeeper keeper;
  Block(SIGUSR1);
  struct sigaction before {};
  struct sigaction after {};
  sigaction(SIGHUP, nullptr, &before);
  {
    MainLoop loop;
    EXPECT_TRUE(Blocks(SIGTERM));
    EXPECT_FALSE(Blocks(SIGUSR1));
    sigaction(SIGHUP, nullptr, &after);
    EXPECT_NE(after.sa_handler, before.sa_handler);
  }
  EXPECT_FALSE(Blocks(SIGTERM));
  EXPECT_TRUE(Blocks(SIGUSR1));
  sigaction(SIGHUP, nullptr, &after);
  EXPECT_EQ(after.sa_handler, before.sa_handler);
}

TEST(TheMainLoop, IsLookedForWithoutATrace) {
  EXPECT_FALSE(host::MainLoopExists());
  EXPECT_FALSE(Blocks(SIGTERM));
}

TEST(AFdWatch, NeedsAMainLoop) {
  Event event;
  EXPECT_THROW(FdWatch(event.Fd(), [] {}), std::runtime_error);
}

TEST(AFdWatch, SaysWhenADescriptorCannotBeWatched) {
  MainLoop loop;
  EXPECT_THROW(FdWatch(-1, [] {}), std::runtime_error);
}

TEST(AFdWatch, CallsEachTimeThatTheDescriptorCanBeRead) {
  MainLoop loop;
  Event event;
  int calls = 0;
  FdWatch watch(event.Fd(), [&] {
    event.Clear();
    if (++calls == 3) {
      loop.Quit();
    } else {
      event.Set();
    }
  });
  event.Set();
  loop.Run();
  EXPECT_EQ(calls, 3);
}

TEST(AFdWatch, CallsOnTheThreadOfTheMainLoop) {
  MainLoop loop;
  Event event;
  std::thread::id caller;
  FdWatch watch(event.Fd(), [&] {
    caller = std::this_thread::get_id();
    loop.Quit();
  });
  std::thread setter([&] { event.Set(); });
  loop.Run();
  setter.join();
  EXPECT_EQ(caller, std::this_thread::get_id());
}

TEST(AFdWatch, CallsUntilTheReasonIsGone) {
  MainLoop loop;
  Event event;
  event.Set();
  int calls = 0;
  FdWatch watch(event.Fd(), [&] {
    if (++calls == 5) {
      event.Clear();
      loop.Quit();
    }
  });
  loop.Run();
  EXPECT_EQ(calls, 5);
}

TEST(AFdWatch, CallsWhenTheOtherEndHangsUp) {
  MainLoop loop;
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  bool called = false;
  std::optional<FdWatch> watch;
  watch.emplace(ends[0], [&] {
    called = true;
    loop.Quit();
  });
  close(ends[1]);
  loop.Run();
  EXPECT_TRUE(called);
  watch.reset();
  close(ends[0]);
}

TEST(AFdWatch, SurvivesAnExceptionOfItsHandler) {
  MainLoop loop;
  Event event;
  event.Set();
  int calls = 0;
  FdWatch watch(event.Fd(), [&] {
    switch (++calls) {
      case 1:
        throw std::runtime_error("the first call fails");
      case 2:
        throw 2;
      default:
        loop.Quit();
    }
  });
  loop.Run();
  EXPECT_EQ(calls, 3);
}

TEST(AFdWatch, CallsNoMoreOnceItIsDestroyed) {
  MainLoop loop;
  Event first;
  Event second;
  first.Set();
  second.Set();
  int calls = 0;
  // Each handler destroys the other's watch: whichever comes first, the other never comes.
  std::unique_ptr<FdWatch> watches[2];
  watches[0] = std::make_unique<FdWatch>(first.Fd(), [&] {
    first.Clear();
    watches[1].reset();
    ++calls;
  });
  watches[1] = std::make_unique<FdWatch>(second.Fd(), [&] {
    second.Clear();
    watches[0].reset();
    ++calls;
  });
  Event last;
  for (int turn = 0; turn < 10; ++turn) {
    ecore_main_loop_iterate();
  }
  EXPECT_EQ(calls, 1);
}

TEST(AFdWatch, MayBeDestroyedByItsOwnHandler) {
  MainLoop loop;
  Event event;
  event.Set();
  std::unique_ptr<FdWatch> watch;
  const std::string text(100, 'x');
  std::string seen;
  watch = std::make_unique<FdWatch>(event.Fd(), [&, text] {
    watch.reset();
    seen = text;
    loop.Quit();
  });
  loop.Run();
  EXPECT_EQ(seen, text);
  EXPECT_EQ(watch, nullptr);
}

TEST(AFdWatch, MayOutliveTheMainLoop) {
  Event event;
  std::unique_ptr<FdWatch> watch;
  {
    MainLoop loop;
    watch = std::make_unique<FdWatch>(event.Fd(), [] {});
  }
  watch.reset();
  MainLoop next;
  bool called = false;
  event.Set();
  FdWatch again(event.Fd(), [&] {
    called = true;
    next.Quit();
  });
  next.Run();
  EXPECT_TRUE(called);
}

}  // namespace
