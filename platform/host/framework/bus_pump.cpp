// The pump works inside the call in which the main loop sleeps. Ecore lets that call be replaced,
// so the connection is watched together with Ecore's own descriptors, and what arrives is served
// before Ecore has found out why it woke up. Going through an Ecore descriptor handler would cost a
// request a twentieth of its time.
//
// There is another reason for this place. What sd-bus wants to be woken for changes with every call
// to it, including calls made outside the pump: a signal that did not fit into the socket waits for
// room; a call that waited for its answer may leave other messages behind that nobody has
// dispatched, and no event on the socket reports those. So sd-bus is asked again each time the main
// loop is about to sleep.

#include "framework/bus_pump.h"

#include <Ecore.h>
#include <poll.h>
#include <sys/select.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "bus/bus.h"
#include "framework/after_messages.h"
#include "framework/before_messages.h"
#include "framework/request_queue.h"
#include "system/exception_border.h"
#include "system/host.h"
#include "system/log.h"

namespace host {
namespace {

// A flood of messages must not keep timers and other descriptors waiting.
constexpr int kMessagesAtOnce = 8;

// While requests wait, the messages after them are searched for requests of other clients. While a
// client is refused, because it sends more than it may, what it sent stands before everybody else's
// requests: then the bus gets a moment to send more of it. Serving has as much time as reading had.
constexpr std::uint64_t kReadingAtOnceInMicroseconds = 4000;
constexpr std::chrono::microseconds kServingAtOnce{1000};
constexpr std::uint64_t kMomentOfBusInMicroseconds = 100;

constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;
constexpr std::uint64_t kNever = UINT64_MAX;

std::uint64_t Microseconds(const timeval& time) {
  return static_cast<std::uint64_t>(time.tv_sec) * kMicrosecondsPerSecond + time.tv_usec;
}

timeval TimeOf(std::uint64_t microseconds) {
  return {static_cast<time_t>(microseconds / kMicrosecondsPerSecond),
          static_cast<suseconds_t>(microseconds % kMicrosecondsPerSecond)};
}

// Of the clock that sd-bus uses.
std::uint64_t Now() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * kMicrosecondsPerSecond + now.tv_nsec / 1'000;
}

// What sd-bus waits for.
struct PollRequest {
  int fd = -1;
  int events = 0;
  std::uint64_t due = kNever;  // when it wants to be called in any case, by Now
};

// Returns a negative errno when the connection is lost.
int GetPollRequest(sd_bus* bus, PollRequest& request) {
  request.fd = sd_bus_get_fd(bus);
  if (request.fd < 0) {
    return request.fd;
  }
  request.events = sd_bus_get_events(bus);
  if (request.events < 0) {
    return request.events;
  }
  const int result = sd_bus_get_timeout(bus, &request.due);
  return result < 0 ? result : 0;
}

// Whether somebody got or lost a name of the kind that programs take.
bool IsNewsOfApplication(sd_bus_message* message) {
  const char* name = nullptr;
  const bool isNews =
      sd_bus_message_is_signal(message, "org.freedesktop.DBus", "NameOwnerChanged") > 0 &&
      bus::IsFromBus(message) && sd_bus_message_read(message, "s", &name) > 0 && *name != ':';
  sd_bus_message_rewind(message, true);
  return isNews;
}

// Whether `fd` is in the set, which does not contain it afterwards.
bool Take(int fd, fd_set* set) {
  const bool contained = FD_ISSET(fd, set) != 0;
  FD_CLR(fd, set);
  return contained;
}

}  // namespace

struct BusPump::Impl {
  Impl(sd_bus* connection, std::function<void(int error)> lost, RequestQueue* queue)
      : bus(connection), onLost(std::move(lost)), requests(queue) {
    if (sd_bus_get_fd(bus) >= FD_SETSIZE) {
      throw std::runtime_error("the process has too many open files to serve a bus");
    }
    if (const int result = sd_bus_add_filter(bus, bus::Out(filter), OnMessage, this); result < 0) {
      throw std::system_error(-result, std::generic_category(), "cannot serve a bus");
    }
    sd_bus_ref(bus);
    ecore_main_loop_select_func_set(Select);
  }

  ~Impl() {
    ecore_main_loop_select_func_set(sleep);
    sd_bus_unref(bus);
  }

  // Called for each message that was read, before anybody else sees it.
  static int OnMessage(sd_bus_message* message, void* self, sd_bus_error*) {
    // What was sent before an application came or went is served before that becomes known.
    if (RequestQueue* const requests = static_cast<Impl*>(self)->requests;
        requests != nullptr && !requests->IsIdle() && IsNewsOfApplication(message) &&
        Guarded("nuvra", "an exception left the news of a bus name",
                [&] { requests->TakeNews(message); })) {
      return 1;
    }
    CatchUpBeforeMessage();
    return 0;
  }

  static int Select(int count, fd_set* read, fd_set* write, fd_set* error, timeval* limit) {
    Impl& self = *g_Host.busPump->m_Impl;
    int ready = 0;
    if (!Guarded("nuvra", "an exception left the main loop's sleep",
                 [&] { ready = self.SelectWithBus(count, read, write, error, limit); })) {
      self.dispatching = false;  // a main loop inside only sleeps
    }
    return ready;  // what is ready after an exception, the main loop sees when it looks again
  }

  int SelectWithBus(int count, fd_set* read, fd_set* write, fd_set* error, timeval* limit) {
    // A main loop inside a request's handler serves everything else.
    if (!serves || dispatching) {
      return sleep(count, read, write, error, limit);
    }
    PollRequest request;
    if (const int result = GetPollRequest(bus, request); result < 0) {
      Lose(result);
      timeval noTime{};
      return sleep(count, read, write, error, &noTime);
    }
    if ((request.events & POLLIN) != 0 && !IsStuck()) {
      FD_SET(request.fd, read);
    }
    if ((request.events & POLLOUT) != 0) {
      FD_SET(request.fd, write);
    }
    timeval untilDue;
    if (Waiting() != nullptr) {
      untilDue = {};
      limit = &untilDue;
    } else if (const std::uint64_t due = std::min(request.due, WorkDue()); due != kNever) {
      const std::uint64_t now = Now();
      const std::uint64_t left = due - std::min(due, now);
      untilDue = TimeOf(limit != nullptr ? std::min(left, Microseconds(*limit)) : left);
      limit = &untilDue;
    }
    const int ready = sleep(std::max(count, request.fd + 1), read, write, error, limit);
    if (ready < 0) {
      return ready;
    }
    const int own = Take(request.fd, read) + Take(request.fd, write);
    if (own > 0 || Waiting() != nullptr || (request.due != kNever && request.due <= Now())) {
      Dispatch();
    }
    if (serves && !IsStuck()) {
      Work();
    }
    return ready - own;
  }

  // When work that no request waits for is due, by Now. It would send more, too.
  std::uint64_t WorkDue() const {
    if (IsStuck()) {
      return kNever;
    }
    const auto due = NextAfterMessages(Waiting() != nullptr);
    return due ? std::chrono::ceil<std::chrono::microseconds>(due->time_since_epoch()).count()
               : kNever;
  }

  void Work() {
    dispatching = true;
    WorkAfterMessages(Waiting() != nullptr);
    dispatching = false;
  }

  void Dispatch() {
    // The path from a request to its reply does not pay for waking the log.
    const LogHold hold;
    dispatching = true;
    if (requests != nullptr) {
      requests->BeginTurn();
    }
    const std::uint64_t begin = Now();
    std::uint64_t end = kNever;
    for (int count = 0; serves && ReadsOn(count, end); ++count) {
      const int result = sd_bus_process(bus, nullptr);
      if (result < 0) {
        Lose(result);
      }
      if (result < 0 || (result == 0 && !AwaitsMore())) {
        break;
      }
    }
    if (serves && Waiting() != nullptr) {
      const std::chrono::microseconds read(std::min(Now() - begin, kReadingAtOnceInMicroseconds));
      requests->ServeFor(std::max(read, kServingAtOnce));
    }
    dispatching = false;
  }

  // A bus that does not read what is sent is sent no answers to still more.
  bool IsStuck() const { return requests != nullptr && requests->IsStuck(); }

  // Null while no request waits to be served.
  RequestQueue* Waiting() const {
    return requests != nullptr && requests->IsReady() ? requests : nullptr;
  }

  // Whether another message is read after `count` of them. Reading ahead begins with the first
  // request that waits, and then has its `end`.
  bool ReadsOn(int count, std::uint64_t& end) const {
    if (count == 0) {
      return true;  // it also writes
    }
    if (IsStuck()) {
      return false;
    }
    if (Waiting() == nullptr) {
      return count < kMessagesAtOnce;
    }
    const std::uint64_t now = Now();
    end = std::min(end, now + kReadingAtOnceInMicroseconds);
    return now < end && !requests->IsFull() && !requests->HasTakenSinceRefusal();
  }

  // Whether more comes at once of what must be refused.
  bool AwaitsMore() const {
    return requests != nullptr && requests->HasRefusedLately() &&
           sd_bus_wait(bus, kMomentOfBusInMicroseconds) > 0;
  }

  void Lose(int error) {
    serves = false;
    Guarded("nuvra", "an exception left the handler of a lost connection", [&] { onLost(error); });
  }

  sd_bus* const bus;
  const std::function<void(int error)> onLost;
  RequestQueue* const requests;  // null when there are none
  const Ecore_Select_Function sleep = ecore_main_loop_select_func_get();
  bool serves = true;
  bool dispatching = false;
  bus::Slot filter;
};

BusPump::BusPump(sd_bus* bus, std::function<void(int error)> onLost, RequestQueue* requests)
    : m_Impl(std::make_unique<Impl>(bus, std::move(onLost), requests)) {
  g_Host.busPump = this;
}

BusPump::~BusPump() {
  m_Impl.reset();
  g_Host.busPump = nullptr;
}

}  // namespace host
