#include "bus/bus.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <system_error>

#include "support/private_bus.h"
#include "support/temp_directory.h"
#include "support/wait.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using support::kPatience;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kName[] = "org.example.name";

// A socket that takes connections and says nothing.
class SilentBus {
 public:
  explicit SilentBus(const support::TempDirectory& directory) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = directory / "silent";
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (bind(m_Fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(m_Fd, 10) != 0) {
      throw std::system_error(errno, std::generic_category(), path);
    }
    m_Address = "unix:path=" + path;
  }
  ~SilentBus() { close(m_Fd); }
  SilentBus(const SilentBus&) = delete;
  SilentBus& operator=(const SilentBus&) = delete;

  const std::string& Address() const { return m_Address; }

 private:
  const int m_Fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::string m_Address;
};

class OnABus : public testing::Test {
 protected:
  void Emit(const bus::Connection& sender, const std::string& text) {
    ASSERT_GE(sd_bus_emit_signal(sender.get(), "/test", "test.Test", "Test", "s", text.c_str()), 0);
  }

  support::TempDirectory m_Directory;
  support::PrivateBus m_Bus{m_Directory.Path()};
};

TEST_F(OnABus, AConnectionCanBeUsedAtOnceAndItsCallsMayTakeThePatience) {
  bus::Connection connection;
  ASSERT_EQ(bus::Connect(m_Bus.Address(), 7s, connection), 0);
  EXPECT_GT(sd_bus_is_ready(connection.get()), 0);
  std::uint64_t limit = 0;
  EXPECT_GE(sd_bus_get_method_call_timeout(connection.get(), &limit), 0);
  EXPECT_EQ(limit, 7'000'000U);
}

TEST_F(OnABus, AConnectionThatDoesNotComeAboutLeavesTheOneBefore) {
  bus::Connection connection = m_Bus.Connect();
  sd_bus* const before = connection.get();
  EXPECT_EQ(bus::Connect("unix:path=" + (m_Directory / "nothing").string(), kPatience, connection),
            -ENOENT);
  const SilentBus silent(m_Directory);
  const auto start = steady_clock::now();
  EXPECT_EQ(bus::Connect(silent.Address(), 20ms, connection), -ETIMEDOUT);
  EXPECT_GE(steady_clock::now() - start, 20ms);
  EXPECT_EQ(connection.get(), before);
}

TEST_F(OnABus, WaitingForWhatDoesNotComeEndsAtTheDeadline) {
  const bus::Connection connection = m_Bus.Connect();
  const bus::Deadline deadline(20ms);
  int result = 0;
  while (result >= 0) {
    result = bus::ProcessOrWait(connection.get(), deadline);
  }
  EXPECT_EQ(result, -ETIMEDOUT);
  EXPECT_TRUE(deadline.Passed());
}

TEST_F(OnABus, SettlingSendsAllThatWaits) {
  const bus::Connection sender = m_Bus.Connect();
  bus::Credentials credentials;
  pid_t pid = 0;
  ASSERT_GE(sd_bus_get_name_creds(sender.get(), "org.freedesktop.DBus", SD_BUS_CREDS_PID,
                                  bus::Out(credentials)),
            0);
  ASSERT_GE(sd_bus_creds_get_pid(credentials.get(), &pid), 0);
  // A bus that reads might read as fast as this writes.
  ASSERT_EQ(kill(pid, SIGSTOP), 0);
  std::uint64_t unsent = 0;
  const std::string text(100'000, 'x');
  while (unsent == 0) {
    Emit(sender, text);
    ASSERT_GE(sd_bus_get_n_queued_write(sender.get(), &unsent), 0);
  }
  ASSERT_EQ(kill(pid, SIGCONT), 0);
  EXPECT_EQ(bus::Settle(sender.get(), bus::Deadline(kPatience)), 0);
  EXPECT_GE(sd_bus_get_n_queued_write(sender.get(), &unsent), 0);
  EXPECT_EQ(unsent, 0U);
}

TEST_F(OnABus, SettlingHandlesAllThatArrived) {
  const bus::Connection sender = m_Bus.Connect();
  const bus::Connection receiver = m_Bus.Connect();
  int count = 0;
  const auto increment = [](sd_bus_message*, void* counter, sd_bus_error*) {
    return ++*static_cast<int*>(counter), 0;
  };
  ASSERT_GE(sd_bus_match_signal(receiver.get(), nullptr, nullptr, "/test", "test.Test", "Test",
                                increment, &count),
            0);
  for (int sent = 0; sent < 10; ++sent) {
    Emit(sender, "");
  }
  // What the bus answers now to the one, and then to the other, comes behind the signals.
  EXPECT_EQ(bus::HasOwner(sender.get(), kName), 0);
  EXPECT_EQ(bus::HasOwner(receiver.get(), kName), 0);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(bus::Settle(receiver.get(), bus::Deadline(kPatience)), 0);
  EXPECT_EQ(count, 10);
}

TEST_F(OnABus, SettlingWithABusThatTakesNothingEndsAtTheDeadline) {
  const SilentBus silent(m_Directory);
  bus::Connection connection;
  ASSERT_GE(sd_bus_new(bus::Out(connection)), 0);
  ASSERT_GE(sd_bus_set_address(connection.get(), silent.Address().c_str()), 0);
  ASSERT_GE(sd_bus_start(connection.get()), 0);
  Emit(connection, "");
  EXPECT_EQ(bus::Settle(connection.get(), bus::Deadline(20ms)), -ETIMEDOUT);
}

TEST_F(OnABus, ANameHasAnOwnerWhileSomebodyHasTakenIt) {
  const bus::Connection asker = m_Bus.Connect();
  const bus::Connection owner = m_Bus.Connect();
  EXPECT_EQ(bus::HasOwner(asker.get(), kName), 0);
  ASSERT_GT(sd_bus_request_name(owner.get(), kName, 0), 0);
  EXPECT_EQ(bus::HasOwner(asker.get(), kName), 1);
  ASSERT_GE(sd_bus_release_name(owner.get(), kName), 0);
  EXPECT_EQ(bus::HasOwner(asker.get(), kName), 0);
  m_Bus.End();
  EXPECT_LT(bus::HasOwner(asker.get(), kName), 0);
}

TEST_F(OnABus, AnErrorReplyIsReadByNameAndText) {
  const bus::Connection connection = m_Bus.Connect();
  bus::Error error;
  EXPECT_EQ(error.Name(), "");
  EXPECT_EQ(error.Text(), "");
  EXPECT_LT(sd_bus_call_method(connection.get(), kName, "/test", "test.Test", "Test", error.Out(),
                               nullptr, nullptr),
            0);
  EXPECT_EQ(error.Name(), "org.freedesktop.DBus.Error.ServiceUnknown");
  EXPECT_THAT(error.Text(), testing::HasSubstr(kName));
}

TEST(BusDeadline, WithoutALimitNeverPasses) {
  const bus::Deadline deadline(std::nullopt);
  EXPECT_FALSE(deadline.Passed());
  EXPECT_EQ(deadline.Left(), UINT64_MAX);
}

TEST(BusDeadline, OfNothingHasPassed) {
  const bus::Deadline deadline(0us);
  EXPECT_TRUE(deadline.Passed());
  EXPECT_EQ(deadline.Left(), 0U);
}

TEST(BusDeadline, TooFarForTheClockNeverPasses) {
  EXPECT_EQ(bus::Deadline(std::chrono::microseconds::max()).Left(), UINT64_MAX);
}

TEST(BusName, IsAnApplicationsWhenAProgramCanTakeItAndNoServiceDoes) {
  EXPECT_TRUE(bus::IsApplicationId(kName));
  EXPECT_TRUE(bus::IsApplicationId("org.freedesktops.game"));
  for (const std::string& text :
       {std::string(), std::string("one"), std::string(":1.7"), std::string("org..example"),
        std::string("org.example.name\0", 17), std::string("org.freedesktop.DBus"),
        std::string("org.nuvra.service.menu")}) {
    EXPECT_FALSE(bus::IsApplicationId(text)) << text;
  }
}

TEST(BusTexts, AreTakenFromTheArrayInItsOrder) {
  char** const array = static_cast<char**>(std::calloc(3, sizeof(char*)));
  array[0] = strdup("one");
  array[1] = strdup("two");
  EXPECT_THAT(bus::TakeTexts(array), ElementsAre("one", "two"));
  EXPECT_THAT(bus::TakeTexts(nullptr), IsEmpty());
}

TEST(BusCheck, ThrowsANegativeErrnoAndReturnsAnythingElse) {
  EXPECT_EQ(bus::Check(7, "the call"), 7);
  try {
    bus::Check(-EACCES, "the call");
    FAIL() << "nothing was thrown";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().value(), EACCES);
    EXPECT_STREQ(error.what(), "the call: Permission denied");
  }
}

}  // namespace
