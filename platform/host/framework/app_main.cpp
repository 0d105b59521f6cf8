#include "nuvra/app_main.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string>
#include <utility>

#include "base/utf8.h"
#include "dlog.h"
#include "framework/before_messages.h"
#include "framework/bus_pump.h"
#include "framework/command_line.h"
#include "framework/main_loop.h"
#include "framework/name_owners.h"
#include "framework/object_interfaces.h"
#include "framework/process_signals.h"
#include "framework/service_bus.h"
#include "framework/service_object.h"
#include "framework/set_preparation.h"
#include "nuvra/alarm.h"
#include "system/environment.h"
#include "system/exception_border.h"
#include "system/host.h"
#include "system/log.h"
#include "system/ready_event.h"

namespace host {
namespace {

constexpr int kFailure = 1;
constexpr std::chrono::seconds kLogPatience{2};
constexpr unsigned kPreparationPeriodInMilliseconds = 10'000;
constexpr unsigned kAnnouncementPeriodInMilliseconds = 1000;

bool Create(Nuvra::TCDaemonService& service) {
  return Guarded("nuvra", "an exception left t_OnPrepare", [&] { service.t_OnPrepare(); }) &&
         Guarded("nuvra", "an exception left t_OnCreate", false,
                 [&] { return service.t_OnCreate(); });
}

// Prepares the set, and tries again while the main loop runs when that failed. The same failure is
// logged once.
class Preparation {
 public:
  explicit Preparation(Nuvra::TCDaemonService& service) {
    if (!m_Prepare()) {
      m_Alarm.SetAlarmCallback(
          [](void* preparation) { return !static_cast<Preparation*>(preparation)->m_Prepare(); },
          this);
      m_Alarm.Create(&service, kPreparationPeriodInMilliseconds, Nuvra::NUVRA_INFINITY);
    }
  }

 private:
  bool m_Prepare() {
    try {
      PrepareSet();
      return true;
    } catch (...) {
      if (std::exchange(m_Failure, CurrentExceptionText()) != CurrentExceptionText()) {
        LogCurrentException("nuvra", "an exception left the preparation of the set");
      }
      return false;
    }
  }

  std::string m_Failure;
  Nuvra::TCAlarm m_Alarm;
};

// Announces, while the main loop runs, what could not be announced when the service was created.
class LaterAnnouncement {
 public:
  explicit LaterAnnouncement(Nuvra::TCDaemonService& service) {
    if (!AnnounceRemainingEvents()) {
      m_Alarm.SetAlarmCallback([](void*) { return !AnnounceRemainingEvents(); }, nullptr);
      m_Alarm.Create(&service, kAnnouncementPeriodInMilliseconds, Nuvra::NUVRA_INFINITY);
    }
  }

 private:
  Nuvra::TCAlarm m_Alarm;
};

int Serve(MainLoop& loop, sd_bus* bus, RequestQueue& requests) {
  int exitStatus = 0;
  const BusPump pump(
      bus,
      [&](int error) {
        __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "nuvra", "the connection to the bus is lost: %s\n",
                     std::strerror(-error));
        exitStatus = kFailure;
        loop.Quit();
      },
      &requests);
  CatchUpBeforeMessage();
  loop.Run();
  return exitStatus;
}

struct EndOfService {
  ~EndOfService() { g_Host.EndService(); }
};

int Run(const CommandLine& line, Nuvra::TCDaemonService& service) {
  const EndOfService end;
  MainLoop& loop = g_Host.mainLoop.Get();
  ServiceBus& bus = g_Host.serviceBus.Get([&] { return new ServiceBus(line.bus); });
  g_Host.nameOwners.Get([&] { return new NameOwners(bus.Get()); });
  // Whoever sees the name finds the object, too.
  ServiceObject object(bus, service);
  AddInterfaces(object);
  const std::string name = ServiceBusName(service.ServiceName());
  bus.TakeName(name);

  WithdrawReadyEvents();
  Preparation preparation(service);
  int exitStatus = kFailure;
  std::exception_ptr failure;
  if (Create(service)) {
    try {
      const LaterAnnouncement announcement(service);
      exitStatus = Serve(loop, bus.Get(), object.Requests());
    } catch (...) {
      failure = std::current_exception();
    }
    Guarded("nuvra", "an exception left t_OnTerminate", [&] { service.t_OnTerminate(); });
  }
  // Only the owner of the name may touch the events.
  WithdrawReadyEvents();
  bus.ReleaseName(name);
  FlushLog(kLogPatience);
  if (failure != nullptr) {
    std::rethrow_exception(failure);
  }
  return exitStatus;
}

int Tell(const char* program, const std::exception& failure, int exitStatus) {
  std::string message;
  base::AppendVisible(message, std::filesystem::path(program).filename().native());
  message += ": ";
  base::AppendVisible(message, failure.what());
  std::fprintf(stderr, "%s\n", message.c_str());
  return exitStatus;
}

// Runs the service under an open log.
int RunLogged(const char* program, const CommandLine& line, Nuvra::TCDaemonService& service) {
  int exitStatus = kFailure;
  try {
    exitStatus = Run(line, service);
  } catch (const StartFailure& failure) {
    FlushLog(kLogPatience);
    exitStatus = Tell(program, failure, failure.ExitStatus());
  } catch (const std::exception& failure) {
    FlushLog(kLogPatience);
    exitStatus = Tell(program, failure, kFailure);
  }
  return exitStatus;
}

int Main(int argc, char** argv, Nuvra::TCDaemonService& service) {
  // Ending half way through the start would end nothing in order: until the main loop takes over
  // the signals, they wait.
  BlockSignals();
  try {
    const CommandLine line = ReadCommandLine(argc, argv);
    SetEnvironment(line.environment);
    OpenLog(line.logFile, line.logLimit);
    return RunLogged(argv[0], line, service);
  } catch (const CommandLineEnd& end) {
    // What was asked for is the printed text, not a log around it.
    DiscardLog();
    return end.exitStatus;
  } catch (const std::exception& failure) {
    DiscardLog();
    return Tell(argv[0], failure, kFailure);
  }
}

}  // namespace

}  // namespace host

namespace Nuvra {

int AppMain(int argc, char** argv, TCDaemonService* service) {
  host::g_Host.service = service;
  return host::Main(argc, argv, *service);
}

}  // namespace Nuvra
