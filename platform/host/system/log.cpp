// The log is written by a separate thread, because its destination may be slow or stuck: a stopped
// terminal, a pipe that nobody reads, a full disk. The printing thread only formats the line, takes
// the time and queues both. The queue is bounded, and so is the memory of a program whose log is
// stuck; a log that does not keep up loses lines and says how many and where.
//
// The queue is a list of blocks of exactly the size of a line. An empty log costs no memory, and no
// call pays for growing a buffer.
//
// Waking a thread costs its waker more than printing thirty lines. So a busy writer does not go to
// sleep after every line but lingers: for a few milliseconds it collects what is printed, and
// nobody wakes it. A single line now and then costs one wake-up.
//
// The log is never destroyed, so destructors of other objects may still print, and the thread may
// stay stuck when the process ends. Lines still queued then are written at two points, one after
// all destructors of the program, the other before what std::terminate does: the lines before an
// uncaught exception are those that explain it. A process that is killed by a signal loses the
// lines that it had not written.

#include "system/log.h"

#include <pthread.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "dlog.h"
#include "system/host.h"
#include "system/log_sink.h"
#include "system/signals_blocked.h"
#include "thread_safety.h"

namespace host {
namespace {

constexpr size_t kQueueLimit = 8 * 1024 * 1024;
constexpr std::chrono::milliseconds kLastFlushLimit = std::chrono::seconds(1);

// How long the writer lingers, and how much may collect meanwhile before it is woken.
constexpr std::chrono::milliseconds kLingerTime(10);
constexpr size_t kUrgentSize = 1024 * 1024;

// Longer lines are formatted twice instead of once.
constexpr size_t kOrdinaryLineSize = 4096;

// A line in the queue. Its bytes follow the object: the tag, then the text.
struct QueuedLine {
  QueuedLine* next;
  timespec time;
  int priority;
  uint64_t lostBefore;  // lines lost between the one before and this
  size_t tagSize;
  size_t textSize;

  char* TagBytes() { return reinterpret_cast<char*>(this + 1); }
  char* TextBytes() { return TagBytes() + tagSize; }
  std::string_view Tag() { return {TagBytes(), tagSize}; }
  std::string_view TextWithoutLineEnds() {
    const std::string_view text(TextBytes(), textSize);
    return text.substr(0, text.find_last_not_of('\n') + 1);
  }
  size_t Size() const { return sizeof(QueuedLine) + tagSize + textSize; }
};

struct FreeLine {
  void operator()(QueuedLine* line) const { std::free(line); }
};
using QueuedLinePtr = std::unique_ptr<QueuedLine, FreeLine>;

class LineList {
 public:
  LineList() = default;
  LineList(LineList&& other) noexcept
      : m_First(std::exchange(other.m_First, nullptr)),
        m_Last(std::exchange(other.m_Last, nullptr)) {}
  LineList& operator=(LineList&&) = delete;
  ~LineList() {
    while (PopFront() != nullptr) {
    }
  }

  bool IsEmpty() const { return m_First == nullptr; }

  void PushBack(QueuedLinePtr line) {
    line->next = nullptr;
    (m_Last != nullptr ? m_Last->next : m_First) = line.get();
    m_Last = line.release();
  }

  QueuedLinePtr PopFront() {
    QueuedLinePtr line(m_First);
    if (line != nullptr) {
      m_First = line->next;
      m_Last = m_First == nullptr ? nullptr : m_Last;
    }
    return line;
  }

 private:
  QueuedLine* m_First = nullptr;
  QueuedLine* m_Last = nullptr;
};

QueuedLinePtr MakeLine(timespec time, int priority, const char* tag, size_t textSize) {
  const size_t tagSize = std::strlen(tag);
  // One more for vsnprintf's terminating zero.
  void* const memory = std::malloc(sizeof(QueuedLine) + tagSize + textSize + 1);
  if (memory == nullptr) {
    return nullptr;
  }
  QueuedLinePtr line(new (memory) QueuedLine{nullptr, time, priority, 0, tagSize, textSize});
  std::memcpy(line->TagBytes(), tag, tagSize);
  return line;
}

}  // namespace

class Log {
 public:
  static Log& Get() { return g_Host.log.Get(); }

  Log();

  // Returns whether the line was taken.
  bool Add(QueuedLinePtr line);
  void Open(const std::filesystem::path& file, uint64_t limit);
  void Discard();
  bool Flush(std::chrono::milliseconds limit);
  void EndHold();

  // Writes what is queued, to standard error if no destination was chosen. Bounded.
  void Finish();

  // What std::terminate did before there was a log; may be null.
  std::terminate_handler NextTerminateHandler() const { return m_NextTerminateHandler; }

 private:
  enum class Writer { kAbsent, kBusy, kLingers, kSleeps };

  bool HasWork() const REQUIRES(m_Mutex) { return !m_Queue.IsEmpty() || m_Lost > 0; }
  void Run();

  // Without the lock while it writes.
  void WriteQueue() REQUIRES(m_Mutex);

  void Write(LineList lines, uint64_t lostAfter);
  void ReportLost(uint64_t count);

  const std::terminate_handler m_NextTerminateHandler;
  guarded::Mutex m_Mutex;
  std::condition_variable m_WakeUp;    // of the writer, when it becomes kBusy
  std::condition_variable m_Progress;  // of threads in Flush
  LineList m_Queue GUARDED_BY(m_Mutex);
  // Lines lost after the last one in the queue.
  uint64_t m_Lost GUARDED_BY(m_Mutex) = 0;
  // The number of all lines, including lost ones, and of those that the writer is done with.
  uint64_t m_Printed GUARDED_BY(m_Mutex) = 0;
  uint64_t m_Done GUARDED_BY(m_Mutex) = 0;
  Writer m_Writer GUARDED_BY(m_Mutex) = Writer::kAbsent;
  // The writer has lines that left the queue.
  bool m_IsWriting GUARDED_BY(m_Mutex) = false;
  std::atomic<size_t> m_Size = 0;   // bytes of the lines in the queue and with the writer
  std::unique_ptr<LogSink> m_Sink;  // set once, by Open; then the writer's own
};

namespace {

[[noreturn]] void FinishLogAndTerminate() {
  Log& log = Log::Get();
  log.Finish();
  if (log.NextTerminateHandler() != nullptr) {
    log.NextTerminateHandler()();
  }
  std::abort();
}

// Runs after the destructors of all static objects and all handlers of std::atexit.
__attribute__((destructor)) void FinishLog() { Log::Get().Finish(); }

}  // namespace

Log::Log() : m_NextTerminateHandler(std::set_terminate(FinishLogAndTerminate)) {}

bool Log::Add(QueuedLinePtr line) {
  guarded::Lock lock(m_Mutex);
  if (m_Sink != nullptr && !HasWork() && !m_IsWriting) {
    m_Sink->SetUnwritten(true);
  }
  ++m_Printed;
  const bool fits = m_Size + line->Size() <= kQueueLimit;
  if (fits) {
    line->lostBefore = std::exchange(m_Lost, 0);
    m_Size += line->Size();
    m_Queue.PushBack(std::move(line));
  } else {
    ++m_Lost;
  }
  const bool isUrgent = m_Size > kUrgentSize;
  if ((m_Writer == Writer::kSleeps && (t_Host.logHolds == 0 || isUrgent)) ||
      (m_Writer == Writer::kLingers && isUrgent)) {
    m_Writer = Writer::kBusy;
    lock.Unlock();
    m_WakeUp.notify_one();
  }
  return fits;
}

void Log::Open(const std::filesystem::path& file, uint64_t limit) {
  const guarded::Lock lock(m_Mutex);
  if (m_Sink != nullptr) {
    throw std::logic_error("the log is open already");
  }
  std::unique_ptr<LogSink> sink = OpenLogSink(file, limit);
  const SignalsBlocked signalsBlocked;
  std::thread writer([this] { Run(); });
  m_Sink = std::move(sink);
  m_Sink->SetUnwritten(HasWork());
  m_Writer = Writer::kBusy;
  pthread_setname_np(writer.native_handle(), "log-writer");
  writer.detach();
}

void Log::Discard() {
  const guarded::Lock lock(m_Mutex);
  while (const QueuedLinePtr line = m_Queue.PopFront()) {
    m_Size -= line->Size();
  }
  m_Lost = 0;
  m_Progress.notify_all();
}

bool Log::Flush(std::chrono::milliseconds limit) {
  guarded::Lock lock(m_Mutex);
  if (HasWork() && (m_Writer == Writer::kSleeps || m_Writer == Writer::kLingers)) {
    m_Writer = Writer::kBusy;
    m_WakeUp.notify_one();
  }
  const uint64_t printed = m_Printed;
  return m_Progress.wait_for(lock.ForWait(), limit, [&]() REQUIRES(m_Mutex) {
    return m_Done >= printed || (!HasWork() && !m_IsWriting);
  });
}

void Log::EndHold() {
  guarded::Lock lock(m_Mutex);
  if (HasWork() && m_Writer == Writer::kSleeps) {
    m_Writer = Writer::kBusy;
    lock.Unlock();
    m_WakeUp.notify_one();
  }
}

void Log::Finish() {
  {
    const guarded::Lock lock(m_Mutex);
    if (!HasWork() && !m_IsWriting) {
      return;
    }
  }
  try {
    Open({}, kLogLimit);
  } catch (const std::exception&) {
    // Open already; or there can be no writer any more, and Flush waits in vain.
  }
  Flush(kLastFlushLimit);
}

void Log::Run() {
  const auto isWoken = [this]() REQUIRES(m_Mutex) { return m_Writer == Writer::kBusy; };
  std::chrono::steady_clock::time_point lastWork;
  guarded::Lock lock(m_Mutex);
  while (true) {
    const bool hadWork = HasWork();
    while (HasWork()) {
      WriteQueue();
    }
    const auto now = std::chrono::steady_clock::now();
    const bool isNeededAgain = hadWork && now - lastWork < 2 * kLingerTime;
    lastWork = now;
    if (isNeededAgain) {
      m_Writer = Writer::kLingers;
      m_WakeUp.wait_for(lock.ForWait(), kLingerTime, isWoken);
      m_Writer = Writer::kBusy;
    } else {
      m_Writer = Writer::kSleeps;
      m_WakeUp.wait(lock.ForWait(), isWoken);
    }
  }
}

void Log::WriteQueue() {
  LineList lines = std::move(m_Queue);
  const uint64_t lostAfter = std::exchange(m_Lost, 0);
  const uint64_t printed = m_Printed;
  m_IsWriting = true;
  m_Mutex.unlock();
  Write(std::move(lines), lostAfter);
  m_Mutex.lock();
  m_IsWriting = false;
  m_Done = printed;
  if (!HasWork()) {
    m_Sink->SetUnwritten(false);
  }
  m_Progress.notify_all();
}

void Log::Write(LineList lines, uint64_t lostAfter) {
  while (const QueuedLinePtr line = lines.PopFront()) {
    ReportLost(line->lostBefore + m_Sink->TakeLost());
    m_Sink->Add({line->time, line->priority, line->Tag(), line->TextWithoutLineEnds()}, 1);
    m_Size -= line->Size();
  }
  ReportLost(lostAfter);
  m_Sink->Commit();
}

void Log::ReportLost(uint64_t count) {
  if (count == 0) {
    return;
  }
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  const std::string text = "lines lost here: " + std::to_string(count);
  m_Sink->Add({now, DLOG_WARN, "log", text}, count);
}

void OpenLog(const std::filesystem::path& file, uint64_t limit) { Log::Get().Open(file, limit); }

void DiscardLog() { Log::Get().Discard(); }

bool FlushLog(std::chrono::milliseconds limit) { return Log::Get().Flush(limit); }

LogHold::LogHold() { ++t_Host.logHolds; }

LogHold::~LogHold() {
  if (--t_Host.logHolds == 0) {
    Log::Get().EndHold();
  }
}

}  // namespace host

int __dlog_print(log_id_t id, int priority, const char* tag, const char* format, ...) {
  if (id != LOG_ID_MAIN || tag == nullptr || format == nullptr) {
    return -1;
  }
  const int callersErrno = errno;
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);

  char ordinary[host::kOrdinaryLineSize];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(ordinary, sizeof ordinary, format, arguments);
  va_end(arguments);
  host::QueuedLinePtr line =
      length < 0 ? nullptr : host::MakeLine(now, priority, tag, static_cast<size_t>(length));
  if (line != nullptr && line->textSize < sizeof ordinary) {
    std::memcpy(line->TextBytes(), ordinary, line->textSize);
  } else if (line != nullptr) {
    va_start(arguments, format);
    vsnprintf(line->TextBytes(), line->textSize + 1, format, arguments);
    va_end(arguments);
  }

  const bool taken = line != nullptr && host::Log::Get().Add(std::move(line));
  errno = callersErrno;
  return taken ? length : -1;
}
