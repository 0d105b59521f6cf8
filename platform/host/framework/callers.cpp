#include "framework/callers.h"

#include <Ecore.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "system/exception_border.h"

namespace host {
namespace {

constexpr char kBus[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";

// The answer comes behind all that the bus has for this process, however long that takes to read,
// and when that is more than the bus keeps for one receiver, it drops the answer and tells nobody.
// The two look alike, so the bus is asked again, ever more seldom, and any of its answers counts.
constexpr double kPatienceInSeconds = 2;
constexpr double kMostPatienceInSeconds = 60;
constexpr std::uint64_t kNever = UINT64_MAX;

int Check(int result) { return bus::Check(result, "cannot ask the bus who a caller is"); }

void ReadGroups(sd_bus_message* reply, Caller& caller) {
  const void* groups = nullptr;
  std::size_t size = 0;
  Check(sd_bus_message_enter_container(reply, 'v', "au"));
  Check(sd_bus_message_read_array(reply, 'u', &groups, &size));
  const auto* const begin = static_cast<const std::uint32_t*>(groups);
  caller.groups.assign(begin, begin + size / sizeof *begin);
  Check(sd_bus_message_exit_container(reply));
}

bool IsError(sd_bus_message* reply, const char* name) {
  return sd_bus_message_is_method_error(reply, name) > 0;
}

// Whether the answer may be another one next time. There is no reply when the connection is lost.
bool IsForNow(sd_bus_message* reply) {
  return !bus::IsFromBus(reply) || IsError(reply, SD_BUS_ERROR_NO_REPLY) ||
         IsError(reply, SD_BUS_ERROR_NO_MEMORY) || IsError(reply, SD_BUS_ERROR_LIMITS_EXCEEDED);
}

// What the bus says of a connection. Not known when it does not say the user.
Caller ReadCaller(sd_bus_message* reply) {
  Caller caller;
  caller.hasLeft = IsError(reply, SD_BUS_ERROR_NAME_HAS_NO_OWNER);
  if (IsError(reply, nullptr)) {
    return caller;
  }
  Check(sd_bus_message_enter_container(reply, 'a', "{sv}"));
  while (Check(sd_bus_message_enter_container(reply, 'e', "sv")) > 0) {
    const char* key = nullptr;
    Check(sd_bus_message_read(reply, "s", &key));
    if (std::string_view(key) == "UnixUserID") {
      std::uint32_t user = 0;
      Check(sd_bus_message_read(reply, "v", "u", &user));
      caller.user = user;
      caller.isKnown = true;
    } else if (std::string_view(key) == "UnixGroupIDs") {
      ReadGroups(reply, caller);
    } else {
      Check(sd_bus_message_skip(reply, "v"));
    }
    Check(sd_bus_message_exit_container(reply));
  }
  return caller;
}

bool IsOfThisUser(sd_bus* bus) {
  bus::Message reply;
  std::uint32_t user = 0;
  const int result = sd_bus_call_method(bus, kBus, kBusPath, kBus, "GetConnectionUnixUser", nullptr,
                                        bus::Out(reply), "s", kBus);
  return result >= 0 && sd_bus_message_read(reply.get(), "u", &user) > 0 && user == geteuid();
}

}  // namespace

// About one connection, however often it was asked.
struct Callers::Question {
  Question(Callers& asking, std::string about) : callers(asking), connection(std::move(about)) {}
  ~Question() { ecore_timer_del(timer); }
  Question(const Question&) = delete;
  Question& operator=(const Question&) = delete;

  static Eina_Bool OnSilence(void* question);

  Callers& callers;
  const std::string connection;
  std::vector<bus::Slot> slots;  // of each time
  Ecore_Timer* const timer = ecore_timer_add(kPatienceInSeconds, OnSilence, this);
};

Callers::Callers(sd_bus* bus, bool isSystemBus, Listener onAnswer)
    : m_Bus(bus),
      m_OnAnswer(std::move(onAnswer)),
      m_IsBusOfThisUser(!isSystemBus && IsOfThisUser(bus)) {}

Callers::~Callers() = default;

const Caller* Callers::Find(const std::string& connection) const {
  const auto found = m_Callers.find(connection);
  return found != m_Callers.end() ? &found->second : nullptr;
}

void Callers::Send(Question& question) {
  Guarded("nuvra", "a caller cannot be asked for", [&] {
    bus::Message call;
    bus::Slot slot;
    Check(sd_bus_message_new_method_call(m_Bus, bus::Out(call), kBus, kBusPath, kBus,
                                         "GetConnectionCredentials"));
    Check(sd_bus_message_append(call.get(), "s", question.connection.c_str()));
    Check(sd_bus_call_async(m_Bus, bus::Out(slot), call.get(), OnAnswer, &question, kNever));
    question.slots.push_back(std::move(slot));
  });
}

void Callers::Ask(const std::string& connection) {
  std::unique_ptr<Question>& question = m_Questions[connection];
  if (question == nullptr) {
    question = std::make_unique<Question>(*this, connection);
    Send(*question);
  }
}

void Callers::Forget(const std::string& connection) {
  m_Questions.erase(connection);
  m_Callers.erase(connection);
}

Eina_Bool Callers::Question::OnSilence(void* question) {
  auto& asked = *static_cast<Question*>(question);
  // What waits to be sent the bus has not lost.
  std::uint64_t unsent = 0;
  if (sd_bus_get_n_queued_write(asked.callers.m_Bus, &unsent) >= 0 && unsent == 0) {
    asked.callers.Send(asked);
  }
  ecore_timer_interval_set(
      asked.timer, std::min(2 * ecore_timer_interval_get(asked.timer), kMostPatienceInSeconds));
  return ECORE_CALLBACK_RENEW;
}

int Callers::OnAnswer(sd_bus_message* reply, void* question, sd_bus_error*) {
  const auto& asked = *static_cast<Question*>(question);
  Callers& callers = asked.callers;
  if (IsForNow(reply)) {
    return 1;
  }
  constexpr char kProblem[] = "an exception left the answer about a caller";
  Caller caller = Guarded("nuvra", kProblem, Caller(), [reply] { return ReadCaller(reply); });
  if (caller.hasLeft && callers.m_IsBusOfThisUser) {
    caller = {true, geteuid(), {}};
  }
  Guarded("nuvra", kProblem, [&] { callers.Note(asked.connection, std::move(caller)); });
  return 1;
}

// Ends the question, too.
void Callers::Note(const std::string& asked, Caller caller) {
  const std::string connection = asked;
  m_Callers[connection] = std::move(caller);
  m_Questions.erase(connection);
  m_OnAnswer(connection);
}

}  // namespace host
