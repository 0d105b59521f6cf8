#pragma once

#include <functional>
#include <memory>

namespace host {

// The main loop of this process: Ecore's. One at a time, on the main thread.
class MainLoop {
 public:
  // Starts Ecore. From then on SIGTERM and SIGINT end the loop instead of the process, including
  // those that were blocked and wait; they are blocked in this thread and in all threads and
  // programs that it starts. Throws std::runtime_error when Ecore cannot start.
  MainLoop();

  // Ends Ecore, however often others have initialised it, and restores the previous handling of
  // signals. Watches and alarms that still exist are dead from then on and may be destroyed later.
  ~MainLoop();
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;

  // Returns when Quit is called or was called before.
  void Run();
  void Quit();

 private:
  struct Impl;
  std::unique_ptr<Impl> m_Impl;
};

// Whether Ecore is initialised, by a MainLoop or by anybody else. Main-loop thread only.
bool MainLoopExists();

// The number of main loops that have ended: what was tied to one of them must no longer be touched.
unsigned EndedMainLoops();

// Ties a file descriptor to the main loop: `onReadable` runs on the main-loop thread whenever
// the descriptor can be read, until the watch is destroyed. The descriptor stays the caller's
// and must outlive the watch. Main-loop thread only. An exception that leaves `onReadable` is
// logged and goes no further. The watch may be destroyed by its own `onReadable`.
class FdWatch {
 public:
  // Throws std::runtime_error when there is no main loop or `fd` cannot be watched.
  FdWatch(int fd, std::function<void()> onReadable);
  ~FdWatch();
  FdWatch(const FdWatch&) = delete;
  FdWatch& operator=(const FdWatch&) = delete;

 private:
  struct Impl;
  std::unique_ptr<Impl> m_Impl;
};

}  // namespace host
