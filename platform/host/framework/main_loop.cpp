// SIGTERM and SIGINT stay blocked throughout and are read from a file descriptor, so that they
// interrupt nothing: no call that waits, neither here nor in a thread that is started later. But
// Ecore takes over all signals when it starts, and unblocks them one step before it can keep one. A
// signal that arrives just then is lost, and with it perhaps the only request to end the process;
// but Ecore notices and reports it. So four kinds of signal ask for an end: one that waits before
// Ecore starts, one that Ecore reports as lost, one that it kept, and one that comes later.

#include "framework/main_loop.h"

#include <Ecore.h>
#include <unistd.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/efl_log.h"
#include "framework/process_signals.h"
#include "system/exception_border.h"
#include "system/host.h"

namespace host {
namespace {

// Eina wants a directory for files that end with the session. Without XDG_RUNTIME_DIR it makes one
// in the home directory and ends the process when it cannot, and in either it looks for a debugger
// that takes over the process. Nothing here uses any of that. So while Eina starts, the directory
// is a path at which nothing can exist.
//
// Ecore would feed the service manager's watchdog by a timer of its own, whatever the service does,
// and take the variable away from the service's watchdog. So Ecore does not see it.
class EflStart {
 public:
  EflStart() {
    // A different array of variables instead of a changed one, and one that stays: a thread that is
    // looking up a variable finishes in the array that it began to read.
    std::vector<char*>& variables = g_Host.startVariables.Get();
    variables = {const_cast<char*>(kNoRuntimeDirectory)};
    for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
      const std::string_view text(*variable);
      if (!text.starts_with("XDG_RUNTIME_DIR=") && !text.starts_with("WATCHDOG_USEC=")) {
        variables.push_back(*variable);
      }
    }
    variables.push_back(nullptr);
    environ = variables.data();
  }
  ~EflStart() { environ = m_OwnVariables; }
  EflStart(const EflStart&) = delete;
  EflStart& operator=(const EflStart&) = delete;

 private:
  static constexpr char kNoRuntimeDirectory[] = "XDG_RUNTIME_DIR=/dev/null";

  char** const m_OwnVariables = environ;
};

int InitEcore() {
  // A module would look for a power daemon on the system bus and print that there is none.
  ecore_app_no_system_modules();
  return ecore_init();
}

}  // namespace

struct MainLoop::Impl {
  static Eina_Bool OnSignalOfEcore(void* self, int, void*) {
    static_cast<Impl*>(self)->Quit();
    return ECORE_CALLBACK_DONE;
  }

  void Quit() {
    quit = true;
    ecore_main_loop_quit();
  }

  const SignalKeeper keeper;  // destroyed last
  Ecore_Event_Handler* signalsOfEcore = nullptr;
  int endSignals = -1;
  std::optional<FdWatch> endSignalWatch;
  bool quit = false;
};

MainLoop::MainLoop() : m_Impl(std::make_unique<Impl>()) {
  BlockSignals();
  m_Impl->quit = TakeWaitingEndSignal();
  // Starting Eina resets who receives its log, so it starts first.
  bool started = false;
  {
    const EflStart start;
    eina_init();
    TakeEflLog();
    TakeLostSignal();
    started = InitEcore() > 0;
    eina_shutdown();
  }
  // Whoever reads the configuration does so later.
  TakeWaitingReloadSignal();
  if (!started) {
    throw std::runtime_error("Ecore cannot be started");
  }
  g_Host.hasMainLoop = true;
  m_Impl->signalsOfEcore =
      ecore_event_handler_add(ECORE_EVENT_SIGNAL_EXIT, Impl::OnSignalOfEcore, m_Impl.get());
  BlockSignals();
  m_Impl->quit = m_Impl->quit || TakeLostSignal();
  m_Impl->endSignals = OpenEndSignals();
  m_Impl->endSignalWatch.emplace(m_Impl->endSignals, [this] {
    TakeWaitingEndSignal();
    Quit();
  });
}

MainLoop::~MainLoop() {
  m_Impl->endSignalWatch.reset();
  close(m_Impl->endSignals);
  ecore_event_handler_del(m_Impl->signalsOfEcore);
  g_Host.hasMainLoop = false;
  ++g_Host.endedMainLoops;
  while (ecore_shutdown() > 0) {
  }
}

void MainLoop::Run() {
  if (!m_Impl->quit) {
    ecore_main_loop_begin();
  }
}

void MainLoop::Quit() { m_Impl->Quit(); }

bool MainLoopExists() {
  if (g_Host.hasMainLoop) {
    return true;
  }
  const SignalKeeper signals;
  const EflStart start;
  // Ecore offers no other way to tell how often it was initialised.
  const bool exists = InitEcore() > 1;
  ecore_shutdown();
  return exists;
}

unsigned EndedMainLoops() { return g_Host.endedMainLoops; }

struct FdWatch::Impl {
  static Eina_Bool OnReadable(void* self, Ecore_Fd_Handler*) {
    // Kept beyond the call, which may destroy the watch.
    const auto onReadable = static_cast<Impl*>(self)->onReadable;
    Guarded("nuvra", "an exception left the handler of a file descriptor", *onReadable);
    return ECORE_CALLBACK_RENEW;
  }

  std::shared_ptr<const std::function<void()>> onReadable;
  Ecore_Fd_Handler* handler = nullptr;
  unsigned endedMainLoops = EndedMainLoops();
};

FdWatch::FdWatch(int fd, std::function<void()> onReadable) : m_Impl(std::make_unique<Impl>()) {
  if (!MainLoopExists()) {
    throw std::runtime_error("there is no main loop to watch a file descriptor");
  }
  m_Impl->onReadable = std::make_shared<const std::function<void()>>(std::move(onReadable));
  m_Impl->handler = ecore_main_fd_handler_add(fd, ECORE_FD_READ, Impl::OnReadable, m_Impl.get(),
                                              nullptr, nullptr);
  if (m_Impl->handler == nullptr) {
    throw std::runtime_error("file descriptor " + std::to_string(fd) + " cannot be watched");
  }
}

FdWatch::~FdWatch() {
  if (m_Impl->endedMainLoops == EndedMainLoops()) {
    ecore_main_fd_handler_del(m_Impl->handler);
  }
}

}  // namespace host
