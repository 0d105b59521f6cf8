#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "framework/command_line.h"
#include "framework_test.h"
#include "support/wait.h"

namespace {

using support::WaitUntil;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class CommandLine : public FrameworkTest {};

TEST_F(CommandLine, HelpPrintsTheOptionsAndNothingElse) {
  const support::Outcome outcome = Run({"--help"});
  EXPECT_EQ(outcome.status, 0);
  for (const char* text : {"--help", "--version", "--bus", "--root", "--model", "--log",
                           "--log-limit", "SETTINGS_ROOT", "Exit status"}) {
    EXPECT_THAT(outcome.out, HasSubstr(text));
  }
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(CommandLine, VersionPrintsProgramAndVersion) {
  const support::Outcome outcome = Run({"--version"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out,
              testing::MatchesRegex("framework_test_service [0-9]+\\.[0-9]+\\.[0-9]+\n"));
  EXPECT_EQ(outcome.err, "");
}

TEST_F(CommandLine, WrongUsageIsToldOnStandardError) {
  const std::string limit = " is not a size from 64K to 1T, such as 16M; see";
  const std::pair<std::vector<std::string>, std::string> wrong[] = {
      {{"--nonsense"}, ": no option \"--nonsense\"; see framework_test_service --help\n"},
      {{"--nonsense", "value"}, ": no option \"--nonsense\"; see"},
      {{"argument"}, ": unexpected argument \"argument\"; see framework_test_service --help\n"},
      {{"--log-limit", "many"}, ": --log-limit: \"many\"" + limit},
      {{"--log-limit", "-1"}, ": --log-limit: \"-1\"" + limit},
      {{"--log-limit", "63K"}, ": --log-limit: \"63K\"" + limit},
      {{"--log-limit", "063K"}, ": --log-limit: \"063K\"" + limit},
      {{"--log-limit", " 16M"}, ": --log-limit: \" 16M\"" + limit},
      {{"--log-limit", "16M "}, ": --log-limit: \"16M \"" + limit},
      {{"--log-limit", "+16M"}, ": --log-limit: \"+16M\"" + limit},
      {{"--log-limit", "16 M"}, ": --log-limit: \"16 M\"" + limit},
      {{"--log-limit", "16MB"}, ": --log-limit: \"16MB\"" + limit},
      {{"--log-limit", "16m"}, ": --log-limit: \"16m\"" + limit},
      {{"--log-limit", "16X"}, ": --log-limit: \"16X\"" + limit},
      {{"--log-limit", "M"}, ": --log-limit: \"M\"" + limit},
      {{"--log-limit", ""}, ": --log-limit: \"\"" + limit},
      {{"--log-limit", "0x100000"}, ": --log-limit: \"0x100000\"" + limit},
      {{"--log-limit", "2T"}, ": --log-limit: \"2T\"" + limit},
      {{"--log-limit", "18014398509481985K"}, ": --log-limit: \"18014398509481985K\"" + limit},
      {{"--log-limit", "1025G"}, ": --log-limit: \"1025G\"" + limit},
      {{"--log-limit", "99999999999999999999"}, ": --log-limit: \"99999999999999999999\"" + limit},
      {{"--bus"}, ": --bus needs a value; see"},
      {{"--log", "a", "--log", "b"}, ": --log given twice; see"},
      {{"--bus", "sesion"}, "\"sesion\" is neither session nor system nor the address of a bus"},
      {{"--model", Path("missing.json")}, "missing.json"},
      {{"--root", ""}, "--root: the name is empty"},
      {{"--log", ""}, "--log: the name is empty"},
  };
  for (const auto& [options, text] : wrong) {
    const support::Outcome outcome = Run(options);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr(text));
    EXPECT_THAT(outcome.err, StartsWith("framework_test_service: "));
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_THAT(outcome.err, testing::Not(HasSubstr("main")));
    EXPECT_EQ(outcome.out, "");
  }
  EXPECT_THAT(Trace(), IsEmpty());
}

TEST(LogLimit, IsDecimalDigitsAndOneLetterOrNone) {
  const std::pair<const char*, std::uint64_t> limits[] = {
      {"64K", 64 << 10},  {"077K", 77 << 10},    {"16M", 16 << 20},    {"3G", 3ULL << 30},
      {"1T", 1ULL << 40}, {"1024G", 1ULL << 40}, {"0065536", 1 << 16}, {"1000000", 1000000}};
  for (const auto& [text, bytes] : limits) {
    const char* const line[] = {"service", "--log-limit", text};
    EXPECT_EQ(host::ReadCommandLine(3, line).logLimit, bytes) << text;
  }
}

TEST_F(CommandLine, AMessageCannotDisturbATerminal) {
  const std::string text = "a\n\x1b[31m\u202Eb";
  const std::pair<std::vector<std::string>, int> wrong[] = {
      {{text}, 2},
      {{"--" + text}, 2},
      {{"--bus", text}, 2},
      {{"--model", text}, 2},
      {{"--root", "/dev/null/" + text}, 2},
      {{"--log-limit", text}, 2},
      {{"--log", Path(text) / "log"}, 1},
      {{"--bus", "unix:" + text, "--log", "/dev/null"}, 8},
  };
  for (const auto& [options, status] : wrong) {
    const support::Outcome outcome = Run(options);
    EXPECT_EQ(outcome.status, status) << outcome.err;
    EXPECT_THAT(outcome.err, testing::Not(testing::ContainsRegex("[\x1b]|\u202E")));
    EXPECT_THAT(outcome.err, testing::Not(HasSubstr("a\n")));
  }
  EXPECT_THAT(Run({text}).err, HasSubstr("\"a\\n\\x1b[31m\\u202eb\";"));
  EXPECT_THAT(Run({"--log", Path(text) / "log"}).err, HasSubstr("a\\n\\x1b[31m\\u202eb/log"));
}

TEST_F(CommandLine, ARootThatCannotBecomeADirectoryIsWrongUsage) {
  std::ofstream(Path("file")) << "precious";
  std::filesystem::create_symlink(Path("missing"), Path("link"));
  const std::pair<std::filesystem::path, std::filesystem::path> wrong[] = {
      {Path("file"), Path("file")},
      {Path("file") / "below", Path("file")},
      {Path("link"), Path("link")},
  };
  for (const auto& [root, named] : wrong) {
    for (const support::Outcome& outcome :
         {Run({"--root", root}), Run({}, {{"SETTINGS_ROOT", root}})}) {
      EXPECT_EQ(outcome.status, 2) << root;
      EXPECT_THAT(outcome.err,
                  testing::AnyOf(StartsWith("framework_test_service: --root: "),
                                 StartsWith("framework_test_service: SETTINGS_ROOT: ")));
      EXPECT_THAT(outcome.err, HasSubstr('"' + named.string() + "\" is not a directory"));
    }
  }
  EXPECT_THAT(Trace(), IsEmpty());
  EXPECT_EQ(support::ReadFile(Path("file")), "precious");
}

TEST_F(CommandLine, AModelFileThatIsMissingIsToldInOneSentence) {
  const std::string missing = Path("missing.json");
  for (const support::Outcome& outcome :
       {Run({"--model", missing}), Run({}, {{"SETTINGS_MODEL", missing}})}) {
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "framework_test_service: there is no model file \"" + missing +
                               "\": name one with --model or SETTINGS_MODEL; see "
                               "framework_test_service --help\n");
  }
  EXPECT_EQ(Run({"--model", Path("")}).status, 2) << "a directory";
  EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(CommandLine, ADataDirectoryWithoutCatalogueIsToldInOneSentence) {
  std::filesystem::create_directories(Path("data"));
  const support::Outcome outcome = Run({}, {{"SETTINGS_DATA_DIR", Path("data")}});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err, "framework_test_service: there is no catalogue/menu.json in \"" +
                             Path("data").string() +
                             "\": name the directory of the data with SETTINGS_DATA_DIR; see "
                             "framework_test_service --help\n");
  EXPECT_THAT(Trace(), IsEmpty());
  EXPECT_EQ(Run({"--help"}, {{"SETTINGS_DATA_DIR", Path("data")}}).status, 0);
}

TEST_F(CommandLine, TheLogGoesToTheFileThatItNames) {
  StartAndWait({}, {"--log", Path("a log")});
  EXPECT_TRUE(WaitUntil([&] { return support::ReadFile(Path("a log")) != ""; }));
  EXPECT_EQ(Log(), "");
}

TEST_F(CommandLine, ALogThatCannotBeOpenedIsToldAndEndsTheProgram) {
  const support::Outcome outcome = Run({"--log", Path("missing/log")});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, StartsWith("framework_test_service: "));
  EXPECT_THAT(outcome.err, HasSubstr("missing/log"));
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(CommandLine, ALogThatIsAPipeNobodyReadsIsRefusedAtOnce) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  const support::Outcome outcome = Run({"--log", Path("pipe")});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "framework_test_service: the log file " + Path("pipe").string() +
                             " is a pipe that nobody reads\n");
  EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(CommandLine, ALogMayBeAPipeThatSomebodyReads) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  support::Process reader({"cat", Path("pipe")}, {}, {"/dev/null", Path("read"), "/dev/null"});
  // Until the reader is there the service refuses to start.
  const support::Outcome outcome = [&] {
    support::Outcome last;
    WaitUntil([&] {
      last = Run({"--log", Path("pipe"), "--bus", "unix:path=" + Path("nobody").string()});
      return last.status != 1;
    });
    return last;
  }();
  EXPECT_EQ(outcome.status, 8);
  EXPECT_EQ(reader.Wait(), 0);
  EXPECT_THAT(support::ReadFile(Path("read")), HasSubstr("I test("));
}

TEST_F(CommandLine, RootAndModelComeFromTheEnvironmentUnlessGiven) {
  std::ofstream(Path("model file.json")) << "{}";
  const std::string other = Path("other.json");
  std::ofstream(other) << "{}";
  Client client(Address());
  support::Process& first = StartAndWait({{"SETTINGS_MODEL", other}});
  const std::string described = client.Request(R"({"do":"describe"})").body;
  EXPECT_THAT(described, HasSubstr(R"("model":")" + other + '"'));
  EXPECT_THAT(described, HasSubstr(R"("root":")" + Path("").parent_path().string() + '"'));
  first.Signal(SIGTERM);
  ASSERT_EQ(first.Wait(), 0);

  StartAndWait({{"SETTINGS_MODEL", other}},
               {"--root", Path("a root"), "--model", Path("model file.json")});
  const std::string given = client.Request(R"({"do":"describe"})").body;
  EXPECT_THAT(given, HasSubstr(R"("model":")" + Path("model file.json").string() + '"'));
  EXPECT_THAT(given, HasSubstr(R"("root":")" + Path("a root").string() + '"'));
}

TEST_F(CommandLine, TheBusMayBeGivenByItsAddress) {
  StartAndWait({{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere"}}, {"--bus", Address()});
}

TEST_F(CommandLine, TheSystemBusIsServedWhenAskedFor) {
  StartAndWait(
      {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere"}, {"DBUS_SYSTEM_BUS_ADDRESS", Address()}},
      {"--bus", "system"});
}

class AStart : public FrameworkTest {
 protected:
  void OpenGate() { std::ofstream(Path("gate")) << "open"; }

  // Ends the service and returns its exit status.
  static int End(support::Process& service, int signal = SIGTERM) {
    service.Signal(signal);
    return service.Wait().value_or(-1);
  }
};

TEST_F(AStart, PreparesAndCreatesAndTheEndTerminates) {
  support::Process& service = StartAndWait();
  EXPECT_EQ(End(service), 0);
  EXPECT_THAT(Trace(), ElementsAre("prepare", "create", "created", "terminate"));
}

TEST_F(AStart, OnATakenNameSaysSoAndCallsNothing) {
  Client owner(Address());
  ASSERT_GE(sd_bus_request_name(owner.Get(), kBusName, 0), 0);
  const support::Outcome outcome = Run({"--log", "/dev/null"});
  EXPECT_EQ(outcome.status, 5);
  EXPECT_EQ(outcome.err,
            "framework_test_service: the name org.nuvra.service.test_service on the session bus is "
            "taken by process " +
                std::to_string(getpid()) +
                " (host_framework_); end that service first, or use another bus with --bus\n");
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(AStart, NamesAtItsEndWhoWaitsForItsName) {
  support::Process& service = StartAndWait();
  Client waiting(Address());
  ASSERT_EQ(sd_bus_request_name(waiting.Get(), kBusName, SD_BUS_NAME_QUEUE), 0);
  EXPECT_EQ(End(service), 0);
  EXPECT_THAT(LogLinesWith(std::string("the name ") + kBusName + " goes to process " +
                           std::to_string(getpid()) + " (host_framework_), which waited for it"),
              SizeIs(1));
  EXPECT_THAT(Run({"--log", "/dev/null"}).err,
              HasSubstr("is taken by process " + std::to_string(getpid()) + " (host_framework_)"));
}

TEST_F(AStart, DoesNotWaitInLineForTheName) {
  Client owner(Address());
  ASSERT_GE(sd_bus_request_name(owner.Get(), kBusName, 0), 0);
  EXPECT_EQ(Run({"--log", "/dev/null"}).status, 5);
  ASSERT_GE(sd_bus_release_name(owner.Get(), kBusName), 0);
  EXPECT_FALSE(owner.HasOwner());
}

TEST_F(AStart, IsNotAllowedTheNameOnABusOfAnotherUsersSet) {
  std::filesystem::create_directory(Path("other"));
  support::PrivateBus bus(Path("other"), {}, {}, getuid() + 1);
  const support::Outcome outcome = Run({"--bus", bus.Address(), "--log", "/dev/null"});
  EXPECT_EQ(outcome.status, 13);
  EXPECT_THAT(outcome.err, HasSubstr("does not allow this user to own the name"));
  EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(AStart, DoesNotReplaceAnOwnerThatAllowsIt) {
  Client owner(Address());
  ASSERT_GE(sd_bus_request_name(owner.Get(), kBusName, SD_BUS_NAME_ALLOW_REPLACEMENT), 0);
  EXPECT_EQ(Run({"--log", "/dev/null"}).status, 5);
}

TEST_F(AStart, OnATakenNameLeavesTheReadyEventOfTheOwner) {
  StartAndWait();
  const std::filesystem::path event = Path("tmp/test_service_ready");
  ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(event); }));
  EXPECT_EQ(Run({"--log", "/dev/null"}).status, 5);
  EXPECT_TRUE(std::filesystem::exists(event));
}

TEST_F(AStart, WithoutABusSaysSoAndCallsNothing) {
  const std::string address = "unix:path=" + Path("nobody").string();
  const support::Outcome outcome = Run({"--bus", address, "--log", "/dev/null"});
  EXPECT_EQ(outcome.status, 8);
  EXPECT_EQ(outcome.err, "framework_test_service: the bus at " + address +
                             " cannot be reached: No such file or directory; start it, or name "
                             "another with --bus\n");
  EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(AStart, OutsideOfASessionSaysHowToNameABus) {
  const support::Outcome outcome =
      support::RunCommand({"env", "-u", "DBUS_SESSION_BUS_ADDRESS", "-u", "XDG_RUNTIME_DIR",
                           TEST_SERVICE, "--log", "/dev/null"},
                          WithDefaults({}));
  EXPECT_EQ(outcome.status, 8);
  EXPECT_EQ(outcome.err,
            "framework_test_service: there is no session bus: DBUS_SESSION_BUS_ADDRESS is not set; "
            "start the service in a session, or name another bus with --bus\n");
}

TEST_F(AStart, NeedsNoHomeAndNoRuntimeDirectoryAndMakesNothingThere) {
  std::filesystem::create_directory(Path("home"));
  const std::vector<std::string> homes[] = {
      {"HOME=" + Path("home").string()},
      {"HOME=" + Path("missing/home").string()},
      {"HOME=/dev/null"},
      {"-u", "HOME"},
      {"HOME=/dev/null", "XDG_RUNTIME_DIR=" + Path("home").string()},
  };
  for (const std::vector<std::string>& home : homes) {
    std::vector<std::string> command = {"env", "-u", "XDG_RUNTIME_DIR"};
    command.insert(command.end(), home.begin(), home.end());
    command.push_back(TEST_SERVICE);
    support::Process service(command, WithDefaults({}), {"/dev/null", "/dev/null", Path("log")});
    Client client(Address());
    EXPECT_TRUE(WaitUntil([&] { return client.HasOwner() || !service.Running(); }));
    EXPECT_EQ(client.Request(R"({"do":"echo"})").body, R"({"do":"echo"})") << home.back();
    EXPECT_EQ(End(service), 0) << home.back() << "\n" << Log();
    EXPECT_TRUE(std::filesystem::is_empty(Path("home"))) << home.back();
    EXPECT_FALSE(std::filesystem::exists(Path("missing")));
  }
}

TEST_F(AStart, LeavesTheVariablesForThoseThatReadThemLater) {
  std::filesystem::create_directory(Path("runtime"));
  support::PrivateBus bus(Path("runtime"));
  // The session bus is found through XDG_RUNTIME_DIR.
  support::Process service({"env", "-u", "DBUS_SESSION_BUS_ADDRESS",
                            "XDG_RUNTIME_DIR=" + Path("runtime").string(), TEST_SERVICE},
                           WithDefaults({}), {"/dev/null", "/dev/null", Path("log")});
  Client client(bus.Address());
  EXPECT_TRUE(WaitUntil([&] { return client.HasOwner() || !service.Running(); }));
  EXPECT_EQ(client.Request(R"({"do":"echo"})").body, R"({"do":"echo"})");
}

TEST_F(AStart, OnABusThatHangsUpSaysSo) {
  const std::string path = Path("hangs-up");
  const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(listener, 1), 0);
  support::Process& service = Start({}, {"--bus", "unix:path=" + path});
  close(accept(listener, nullptr, nullptr));
  close(listener);
  EXPECT_EQ(service.Wait(), 8);
  EXPECT_THAT(LogLinesWith("cannot be reached"), SizeIs(1));
  EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(AStart, OnAFullDiskAnnouncesTheEventWhenThereIsRoomAgain) {
  // No file can grow, as when the disk is full, until the limit is lifted.
  support::Process service(
      {"env", "--ignore-signal=XFSZ", "prlimit", "--fsize=0:unlimited", TEST_SERVICE},
      WithDefaults({}), {"/dev/null", "/dev/null", "/dev/null"});
  Client client(Address());
  EXPECT_TRUE(WaitUntil([&] { return client.HasOwner() || !service.Running(); }));
  EXPECT_EQ(client.Request(R"({"do":"echo"})").body, R"({"do":"echo"})");
  const std::filesystem::path event = Path("tmp/test_service_ready");
  EXPECT_FALSE(std::filesystem::exists(event));

  const rlimit room = {RLIM_INFINITY, RLIM_INFINITY};
  ASSERT_EQ(prlimit(service.Pid(), RLIMIT_FSIZE, &room, nullptr), 0);
  const std::string announced = std::to_string(service.Pid()) + "\n";
  EXPECT_TRUE(WaitUntil([&] { return support::ReadFile(event) == announced; }));
  EXPECT_EQ(End(service), 0);
  EXPECT_FALSE(std::filesystem::exists(event));
}

TEST_F(AStart, AnnouncesTheEventWhenNothingIsInItsPlaceAnyMore) {
  const std::filesystem::path event = Path("tmp/test_service_ready");
  std::filesystem::create_directories(event);
  support::Process& service = StartAndWait();
  EXPECT_TRUE(WaitUntil([&] { return LogLinesWith("cannot be announced").size() == 1; }));
  std::filesystem::remove(event);
  EXPECT_TRUE(WaitUntil([&] { return std::filesystem::is_regular_file(event); }));
  EXPECT_TRUE(WaitUntil([&] { return LogLinesWith("is announced now").size() == 1; }));
  EXPECT_EQ(End(service), 0);
  EXPECT_THAT(LogLinesWith("cannot be announced"), SizeIs(1));
}

TEST_F(AStart, FailsWhenTheServiceCannotBeCreated) {
  support::Process& service = Start({{"CREATE", "fail"}});
  EXPECT_EQ(service.Wait(), 1);
  EXPECT_THAT(Trace(), ElementsAre("prepare", "create", "created"));
  EXPECT_FALSE(std::filesystem::exists(Path("tmp/test_service_ready")));
}

TEST_F(AStart, FailsWhenTheCreationThrows) {
  support::Process& service = Start({{"CREATE", "throw"}});
  EXPECT_EQ(service.Wait(), 1);
  EXPECT_THAT(Trace(), ElementsAre("prepare", "create"));
  EXPECT_THAT(LogLinesWith("an exception left t_OnCreate: nothing to create"), SizeIs(1));
}

TEST_F(AStart, ThatCannotServeEndsInOrder) {
  const support::Outcome outcome = Run({}, {{"OPEN_FILES", "many"}});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, HasSubstr("the process has too many open files to serve a bus"));
  EXPECT_THAT(Trace(), ElementsAre("prepare", "create", "created", "terminate"));
  EXPECT_FALSE(std::filesystem::exists(Path("tmp/test_service_ready")));
}

TEST_F(AStart, MakesTheObjectBeforeTheNameAndRequestsWaitForTheMainLoop) {
  support::Process& service = Start({{"GATE", Path("gate")}});
  ASSERT_TRUE(WaitForTrace("create"));
  Client client(Address());
  EXPECT_TRUE(client.HasOwner());
  client.Post(R"({"do":"sleep","ms":0})");
  EXPECT_GE(sd_bus_flush(client.Get()), 0);
  // What the bus answers behind it shows that the request is on its way.
  EXPECT_TRUE(client.HasOwner());
  OpenGate();
  ASSERT_TRUE(client.Until([&] { return !client.Answers().empty(); }));
  EXPECT_EQ(client.Answers()[0], (Answer{0, "{}", "", ""}));
  EXPECT_THAT(Trace(), ElementsAre("prepare", "create", "created", "request sleep"));
  EXPECT_EQ(End(service), 0);
}

TEST_F(AStart, ServesWhoeverSeesTheNameAppear) {
  for (int round = 0; round < 5; ++round) {
    Client client(Address());
    bool appeared = false;
    ASSERT_GE(sd_bus_match_signal(
                  client.Get(), nullptr, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                  "org.freedesktop.DBus", "NameOwnerChanged",
                  [](sd_bus_message* message, void* appeared, sd_bus_error*) {
                    const char* name = "";
                    EXPECT_GE(sd_bus_message_read(message, "s", &name), 0);
                    *static_cast<bool*>(appeared) |= std::string(name) == kBusName;
                    return 0;
                  },
                  &appeared),
              0);
    support::Process& service = Start();
    ASSERT_TRUE(client.Until([&] { return appeared; }));
    EXPECT_EQ(client.Request(R"({"do":"echo"})"), (Answer{0, R"({"do":"echo"})", "", ""}));
    EXPECT_EQ(End(service), 0);
  }
}

TEST_F(AStart, TakesBackTheReadyEventOfARunThatWasKilled) {
  support::Process& killed = StartAndWait();
  const std::filesystem::path event = Path("tmp/test_service_ready");
  ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(event); }));
  killed.Signal(SIGKILL);
  killed.Wait();
  ASSERT_TRUE(std::filesystem::exists(event));

  Start({{"GATE", Path("gate")}});
  ASSERT_TRUE(WaitUntil([this] { return Trace().size() == 5; }));  // create, the second time
  EXPECT_FALSE(std::filesystem::exists(event));
  OpenGate();
  EXPECT_TRUE(WaitUntil([&] { return std::filesystem::exists(event); }));
}

class AnEnd : public AStart {};

TEST_F(AnEnd, TakesBackTheReadyEventAndTheName) {
  support::Process& service = StartAndWait();
  EXPECT_TRUE(std::filesystem::exists(Path("tmp/test_service_ready")));
  EXPECT_EQ(End(service), 0);
  EXPECT_FALSE(std::filesystem::exists(Path("tmp/test_service_ready")));
  EXPECT_FALSE(Client(Address()).HasOwner());
}

TEST_F(AnEnd, ComesByInterruptToo) {
  support::Process& service = StartAndWait();
  EXPECT_EQ(End(service, SIGINT), 0);
  EXPECT_THAT(Trace(), ElementsAre("prepare", "create", "created", "terminate"));
}

TEST_F(AnEnd, ThatIsAskedForDuringTheStartComesInOrder) {
  for (const int signal : {SIGTERM, SIGINT}) {
    std::filesystem::remove(Path("gate"));
    std::filesystem::remove(Path("trace"));
    support::Process& service = Start({{"GATE", Path("gate")}});
    ASSERT_TRUE(WaitForTrace("create"));
    service.Signal(signal);
    OpenGate();
    EXPECT_EQ(service.Wait(), 0);
    EXPECT_THAT(Trace(), ElementsAre("prepare", "create", "created", "terminate"));
  }
}

TEST_F(AnEnd, ThatIsAskedForBeforeTheStartComesInOrder) {
  for (const int signal : {SIGTERM, SIGINT}) {
    std::filesystem::remove(Path("trace"));
    support::Process& service = Start({{"EARLY_SIGNAL", std::to_string(signal)}});
    EXPECT_EQ(service.Wait(), 0);
    EXPECT_THAT(Trace(), ElementsAre("prepare", "create", "created", "terminate"));
  }
}

TEST_F(AnEnd, ThatIsAskedForAtAnyMomentIsRegular) {
  for (int delay = 0; delay < 20; ++delay) {
    std::filesystem::remove(Path("trace"));
    support::Process& service = StartAndWait();
    // In the middle of requests.
    Client client(Address());
    for (int index = 0; index < delay * 5; ++index) {
      client.Post(R"({"do":"echo"})");
    }
    EXPECT_EQ(End(service), 0);
    EXPECT_THAT(Trace(), ElementsAre("prepare", "create", "created", "terminate"));
  }
}

TEST_F(AnEnd, WaitsForTheRequestThatIsServed) {
  support::Process& service = StartAndWait();
  Client client(Address());
  client.Post(R"({"do":"sleep","ms":100})");
  EXPECT_GE(sd_bus_flush(client.Get()), 0);
  ASSERT_TRUE(WaitForTrace("request sleep"));
  service.Signal(SIGTERM);
  ASSERT_TRUE(client.Until([&] { return !client.Answers().empty(); }));
  EXPECT_EQ(client.Answers()[0], (Answer{0, "{}", "", ""}));
  EXPECT_EQ(service.Wait(), 0);
  EXPECT_THAT(Trace(), ElementsAre("prepare", "create", "created", "request sleep", "terminate"));
}

TEST_F(AnEnd, IsRegularWhenTheTerminationThrows) {
  support::Process& service = StartAndWait({{"TERMINATE", "throw"}});
  EXPECT_EQ(End(service), 0);
  EXPECT_THAT(LogLinesWith("an exception left t_OnTerminate: nothing to terminate"), SizeIs(1));
  EXPECT_FALSE(std::filesystem::exists(Path("tmp/test_service_ready")));
}

TEST_F(AnEnd, ComesWithTheEndOfTheBus) {
  support::Process& service = StartAndWait();
  Bus().End();
  EXPECT_EQ(service.Wait(), 1);
  EXPECT_THAT(Trace(), ElementsAre("prepare", "create", "created", "terminate"));
  EXPECT_THAT(LogLinesWith("the connection to the bus is lost"), SizeIs(1));
  EXPECT_FALSE(std::filesystem::exists(Path("tmp/test_service_ready")));
}

TEST_F(AnEnd, ComesWithTheEndOfTheBusDuringTheStart) {
  support::Process& service = Start({{"GATE", Path("gate")}});
  ASSERT_TRUE(WaitForTrace("create"));
  Bus().End();
  OpenGate();
  EXPECT_EQ(service.Wait(), 1);
  EXPECT_THAT(Trace(), ElementsAre("prepare", "create", "created", "terminate"));
  EXPECT_THAT(LogLinesWith("the connection to the bus is lost"), SizeIs(1));
}

TEST_F(AnEnd, LeavesEveryLineInTheLog) {
  support::Process& service = StartAndWait();
  Client client(Address());
  for (int index = 0; index < 1000; ++index) {
    client.Post(R"({"do":"log","text":"line of a request"})", false);
  }
  EXPECT_EQ(client.Request(R"({"do":"echo"})").error, "");
  EXPECT_EQ(End(service), 0);
  EXPECT_THAT(LogLinesWith("line of a request"), SizeIs(1000));
}

TEST_F(AStart, LeavesWhatEcoreReportsToTheLog) {
  StartAndWait();
  Client client(Address());
  EXPECT_EQ(client.Request(R"({"do":"complain through Ecore"})").error, "");
  EXPECT_TRUE(WaitUntil([this] { return !LogLinesWith("a complaint").empty(); }));
  EXPECT_THAT(
      LogLinesWith("a complaint of two lines"),
      ElementsAre(testing::ContainsRegex(" E efl\\([0-9]+\\): .*: a complaint of two lines$")));
}

// How often the main thread of a process went to sleep by itself.
long Sleeps(pid_t pid) {
  const std::string status = support::ReadFile("/proc/" + std::to_string(pid) + "/status");
  const std::string name = "\nvoluntary_ctxt_switches:";
  return std::stol(status.substr(status.find(name) + name.size()));
}

TEST_F(AStart, LeavesAServiceThatSleepsWhileNobodyAsks) {
  support::Process& service = StartAndWait();
  // Until it has come to rest.
  long before = -1;
  ASSERT_TRUE(WaitUntil([&] {
    const long last = before;
    before = Sleeps(service.Pid());
    usleep(20'000);
    return last == before;
  }));
  usleep(300'000);
  EXPECT_EQ(Sleeps(service.Pid()), before);
}

}  // namespace
