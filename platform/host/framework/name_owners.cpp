#include "framework/name_owners.h"

#include <array>
#include <chrono>
#include <list>

#include "system/exception_border.h"
#include "system/host.h"

namespace host {
namespace {

constexpr char kBus[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";

// For each answer.
constexpr std::chrono::seconds kPatience{10};

int Check(int result) { return bus::Check(result, "cannot ask the bus who owns which name"); }

// A question about a name, and what waits for its answer.
struct Question {
  std::string name;
  std::map<std::string, std::string>* owners;
  int* open;
  int* problem;  // an errno
  bus::Slot slot;
};

int OnOwner(sd_bus_message* reply, void* data, sd_bus_error*) {
  auto& question = *static_cast<Question*>(data);
  --*question.open;
  if (sd_bus_message_is_method_error(reply, nullptr) > 0) {
    if (sd_bus_message_is_method_error(reply, SD_BUS_ERROR_NAME_HAS_NO_OWNER) <= 0) {
      *question.problem = sd_bus_message_get_errno(reply);
    }
    return 0;
  }
  Guarded("nuvra", "an exception left the answer about a bus name", [&] {
    const char* owner = nullptr;
    if (bus::IsFromBus(reply) && sd_bus_message_read(reply, "s", &owner) > 0) {
      question.owners->insert_or_assign(question.name, owner);
    }
  });
  return 0;
}

}  // namespace

NameOwners::NameOwners(sd_bus* bus) {
  sd_id128_t id;
  Check(sd_bus_get_bus_id(bus, &id));
  std::array<char, SD_ID128_STRING_MAX> text;
  m_BusId = sd_id128_to_string(id, text.data());

  Check(sd_bus_match_signal(bus, bus::Out(m_Slot), kBus, kBusPath, kBus, "NameOwnerChanged",
                            OnNameOwnerChanged, this));
  AskForAll(bus);
}

// All questions are sent before the first answer is awaited. Changes announced between the answers
// are applied in order, so each name ends up with what was said of it last.
void NameOwners::AskForAll(sd_bus* bus) {
  char** names = nullptr;
  Check(sd_bus_list_names(bus, &names, nullptr));
  int open = 0;
  int problem = 0;
  std::list<Question> questions;
  for (const std::string& name : bus::TakeTexts(names)) {
    if (!name.starts_with(':')) {
      Question& question = questions.emplace_back(Question{name, &m_Owners, &open, &problem, {}});
      Check(sd_bus_call_method_async(bus, bus::Out(question.slot), kBus, kBusPath, kBus,
                                     "GetNameOwner", OnOwner, &question, "s", name.c_str()));
      ++open;
    }
  }
  while (open > 0) {
    const bus::Deadline deadline(kPatience);
    const int before = open;
    while (open == before) {
      Check(bus::ProcessOrWait(bus, deadline));
    }
  }
  Check(-problem);
}

int NameOwners::OnNameOwnerChanged(sd_bus_message* message, void* self, sd_bus_error*) {
  if (!bus::IsFromBus(message)) {
    return 0;
  }
  const char* name = nullptr;
  const char* oldOwner = nullptr;
  const char* newOwner = nullptr;
  const int read = sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner);
  if (read < 0) {
    return read;
  }
  auto& owners = *static_cast<NameOwners*>(self);
  Guarded("nuvra", "an exception left the news of a bus name", [&] {
    // Connections' own names come and go with every client.
    if (*name == ':') {
      if (*newOwner == '\0' && owners.m_EndListener) {
        owners.m_EndListener(name);
      }
      return;
    }
    owners.Note(name, newOwner);
    // Kept beyond the call, which may replace it.
    if (const Listener listener = owners.m_Listener) {
      listener(name, oldOwner, newOwner);
    }
  });
  return 0;
}

void NameOwners::Note(const std::string& name, const std::string& newOwner) {
  if (newOwner.empty()) {
    m_Owners.erase(name);
  } else {
    m_Owners.insert_or_assign(name, newOwner);
  }
}

std::string NameOwners::OwnerOf(const std::string& name) const {
  const auto found = m_Owners.find(name);
  return found != m_Owners.end() ? found->second : "";
}

NameOwners* NameOwners::Current() { return g_Host.nameOwners.Find(); }

}  // namespace host
