#include <atomic>
#include <stdexcept>

#include "call.h"
#include "nuvra/app_main.h"
#include "nuvra/signal.h"

using namespace fakes;

namespace {

std::string RepetitionText(int repetition) {
  return repetition == Nuvra::NUVRA_INFINITY ? "NUVRA_INFINITY" : std::to_string(repetition);
}

bool InRange(unsigned period, int repetition) {
  return period > 0 && (repetition > 0 || repetition == Nuvra::NUVRA_INFINITY);
}

// The caller holds the lock.
void Start(TimerState& timer, unsigned period, int repetition) {
  timer.alarm.period = std::chrono::milliseconds(period);
  timer.alarm.repetition = repetition;
  timer.alarm.running = true;
  timer.callsLeft = repetition;
  timer.due = Shared().state.now + timer.alarm.period;
}

}  // namespace

namespace Nuvra {

TCData::TCData() : body(Json::objectValue) {}

std::string TCData::GetMessage() const { return TraceText(body); }

TCApplication::~TCApplication() = default;
bool TCApplication::IfTransferMessage(const char*, const TCMessage*, TCEventIO*&) { return false; }
bool TCApplication::IfMessageReceived(const char*, const TCMessage*, TCMessage*, const char*) {
  return false;
}
void TCApplication::IfMessageReplied(const char*, const TCMessage*) {}
void TCApplication::t_OnPrepare() {}
bool TCApplication::t_OnCreate() { return true; }
void TCApplication::t_OnService() {}
void TCApplication::t_OnPause() {}
void TCApplication::t_OnResume() {}
void TCApplication::t_OnTerminate() {}
void TCApplication::t_OnLangChanged() {}

TCHandler::~TCHandler() = default;
void TCHandler::t_OnMEvent(const TCMEvent*) {}
void TCHandler::t_ClearMEvent() {}

TCDaemonService::TCDaemonService(const char* serviceName) {
  Call call("TCDaemonService::TCDaemonService", serviceName);
  call.Failure(0);
  if (serviceName == nullptr || *serviceName == '\0') {
    call.Write(" throws");
    throw std::invalid_argument("the service has no name");
  }
  m_ServiceName = serviceName;
  call->names[this] = m_ServiceName;
  call->names[static_cast<TCEventIO*>(this)] = m_ServiceName;
  call.Ends();
}

TCDaemonService::~TCDaemonService() {
  Call call("TCDaemonService::~TCDaemonService");
  call->names.erase(this);
  call->names.erase(static_cast<TCEventIO*>(this));
  call.Ends();
}

const std::string& TCDaemonService::ServiceName() const { return m_ServiceName; }

struct TCAlarm::Impl {
  // Never used twice, so that an alarm left over from an earlier test does no harm.
  static inline std::atomic<std::uint64_t> lastId{0};

  const std::uint64_t id = ++lastId;
};

TCAlarm::TCAlarm() {
  Call call("TCAlarm::TCAlarm");
  call.Failure(0);
  m_Impl = new Impl;
  call.Ends();
}

TCAlarm::~TCAlarm() {
  Call call("TCAlarm::~TCAlarm");
  call->timers.erase(m_Impl->id);
  delete m_Impl;
  call.Ends();
}

bool TCAlarm::Create(TCEventIO* eventIO, unsigned period, int repetition) {
  Call call("TCAlarm::Create", Pointer{eventIO}, period, Verbatim{RepetitionText(repetition)});
  call.MainLoopThreadOnly();
  if (call.Failure(false)) {
    return call.Returns(false);
  }
  TimerState& timer = call->timers[m_Impl->id];
  if (timer.created || eventIO == nullptr || !InRange(period, repetition)) {
    return call.Returns(false);
  }
  timer.created = true;
  timer.alarm.eventIO = eventIO;
  Start(timer, period, repetition);
  return call.Returns(true);
}

bool TCAlarm::IsCreated() const {
  std::lock_guard lock(Shared().mutex);
  const auto timer = Shared().state.timers.find(m_Impl->id);
  return timer != Shared().state.timers.end() && timer->second.created;
}

bool TCAlarm::Reset(unsigned period, int repetition) {
  Call call("TCAlarm::Reset", period, Verbatim{RepetitionText(repetition)});
  call.MainLoopThreadOnly();
  if (call.Failure(false)) {
    return call.Returns(false);
  }
  TimerState& timer = call->timers[m_Impl->id];
  if (!timer.created || !InRange(period, repetition)) {
    return call.Returns(false);
  }
  Start(timer, period, repetition);
  return call.Returns(true);
}

void TCAlarm::SetAlarmCallback(Callback callback, void* userData) {
  Call call("TCAlarm::SetAlarmCallback",
            Pointer{reinterpret_cast<const void*>(callback), "callback"}, Pointer{userData});
  call.MainLoopThreadOnly();
  call.Failure(0);
  TimerState& timer = call->timers[m_Impl->id];
  timer.alarm.callback = callback;
  timer.alarm.userData = userData;
  call.Ends();
}

bool SendSignal(const char* serviceName, const char* signalName, const TCMessage* message) {
  const bool complete = serviceName != nullptr && signalName != nullptr && message != nullptr;
  Call call("SendSignal", serviceName, signalName,
            Verbatim{message == nullptr ? "null" : std::to_string(message->type)},
            Verbatim{message == nullptr ? "null" : TraceText(message->body)});
  call.MainLoopThreadOnly();
  if (call.Failure(false) || !complete) {
    return call.Returns(false);
  }
  call->signals.push_back({serviceName, signalName, message->type, message->body});
  return call.Returns(true);
}

int AppMain(int argc, char** argv, TCDaemonService* service) {
  {
    std::string arguments;
    for (int i = 0; i < argc; ++i) {
      arguments += (i == 0 ? "" : ", ") + TraceText(argv[i]);
    }
    Call call("AppMain", argc, Verbatim{"{" + arguments + "}"}, Pointer{service});
    call->service = service;
    if (auto status = call.Failure(1)) {
      return call.Returns(*status);
    }
    call.Ends();
  }
  service->t_OnPrepare();
  if (!service->t_OnCreate()) {
    return 1;
  }
  std::lock_guard lock(Shared().mutex);
  return Shared().state.exitStatus;
}

}  // namespace Nuvra

namespace fakes {

std::vector<Signal> Platform::TakeSignals() {
  std::lock_guard lock(Shared().mutex);
  return std::exchange(Shared().state.signals, {});
}

void Platform::SetExitStatus(int status) {
  std::lock_guard lock(Shared().mutex);
  Shared().state.exitStatus = status;
}

Nuvra::TCDaemonService* Platform::Service() const {
  std::lock_guard lock(Shared().mutex);
  return Shared().state.service;
}

}  // namespace fakes
