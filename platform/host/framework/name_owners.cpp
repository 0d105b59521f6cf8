#include "framework/name_owners.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "framework/exception_border.h"

namespace host {
namespace {

NameOwners* g_Current = nullptr;

constexpr char kBus[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";

constexpr std::uint64_t kPatienceInMicroseconds = 10'000'000;

int Check(int result) {
  if (result < 0) {
    throw std::system_error(-result, std::generic_category(),
                            "cannot ask the bus who owns which name");
  }
  return result;
}

std::vector<std::string> WellKnownNames(sd_bus* bus) {
  char** names = nullptr;
  Check(sd_bus_list_names(bus, &names, nullptr));
  std::vector<std::string> wellKnown;
  for (char** name = names; name != nullptr && *name != nullptr; ++name) {
    if (**name != ':') {
      wellKnown.emplace_back(*name);
    }
    std::free(*name);
  }
  std::free(names);
  return wellKnown;
}

// A question about a name, and what waits for its answer.
struct Question {
  std::string name;
  std::map<std::string, std::string>* owners;
  int* open;
};

int OnOwner(sd_bus_message* reply, void* data, sd_bus_error*) {
  auto& question = *static_cast<Question*>(data);
  --*question.open;
  const char* owner = nullptr;
  // An error says that the name has no owner any more.
  if (sd_bus_message_is_method_error(reply, nullptr) <= 0 &&
      sd_bus_message_read(reply, "s", &owner) > 0) {
    question.owners->insert_or_assign(question.name, owner);
  }
  return 0;
}

}  // namespace

NameOwners::NameOwners(sd_bus* bus) : m_Bus(sd_bus_ref(bus)) {
  sd_id128_t id;
  Check(sd_bus_get_bus_id(bus, &id));
  std::array<char, SD_ID128_STRING_MAX> text;
  m_BusId = sd_id128_to_string(id, text.data());

  sd_bus_slot* slot = nullptr;
  Check(sd_bus_match_signal(bus, &slot, kBus, kBusPath, kBus, "NameOwnerChanged",
                            OnNameOwnerChanged, this));
  m_Slot.reset(slot);
  AskForAll();
  g_Current = this;
}

NameOwners::~NameOwners() { g_Current = nullptr; }

// All questions are sent before the first answer is awaited. News that come between the answers
// are taken in their order, so each name ends up with what was said of it last.
void NameOwners::AskForAll() {
  const std::vector<std::string> names = WellKnownNames(m_Bus.get());
  int open = 0;
  std::vector<Question> questions;
  questions.reserve(names.size());
  std::vector<std::unique_ptr<sd_bus_slot, Unref>> slots;
  for (const std::string& name : names) {
    questions.push_back({name, &m_Owners, &open});
    sd_bus_slot* slot = nullptr;
    Check(sd_bus_call_method_async(m_Bus.get(), &slot, kBus, kBusPath, kBus, "GetNameOwner",
                                   OnOwner, &questions.back(), "s", name.c_str()));
    slots.emplace_back(slot);
    ++open;
  }
  while (open > 0) {
    if (Check(sd_bus_process(m_Bus.get(), nullptr)) == 0 &&
        Check(sd_bus_wait(m_Bus.get(), kPatienceInMicroseconds)) == 0) {
      Check(-ETIMEDOUT);
    }
  }
}

int NameOwners::OnNameOwnerChanged(sd_bus_message* message, void* self, sd_bus_error*) {
  const char* name = nullptr;
  const char* oldOwner = nullptr;
  const char* newOwner = nullptr;
  const int read = sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner);
  // Names of connections come and go with every client, and are nobody's concern here.
  if (read < 0 || *name == ':') {
    return read < 0 ? read : 0;
  }
  auto& owners = *static_cast<NameOwners*>(self);
  Contain("the news of a bus name", [&] {
    owners.Note(name, newOwner);
    // Kept beyond the call: it may be replaced in it.
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

NameOwners* NameOwners::Current() { return g_Current; }

}  // namespace host
