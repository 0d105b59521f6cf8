// Who is behind a request the bus says late, not at all, or with an error. A real bus does that
// only under a load that is hard to make, so the service meets one here that the test speaks for.

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <functional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "framework_test.h"
#include "support/wait.h"

namespace {

using bus::Check;
using testing::IsEmpty;

constexpr char kBus[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";
constexpr char kService[] = ":1.0";
constexpr char kDenied[] = "org.freedesktop.DBus.Error.AccessDenied";

// A bus as far as a service needs one: it lets the service in and gives it the name, keeps its
// questions about callers, and has clients and news when the test says so. It reads what the
// service sends only in Until.
class SpokenBus {
 public:
  explicit SpokenBus(const std::string& path) : m_Address("unix:path=" + path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (bind(m_Listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(m_Listener, 1) != 0) {
      throw std::system_error(errno, std::generic_category(), path);
    }
  }
  ~SpokenBus() { close(m_Listener); }
  SpokenBus(const SpokenBus&) = delete;
  SpokenBus& operator=(const SpokenBus&) = delete;

  const std::string& Address() const { return m_Address; }

  // Lets the service connect.
  void Admit() {
    const int fd = accept4(m_Listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    Check(sd_bus_new(bus::Out(m_Bus)), "new");
    Check(sd_bus_set_fd(m_Bus.get(), fd, fd), "fd");
    Check(sd_bus_set_server(
              m_Bus.get(), true,
              SD_ID128_MAKE(01, 02, 03, 04, 05, 06, 07, 08, 09, 0a, 0b, 0c, 0d, 0e, 0f, 10)),
          "server");
    Check(sd_bus_add_filter(m_Bus.get(), nullptr, OnMessage, this), "filter");
    Check(sd_bus_start(m_Bus.get()), "start");
  }

  bool Until(const std::function<bool()>& done) {
    return support::WaitUntil([&] {
      while (sd_bus_process(m_Bus.get(), nullptr) > 0) {
      }
      return done();
    });
  }

  // Whether the service has its name.
  bool IsNamed() const { return m_IsNamed; }

  // From now on there is an application, but the bus says with this error who it is.
  void HideApplication(const std::string& error) { m_ErrorOfApplication = error; }

  // How often the service has asked who somebody is.
  std::size_t Questions() const { return m_Questions.size(); }

  // Answers one of these questions: the user of this process, nobody that is told, or an error.
  void Answer(std::size_t question) {
    const bus::Message reply = NewReply(m_Questions[question].get());
    Check(sd_bus_message_append(reply.get(), "a{sv}", 1, "UnixUserID", "u",
                                static_cast<std::uint32_t>(geteuid())),
          "append");
    Send(reply.get());
  }
  void AnswerWithoutUser(std::size_t question) {
    const bus::Message reply = NewReply(m_Questions[question].get());
    Check(sd_bus_message_append(reply.get(), "a{sv}", 0), "append");
    Send(reply.get());
  }
  void AnswerError(std::size_t question, const std::string& name) {
    SendError(m_Questions[question].get(), std::string(kBus) + ".Error." + name);
  }

  // Sends a request of a client; the answers to all of them come in `Answers`, in their order.
  void Post(const char* client, const std::string& body) {
    bus::Message call;
    Check(sd_bus_message_new_method_call(m_Bus.get(), bus::Out(call), kService, kObject, kInterface,
                                         "Request"),
          "call");
    Check(sd_bus_message_set_sender(call.get(), client), "sender");
    Check(sd_bus_message_append(call.get(), "is", 0, body.c_str()), "append");
    Check(sd_bus_call_async(m_Bus.get(), nullptr, call.get(), OnAnswer, &m_Answers, UINT64_MAX),
          "call");
  }
  const std::vector<::Answer>& Answers() const { return m_Answers; }

  // Says that a client has taken a name.
  void Tell(const std::string& name, const char* owner) {
    bus::Message news;
    Check(
        sd_bus_message_new_signal(m_Bus.get(), bus::Out(news), kBusPath, kBus, "NameOwnerChanged"),
        "signal");
    Check(sd_bus_message_set_sender(news.get(), kBus), "sender");
    Check(sd_bus_message_append(news.get(), "sss", name.c_str(), "", owner), "append");
    Send(news.get());
  }

 private:
  static int OnAnswer(sd_bus_message* message, void* answers, sd_bus_error*) {
    static_cast<std::vector<::Answer>*>(answers)->push_back(ReadAnswer(message));
    return 1;
  }

  static int OnMessage(sd_bus_message* message, void* self, sd_bus_error*) {
    auto& bus = *static_cast<SpokenBus*>(self);
    if (sd_bus_message_is_method_call(message, kBus, nullptr) <= 0) {
      return 0;
    }
    const std::string member = sd_bus_message_get_member(message);
    const bus::Message reply = bus.NewReply(message);
    if (member == "GetConnectionCredentials") {
      bus.m_Questions.emplace_back(sd_bus_message_ref(message));
      return 1;
    }
    if (member == "Hello") {
      Check(sd_bus_message_append(reply.get(), "s", kService), "append");
    } else if (member == "ListNames" && bus.m_ErrorOfApplication.empty()) {
      Check(sd_bus_message_append(reply.get(), "as", 0), "append");
    } else if (member == "ListNames") {
      Check(sd_bus_message_append(reply.get(), "as", 1, "org.example.film"), "append");
    } else if (member == "GetNameOwner") {
      bus.SendError(message, bus.m_ErrorOfApplication);
      return 1;
    } else if (member == "RequestName" || member == "ReleaseName") {
      Check(sd_bus_message_append(reply.get(), "u", 1), "append");
      bus.m_IsNamed = member == "RequestName";
    } else if (member != "AddMatch" && member != "RemoveMatch") {
      bus.SendError(message, SD_BUS_ERROR_UNKNOWN_METHOD);
      return 1;
    }
    bus.Send(reply.get());
    return 1;
  }

  static bus::Message NewReply(sd_bus_message* call) {
    bus::Message reply;
    Check(sd_bus_message_new_method_return(call, bus::Out(reply)), "reply");
    Check(sd_bus_message_set_sender(reply.get(), kBus), "sender");
    return reply;
  }

  void SendError(sd_bus_message* call, const std::string& name) {
    const sd_bus_error error = SD_BUS_ERROR_MAKE_CONST(name.c_str(), "so it is");
    bus::Message reply;
    Check(sd_bus_message_new_method_error(call, bus::Out(reply), &error), "reply");
    Check(sd_bus_message_set_sender(reply.get(), kBus), "sender");
    Send(reply.get());
  }

  void Send(sd_bus_message* message) {
    Check(sd_bus_send(m_Bus.get(), message, nullptr), "send");
    Check(sd_bus_flush(m_Bus.get()), "flush");
  }

  const std::string m_Address;
  const int m_Listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  bus::Connection m_Bus;
  bool m_IsNamed = false;
  std::string m_ErrorOfApplication;
  std::vector<bus::Message> m_Questions;
  std::vector<::Answer> m_Answers;
};

class AServiceOnASpokenBus : public FrameworkTest {
 protected:
  support::Process& StartThere() {
    std::ofstream(Path("access.json")) << "{}";
    support::Process& service = Start({{"SETTINGS_CONFIG_DIR", Path("").parent_path()},
                                       {"DBUS_SYSTEM_BUS_ADDRESS", m_Spoken.Address()}},
                                      {"--bus", "system"});
    m_Spoken.Admit();
    return service;
  }

  SpokenBus m_Spoken{Path("spoken")};
};

class ACaller : public AServiceOnASpokenBus {
 protected:
  void SetUp() override {
    StartThere();
    ASSERT_TRUE(m_Spoken.Until([&] { return m_Spoken.IsNamed(); }));
  }

  static std::string Setting(const std::string& name) {
    return R"({"method":"SetItemValue","do":")" + name + "\"}";
  }

  bool WasServed(const std::string& name) const {
    const std::vector<std::string> trace = Trace();
    return std::find(trace.begin(), trace.end(), "request " + name) != trace.end();
  }
};

TEST_F(ACaller, IsKnownByAnAnswerThatComesOnlyAfterTheBusWasAskedAgain) {
  m_Spoken.Post(":1.7", Setting("late"));
  ASSERT_TRUE(m_Spoken.Until([&] { return m_Spoken.Questions() >= 2; }));
  m_Spoken.Answer(0);
  ASSERT_TRUE(
      m_Spoken.Until([&] { return !m_Spoken.Answers().empty() || m_Spoken.Questions() > 3; }));
  ASSERT_EQ(m_Spoken.Answers().size(), 1u);
  EXPECT_EQ(m_Spoken.Answers()[0].error, "");
  EXPECT_TRUE(WasServed("late"));
}

TEST_F(ACaller, IsKnownAlsoWhenTheBusLosesAnAnswer) {
  m_Spoken.Post(":1.7", Setting("lost"));
  ASSERT_TRUE(m_Spoken.Until([&] { return m_Spoken.Questions() >= 2; }));
  m_Spoken.Answer(1);
  ASSERT_TRUE(m_Spoken.Until([&] { return !m_Spoken.Answers().empty(); }));
  EXPECT_EQ(m_Spoken.Answers()[0].error, "");
  EXPECT_TRUE(WasServed("lost"));
}

TEST_F(ACaller, IsNotAskedForAgainWhileTheBusTakesNothing) {
  // More than a socket takes.
  constexpr int kLarge = 8;
  for (int count = 0; count < kLarge; ++count) {
    m_Spoken.Post(":1.6", R"({"do":"reply of","bytes":4000000})");
  }
  ASSERT_TRUE(support::WaitUntil([&] {
    const std::vector<std::string> trace = Trace();
    return std::count(trace.begin(), trace.end(), "request reply of") == kLarge;
  }));
  m_Spoken.Post(":1.7", Setting("stuck"));
  // Longer than the service waits before it asks again.
  std::this_thread::sleep_for(std::chrono::milliseconds(2500));
  m_Spoken.Post(":1.8", R"({"do":"fence"})");
  ASSERT_TRUE(WaitForTrace("request fence"));
  ASSERT_TRUE(m_Spoken.Until([&] { return m_Spoken.Answers().size() == kLarge + 1; }));
  EXPECT_EQ(m_Spoken.Questions(), 1u);
}

TEST_F(ACaller, IsServedBeforeTheNewsThatCameWhileTheBusWasAsked) {
  m_Spoken.Post(":1.7", Setting("first"));
  ASSERT_TRUE(m_Spoken.Until([&] { return m_Spoken.Questions() == 1; }));
  for (int count = 0; count < 1000; ++count) {
    m_Spoken.Tell("org.example.n" + std::to_string(count), ":1.8");
  }
  m_Spoken.Answer(0);
  ASSERT_TRUE(m_Spoken.Until([&] { return !m_Spoken.Answers().empty(); }));
  EXPECT_EQ(m_Spoken.Answers()[0].error, "");
  ASSERT_TRUE(WaitForTrace("owner of org.example.n999"));
  const std::vector<std::string> trace = Trace();
  EXPECT_LT(std::find(trace.begin(), trace.end(), "request first"),
            std::find(trace.begin(), trace.end(), "owner of org.example.n0"));
}

TEST_F(ACaller, WhoIsNotKnownYetKeepsNoMoreThan1024PiecesOfNewsBack) {
  m_Spoken.Post(":1.7", Setting("unsaid"));
  ASSERT_TRUE(m_Spoken.Until([&] { return m_Spoken.Questions() == 1; }));
  for (int count = 0; count < 1025; ++count) {
    m_Spoken.Tell("org.example.n" + std::to_string(count), ":1.8");
  }
  EXPECT_TRUE(WaitForTrace("owner of org.example.n1024"));
  ASSERT_TRUE(m_Spoken.Until([&] { return !m_Spoken.Answers().empty(); }));
  EXPECT_EQ(m_Spoken.Answers()[0].error, "org.freedesktop.DBus.Error.LimitsExceeded");
  EXPECT_FALSE(WasServed("unsaid"));

  // The answer about the client comes before it can send again; and counts then.
  m_Spoken.Answer(0);
  m_Spoken.Post(":1.8", R"({"do":"echo"})");
  ASSERT_TRUE(m_Spoken.Until([&] { return m_Spoken.Answers().size() == 2; }));
  m_Spoken.Post(":1.7", Setting("again"));
  ASSERT_TRUE(m_Spoken.Until([&] { return m_Spoken.Answers().size() == 3; }));
  EXPECT_EQ(m_Spoken.Answers()[2].error, "");
  EXPECT_TRUE(WasServed("again"));
  EXPECT_EQ(m_Spoken.Questions(), 1);
}

TEST_F(ACaller, IsRefusedBehind1024PiecesOfNewsAlsoWhenAnotherIsServedMeanwhile) {
  m_Spoken.Post(":1.7", Setting("unsaid"));
  ASSERT_TRUE(m_Spoken.Until([&] { return m_Spoken.Questions() == 1; }));
  for (int count = 0; count < 50; ++count) {
    m_Spoken.Post(":1.6", R"({"do":"sleep","ms":10})");
  }
  for (int count = 0; count < 1024; ++count) {
    m_Spoken.Tell("org.example.n" + std::to_string(count), ":1.8");
  }
  ASSERT_TRUE(m_Spoken.Until([&] { return m_Spoken.Answers().size() == 51; }));
  EXPECT_TRUE(WaitForTrace("owner of org.example.n1023"));
  EXPECT_THAT(m_Spoken.Answers(),
              testing::Contains(
                  testing::Field(&Answer::error, "org.freedesktop.DBus.Error.LimitsExceeded")));
  EXPECT_FALSE(WasServed("unsaid"));
}

TEST_F(ACaller, IsAskedForAgainWhenTheBusCannotSayItNow) {
  m_Spoken.Post(":1.7", Setting("patient"));
  std::size_t questions = 0;
  for (const char* error : {"NoMemory", "LimitsExceeded"}) {
    ASSERT_TRUE(m_Spoken.Until([&] { return m_Spoken.Questions() > questions; }));
    questions = m_Spoken.Questions();
    m_Spoken.AnswerError(questions - 1, error);
  }
  ASSERT_TRUE(m_Spoken.Until(
      [&] { return m_Spoken.Questions() > questions || !m_Spoken.Answers().empty(); }));
  ASSERT_THAT(m_Spoken.Answers(), IsEmpty());
  m_Spoken.Answer(questions);
  ASSERT_TRUE(m_Spoken.Until([&] { return !m_Spoken.Answers().empty(); }));
  EXPECT_EQ(m_Spoken.Answers()[0].error, "");
  EXPECT_TRUE(WasServed("patient"));
}

TEST_F(ACaller, HasLeftOnlyWhenTheBusSaysSo) {
  const auto answerTo = [&](const char* client, const auto& say) {
    const std::size_t questions = m_Spoken.Questions();
    const std::size_t answers = m_Spoken.Answers().size();
    m_Spoken.Post(client, Setting("nobody"));
    EXPECT_TRUE(m_Spoken.Until([&] { return m_Spoken.Questions() > questions; }));
    say(questions);
    EXPECT_TRUE(m_Spoken.Until([&] { return m_Spoken.Answers().size() > answers; }));
    return m_Spoken.Answers().back();
  };
  const std::string needs = "SetItemValue needs a caller whom the bus knows; ";
  EXPECT_EQ(
      answerTo(":1.7", [&](auto question) { m_Spoken.AnswerError(question, "NameHasNoOwner"); }),
      (Answer{0, "", kDenied, needs + "this one has left it"}));
  const Answer unsaid{0, "", kDenied, needs + "it does not say who this one is"};
  EXPECT_EQ(
      answerTo(":1.8", [&](auto question) { m_Spoken.AnswerError(question, "AccessDenied"); }),
      unsaid);
  EXPECT_EQ(answerTo(":1.9", [&](auto question) { m_Spoken.AnswerWithoutUser(question); }), unsaid);
  EXPECT_FALSE(WasServed("nobody"));
}

TEST_F(AServiceOnASpokenBus, StartsWhenANameHasLostItsOwnerMeanwhile) {
  m_Spoken.HideApplication(SD_BUS_ERROR_NAME_HAS_NO_OWNER);
  StartThere();
  EXPECT_TRUE(m_Spoken.Until([&] { return m_Spoken.IsNamed(); }));
}

TEST_F(AServiceOnASpokenBus, DoesNotStartWithoutKnowingWhoOwnsWhat) {
  m_Spoken.HideApplication(SD_BUS_ERROR_NO_MEMORY);
  support::Process& service = StartThere();
  ASSERT_TRUE(m_Spoken.Until([&] { return m_Spoken.IsNamed() || !service.Running(); }));
  ASSERT_FALSE(m_Spoken.IsNamed());
  EXPECT_EQ(service.Wait(), 1);
  EXPECT_EQ(LogLinesWith("cannot ask the bus who owns which name: Cannot allocate").size(), 1u);
}

}  // namespace
