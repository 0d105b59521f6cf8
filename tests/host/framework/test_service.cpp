// The service that the tests run as a process of its own. It does what the "do" member of a
// request says and writes the order in which the framework calls it to the file $TRACE.

#include <Ecore.h>
#include <signal.h>
#include <sys/select.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "dlog.h"
#include "framework/after_messages.h"
#include "framework/name_owners.h"
#include "framework/object_interfaces.h"
#include "framework/service_object.h"
#include "framework/set_preparation.h"
#include "framework/store_failure.h"
#include "lwipc.h"
#include "nuvra/alarm.h"
#include "nuvra/app_main.h"
#include "nuvra/signal.h"
#include "system/environment.h"

namespace {

constexpr char kName[] = "test_service";

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

void Trace(const std::string& line) {
  std::ofstream(Variable("TRACE"), std::ios::app) << line + "\n";
}

// The start stops here until the test makes the file.
void WaitForGate() {
  const std::string gate = Variable("GATE");
  for (int turn = 0; turn < 60'000 && !gate.empty() && !std::filesystem::exists(gate); ++turn) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

// How many more allocations of this thread succeed before one fails. Below 0 none does.
thread_local int t_AllocationsLeft = -1;

// Whether the next look at what waits to be sent fails.
bool failsBetween = false;

class TestService : public Nuvra::TCDaemonService {
 public:
  TestService() : TCDaemonService(kName) {}

  void t_OnPrepare() override { Trace("prepare"); }

  bool t_OnCreate() override {
    Trace("create");
    m_Announcement.emplace([] { Announce(); });
    host::NameOwners::Current()->Listen([](const std::string& name, const auto&, const auto&) {
      if (name.starts_with("org.example.")) {
        Trace("owner of " + name);
      }
    });
    // As services do that leave the rest to the framework.
    ecore_init();
    WaitForGate();
    if (Variable("CREATE") == "throw") {
      throw std::runtime_error("nothing to create");
    }
    if (Variable("CREATE") == "signal") {
      Send("early", Json::objectValue);
    }
    LwipcEventDone("/tmp/test_service_ready");
    Trace("created");
    return Variable("CREATE") != "fail";
  }

  void t_OnTerminate() override {
    Trace("terminate");
    Send("last", Json::objectValue);
    if (Variable("TERMINATE") == "throw") {
      throw std::runtime_error("nothing to terminate");
    }
  }

  bool IfMessageReceived(const char* sender, const Nuvra::TCMessage* request,
                         Nuvra::TCMessage* reply, const char* option) override {
    const std::string what = request->body["do"].asString();
    if (what != "echo") {
      Trace("request " + what);
    }
    return Do(what, sender, *request, *reply, option);
  }

 private:
  bool Do(const std::string& what, const char* sender, const Nuvra::TCMessage& request,
          Nuvra::TCMessage& reply, const char* option) {
    const Json::Value& body = request.body;
    if (what == "echo") {
      reply.type = request.type;
      reply.body = body;
    } else if (what == "describe") {
      reply.body["replyBefore"] = reply.GetMessage();
      reply.body["replyTypeBefore"] = reply.type;
      reply.body["text"] = request.GetMessage();
      reply.body["type"] = request.type;
      reply.body["sender"] = sender;
      reply.body["option"] = option;
      reply.body["root"] = host::GetEnvironment().root.string();
      reply.body["model"] = host::GetEnvironment().modelFile.string();
    } else if (what == "throw") {
      throw std::runtime_error(body["text"].asString());
    } else if (what == "throw long") {
      throw std::runtime_error(std::string(5000, 'x'));
    } else if (what == "throw broken") {
      throw std::runtime_error("broken \xFF text\non two lines");
    } else if (what == "throw int") {
      throw 42;
    } else if (what == "refuse") {
      return false;
    } else if (what == "sleep") {
      std::this_thread::sleep_for(std::chrono::milliseconds(body["ms"].asInt()));
    } else if (what == "reply of") {
      FillUpTo(body["bytes"].asUInt(), reply.body);
    } else if (what == "send of") {
      Json::Value sent;
      FillUpTo(body["bytes"].asUInt(), sent);
      reply.body["sent"] = Send("large", sent);
    } else if (what == "reply") {
      FillReply(body["kind"].asString(), reply.body);
    } else if (what == "send") {
      reply.body["sent"] = Send(body["name"].asString().c_str(), body["body"]);
    } else if (what == "send from nobody") {
      reply.body["sent"] = Nuvra::SendSignal("no service", "name", &request);
    } else if (what == "alarm") {
      StartAlarm(body);
    } else if (what == "fail between") {
      failsBetween = true;
    } else if (what == "complain through Ecore") {
      EINA_LOG_ERR("a complaint\nof two lines");
    } else if (what == "announce") {
      m_Announcement->Ask();
    } else if (what == "fail to store") {
      host::NoteStoreFailure("key file /caf\xE9/keys.db: cannot be opened");
    } else if (what == "log") {
      __dlog_print(LOG_ID_MAIN, DLOG_INFO, "test", "%s\n", body["text"].asCString());
    }
    return true;
  }

  static bool Send(const char* name, const Json::Value& body) {
    Nuvra::TCMessage message;
    message.type = 7;
    message.body = body;
    return Nuvra::SendSignal(kName, name, &message);
  }

  // Makes a body whose text has that many bytes.
  static void FillUpTo(std::size_t bytes, Json::Value& body) {
    constexpr std::string_view kAround = R"({"x":""})";
    body["x"] = std::string(bytes - kAround.size(), 'x');
  }

  static void FillReply(const std::string& kind, Json::Value& body) {
    if (kind == "broken") {
      body["text"] = "a\xFFz";
      body["key \xC3"] = "half a surrogate pair \xED\xA0\x80";
    } else if (kind == "zero") {
      body["text"] = std::string("a\0z", 3);
      body[std::string("k\0", 2)] = 1;
    } else if (kind == "noncharacter") {
      body["text"] = "\xEF\xBF\xBF z";
    }
  }

  void StartAlarm(const Json::Value& body) {
    m_Calls = 0;
    m_AlarmThrows = body["throws"].asBool();
    m_Alarm.SetAlarmCallback(OnAlarm, this);
    if (!m_Alarm.Create(this, body["period"].asUInt(), body["count"].asInt())) {
      m_Alarm.Reset(body["period"].asUInt(), body["count"].asInt());
    }
  }

  static bool OnAlarm(void* data) {
    auto& self = *static_cast<TestService*>(data);
    Json::Value body;
    body["call"] = ++self.m_Calls;
    Send("alarm", body);
    if (self.m_AlarmThrows) {
      throw std::runtime_error("the alarm is broken");
    }
    return true;
  }

  // Every second time it fails.
  static void Announce() {
    static int count = 0;
    Trace("announce");
    Send("announced", Json::objectValue);
    if (++count % 2 == 0) {
      throw std::runtime_error("the announcement is broken");
    }
  }

  std::optional<host::AfterMessages> m_Announcement;
  Nuvra::TCAlarm m_Alarm;
  int m_Calls = 0;
  bool m_AlarmThrows = false;
};

// The method of an interface that a library adds: it gives its text back.
void AnswerNote(sd_bus_message* call) {
  const char* text = nullptr;
  sd_bus_message_read(call, "s", &text);
  Trace(std::string("note ") + text);
  if (std::string_view(text) == "throw") {
    throw std::runtime_error("no such note");
  }
  sd_bus_reply_method_return(call, "s", text);
}

// "fail N" is taken while the allocation after N more fails.
int OnNote(sd_bus_message* message, void* requests, sd_bus_error* error) {
  const char* text = nullptr;
  sd_bus_message_read(message, "s", &text);
  sd_bus_message_rewind(message, true);
  const std::string note = text;
  if (note.starts_with("fail ")) {
    t_AllocationsLeft = std::stoi(note.substr(std::strlen("fail ")));
  }
  const int result = static_cast<host::RequestQueue*>(requests)->Take(message, error, AnswerNote);
  t_AllocationsLeft = -1;
  return result;
}

constexpr sd_bus_vtable kAdded[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Note", "s", "s", OnNote, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

// Leaves a signal pending that comes before the framework has done anything.
void RaiseBlocked(int signal) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  raise(signal);
}

}  // namespace

extern "C" {

// What the linker makes of the library's function here and in the framework.
int __real_sd_bus_get_fd(sd_bus* bus);

int __wrap_sd_bus_get_fd(sd_bus* bus) {
  return Variable("OPEN_FILES") == "many" ? FD_SETSIZE : __real_sd_bus_get_fd(bus);
}

int __real_sd_bus_get_n_queued_write(sd_bus* bus, std::uint64_t* count);

int __wrap_sd_bus_get_n_queued_write(sd_bus* bus, std::uint64_t* count) {
  if (std::exchange(failsBetween, false)) {
    throw std::runtime_error("no room between requests");
  }
  return __real_sd_bus_get_n_queued_write(bus, count);
}
}

void* operator new(std::size_t size) {
  if (t_AllocationsLeft >= 0 && t_AllocationsLeft-- == 0) {
    throw std::bad_alloc();
  }
  if (void* const memory = std::malloc(std::max<std::size_t>(size, 1))) {
    return memory;
  }
  throw std::bad_alloc();
}

// What a sanitizer has in its place would not take it back by the next ones.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

// There is no set around it.
void host::PrepareSet() {}

void host::AddInterfaces(host::ServiceObject& object) {
  object.Add("org.nuvra.Test1", kAdded, &object.Requests());
}

int main(int argc, char** argv) {
  __dlog_print(LOG_ID_MAIN, DLOG_INFO, "test", "main\n");
  if (!Variable("EARLY_SIGNAL").empty()) {
    RaiseBlocked(std::stoi(Variable("EARLY_SIGNAL")));
  }
  auto* service = new TestService();
  return Nuvra::AppMain(argc, argv, service);
}
