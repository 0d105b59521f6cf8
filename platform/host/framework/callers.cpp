#include "framework/callers.h"

#include <unistd.h>

#include <cstdint>
#include <string_view>
#include <utility>

#include "system/exception_border.h"

namespace host {
namespace {

constexpr char kBus[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";

// The bus answers at once unless it hangs, or has too much for this process waiting and drops the
// answer.
constexpr std::uint64_t kPatienceInMicroseconds = 2'000'000;

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

// What the bus says of a connection. Not known when it does not say the user.
Caller ReadCaller(sd_bus_message* reply) {
  Caller caller;
  if (sd_bus_message_is_method_error(reply, nullptr) > 0 || !bus::IsFromBus(reply)) {
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

Callers::Callers(sd_bus* bus, bool isSystemBus, Listener onAnswer)
    : m_Bus(bus),
      m_OnAnswer(std::move(onAnswer)),
      m_IsBusOfThisUser(!isSystemBus && IsOfThisUser(bus)) {}

const Caller* Callers::Find(const std::string& connection) const {
  const auto found = m_Callers.find(connection);
  return found != m_Callers.end() ? &found->second : nullptr;
}

void Callers::Send(Question& question) const {
  bus::Message call;
  Check(sd_bus_message_new_method_call(m_Bus, bus::Out(call), kBus, kBusPath, kBus,
                                       "GetConnectionCredentials"));
  Check(sd_bus_message_append(call.get(), "s", question.connection.c_str()));
  Check(sd_bus_call_async(m_Bus, bus::Out(question.slot), call.get(), OnAnswer, &question,
                          kPatienceInMicroseconds));
}

void Callers::Ask(const std::string& connection) {
  const auto added = m_Questions.try_emplace(connection, Question{this, connection, {}});
  if (added.second &&
      !Guarded("nuvra", "a caller cannot be asked for", [&] { Send(added.first->second); })) {
    Note(connection, {});
  }
}

int Callers::OnAnswer(sd_bus_message* reply, void* question, sd_bus_error*) {
  auto& asked = *static_cast<Question*>(question);
  Callers& callers = *asked.callers;
  constexpr char kProblem[] = "an exception left the answer about a caller";
  const bool isMissing = sd_bus_message_is_method_error(reply, SD_BUS_ERROR_NO_REPLY) > 0;
  if (!isMissing || sd_bus_is_open(callers.m_Bus) <= 0 ||
      !Guarded("nuvra", kProblem, [&] { callers.Send(asked); })) {
    Caller caller = Guarded("nuvra", kProblem, Caller(), [reply] { return ReadCaller(reply); });
    if (callers.m_IsBusOfThisUser &&
        sd_bus_message_is_method_error(reply, SD_BUS_ERROR_NAME_HAS_NO_OWNER) > 0) {
      caller = {true, geteuid(), {}};
    }
    Guarded("nuvra", kProblem, [&] { callers.Note(asked.connection, std::move(caller)); });
  }
  // When a call times out, sd-bus takes the result for whether there was something to do.
  return 1;
}

// Ends the question, too.
void Callers::Note(const std::string& asked, Caller caller) {
  const std::string connection = asked;
  m_Questions.erase(connection);
  m_Callers[connection] = std::move(caller);
  m_OnAnswer(connection);
}

}  // namespace host
