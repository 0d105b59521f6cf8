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

// The bus answers at once unless it hangs.
constexpr std::uint64_t kPatienceInMicroseconds = 10'000'000;

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

// What the bus says of a connection; nothing when it does not say the user.
std::optional<Caller> ReadCaller(sd_bus_message* reply) {
  if (sd_bus_message_is_method_error(reply, nullptr) > 0 || !bus::IsFromBus(reply)) {
    return std::nullopt;
  }
  Caller caller;
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
  return caller.isKnown ? std::optional(std::move(caller)) : std::nullopt;
}

}  // namespace

Callers::Callers(sd_bus* bus, bool isSystemBus, Listener onAnswer)
    : m_Bus(bus), m_IsSystemBus(isSystemBus), m_OnAnswer(std::move(onAnswer)) {}

const Caller* Callers::Find(const std::string& connection) const {
  const auto found = m_Callers.find(connection);
  return found != m_Callers.end() ? &found->second : nullptr;
}

bus::Message Callers::NewQuestion(const std::string& connection) const {
  bus::Message question;
  Check(sd_bus_message_new_method_call(m_Bus, bus::Out(question), kBus, kBusPath, kBus,
                                       "GetConnectionCredentials"));
  Check(sd_bus_message_append(question.get(), "s", connection.c_str()));
  return question;
}

void Callers::Ask(const std::string& connection) {
  const auto added = m_Questions.try_emplace(connection, Question{this, connection, {}});
  if (!added.second) {
    return;
  }
  Question& question = added.first->second;
  if (!Guarded("nuvra", "a caller cannot be asked for", [&] {
        Check(sd_bus_call_async(m_Bus, bus::Out(question.slot), NewQuestion(connection).get(),
                                OnAnswer, &question, kPatienceInMicroseconds));
      })) {
    m_Questions.erase(added.first);
    m_Callers[connection] = {};
    m_OnAnswer(connection);
  }
}

int Callers::OnAnswer(sd_bus_message* reply, void* question, sd_bus_error*) {
  auto& asked = *static_cast<Question*>(question);
  const std::optional<Caller> caller =
      Guarded("nuvra", "an exception left the answer about a caller", std::optional<Caller>(),
              [reply] { return ReadCaller(reply); });
  Guarded("nuvra", "an exception left the answer about a caller", [&] {
    // The answer ends the question.
    const std::string connection = asked.connection;
    Callers& callers = *asked.callers;
    callers.Note(connection, caller);
    callers.m_OnAnswer(connection);
  });
  // When a call times out, sd-bus takes the result for whether there was something to do.
  return 1;
}

// Ends the question, too.
void Callers::Note(const std::string& connection, std::optional<Caller> caller) {
  m_Questions.erase(connection);
  if (!caller && IsBusOfThisUser()) {
    caller = Caller{true, geteuid(), {}};
  }
  m_Callers[connection] = caller ? *std::move(caller) : Caller{};
}

bool Callers::IsBusOfThisUser() {
  if (!m_IsBusOfThisUser) {
    bus::Message reply;
    std::uint32_t user = 0;
    const int result = sd_bus_call_method(m_Bus, kBus, kBusPath, kBus, "GetConnectionUnixUser",
                                          nullptr, bus::Out(reply), "s", kBus);
    m_IsBusOfThisUser = !m_IsSystemBus && result >= 0 &&
                        sd_bus_message_read(reply.get(), "u", &user) > 0 && user == geteuid();
  }
  return *m_IsBusOfThisUser;
}

}  // namespace host
