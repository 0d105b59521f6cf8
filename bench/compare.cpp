// Measures a request against the least that it could cost, in turns in one run on one bus: the
// machine's speed varies from second to second, so only the ratios mean something. The bare socket
// pair is the minimum for any two processes, the empty echo that for any two processes on a bus.

#include <sqlite3.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/json.h"
#include "bus/bus.h"
#include "framework/access.h"
#include "framework/main_loop.h"

namespace {

constexpr char kEchoName[] = "org.nuvra.bench.Echo";
constexpr char kEchoPath[] = "/org/nuvra/bench/Echo";
constexpr char kServiceName[] = "org.nuvra.service.settings_service";
constexpr char kServicePath[] = "/org/nuvra/service/settings_service";
constexpr char kInterface[] = "org.nuvra.Service1";

constexpr char kItemsInterface[] = "org.nuvra.Items1";
constexpr int kSubscribers = 100;

constexpr char kGetRequest[] = R"({"method":"GetItemValue","data":{"menuID":"picturemode"}})";

using bus::Check;

bus::Connection ConnectToBus() {
  bus::Connection connection;
  Check(bus::Connect("session", std::nullopt, connection),
        "cannot connect to the session bus; start this in a set");
  return connection;
}

// Requests and replies of the service's form, with nothing between them.
int Echo(sd_bus_message* call, void*, sd_bus_error*) {
  int type = 0;
  const char* body = nullptr;
  if (const int result = sd_bus_message_read(call, "is", &type, &body); result < 0) {
    return result;
  }
  return sd_bus_reply_method_return(call, "is", type, body);
}

// A broadcast of the form of an announcement, with nothing in it.
int Broadcast(sd_bus_message* call, void*, sd_bus_error*) {
  const int result = sd_bus_emit_signal(sd_bus_message_get_bus(call), kEchoPath, kItemsInterface,
                                        "Changed", "s", "{}");
  return result < 0 ? result : sd_bus_reply_method_return(call, nullptr);
}

[[noreturn]] void ServeEcho(int readyFd) {
  static const sd_bus_vtable kVtable[] = {
      SD_BUS_VTABLE_START(0),
      SD_BUS_METHOD("Request", "is", "is", Echo, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_METHOD("Broadcast", nullptr, nullptr, Broadcast, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_VTABLE_END,
  };
  const bus::Connection connection = ConnectToBus();
  sd_bus* const bus = connection.get();
  Check(sd_bus_add_object_vtable(bus, nullptr, kEchoPath, kInterface, kVtable, nullptr), "object");
  Check(sd_bus_request_name(bus, kEchoName, 0), "bus name");
  if (write(readyFd, "r", 1) != 1) {
    std::exit(1);
  }
  const bus::Deadline never(std::nullopt);
  while (bus::ProcessOrWait(bus, never) >= 0) {
  }
  std::exit(0);
}

[[noreturn]] void ServeSocket(int fd) {
  std::array<char, 4096> buffer;
  ssize_t size = 0;
  while ((size = read(fd, buffer.data(), buffer.size())) > 0 &&
         write(fd, buffer.data(), size) == size) {
  }
  std::exit(0);
}

// A child process that serves on the other end of a socket pair. It ends with its owner, however
// that ends: nobody else would end it, and other servers hold copies of the socket.
class Server {
 public:
  explicit Server(const std::function<void(int fd)>& serve) {
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0) {
      throw std::runtime_error("socketpair failed");
    }
    const pid_t owner = getpid();
    m_Pid = fork();
    if (m_Pid == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (getppid() != owner) {
        std::exit(0);
      }
      close(fds[0]);
      serve(fds[1]);
    }
    const int error = errno;
    close(fds[1]);
    if (m_Pid < 0) {
      close(fds[0]);
      throw std::runtime_error(std::string("cannot start a server: ") + std::strerror(error));
    }
    m_Fd = fds[0];
  }
  ~Server() {
    close(m_Fd);
    kill(m_Pid, SIGTERM);
    waitpid(m_Pid, nullptr, 0);
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  int Fd() const { return m_Fd; }

 private:
  pid_t m_Pid;
  int m_Fd;
};

void ExchangeOnSocket(int fd) {
  std::array<char, 4096> buffer;
  if (write(fd, kGetRequest, sizeof kGetRequest) != sizeof kGetRequest ||
      read(fd, buffer.data(), buffer.size()) != sizeof kGetRequest) {
    throw std::runtime_error("the socket pair broke");
  }
}

std::string RequestOnBus(sd_bus* bus, const char* name, const char* path, const std::string& body) {
  bus::Error error;
  bus::Message reply;
  const int result = sd_bus_call_method(bus, name, path, kInterface, "Request", error.Out(),
                                        bus::Out(reply), "is", 0, body.c_str());
  if (result < 0) {
    throw std::runtime_error(std::string(name) + ": " +
                             (error.Text().empty() ? std::strerror(-result) : error.Text()));
  }
  int type = 0;
  const char* text = nullptr;
  Check(sd_bus_message_read(reply.get(), "is", &type, &text), "reply");
  return text;
}

// Many connections that listen to announcements.
class Subscribers {
 public:
  Subscribers() : m_All(kSubscribers) {
    for (Subscriber& each : m_All) {
      each.bus = ConnectToBus();
      Check(sd_bus_match_signal(each.bus.get(), nullptr, nullptr, nullptr, kItemsInterface,
                                "Changed", OnChanged, &each),
            "match");
    }
  }

  // Returns when each of them has heard of what `change` does.
  template <typename Change>
  void WaitFor(Change change) {
    for (Subscriber& each : m_All) {
      while (Check(sd_bus_process(each.bus.get(), nullptr), "subscriber") > 0) {
      }
      each.hasHeard = false;
    }
    change();
    for (Subscriber& each : m_All) {
      const bus::Deadline deadline(std::chrono::seconds(10));
      while (!each.hasHeard) {
        Check(bus::ProcessOrWait(each.bus.get(), deadline), "a subscriber heard of nothing");
      }
    }
  }

 private:
  struct Subscriber {
    bus::Connection bus;
    bool hasHeard = false;
  };

  static int OnChanged(sd_bus_message*, void* subscriber, sd_bus_error*) {
    static_cast<Subscriber*>(subscriber)->hasHeard = true;
    return 0;
  }

  std::vector<Subscriber> m_All;
};

// All that a menu asks about its items, one message for each request or one for many.
class WholeMenu {
 public:
  explicit WholeMenu(sd_bus* bus) : m_Bus(bus) {
    std::vector<std::string> items = {""};
    for (std::size_t i = 0; i < items.size(); ++i) {
      for (std::string& child : ChildrenOf(items[i])) {
        items.push_back(std::move(child));
      }
    }
    items.erase(items.begin());
    m_Items = items.size();
    for (const std::string& item : items) {
      for (const char* method : {"GetItemValue", "GetItemValueName", "GetItemDisplayName",
                                 "GetItemVisible", "GetItemEnable", "GetItemPath"}) {
        m_Requests.push_back(BodyOf(method, item));
      }
    }
  }

  std::size_t Items() const { return m_Items; }

  void AskOneByOne() const {
    for (const std::string& request : m_Requests) {
      RequestOnBus(m_Bus, kServiceName, kServicePath, request);
    }
  }

  void AskInBatches() const {
    constexpr std::size_t kAtOnce = 1024;
    std::size_t answered = 0;
    for (std::size_t begin = 0; begin < m_Requests.size(); begin += kAtOnce) {
      answered += AskAtOnce(begin, std::min(m_Requests.size(), begin + kAtOnce));
    }
    if (answered != m_Requests.size()) {
      throw std::runtime_error("a batch was not answered in full");
    }
  }

 private:
  static std::string BodyOf(const std::string& method, const std::string& item) {
    return R"({"method":")" + method + R"(","data":{"menuID":")" + item + R"("}})";
  }

  // The result is a text that is a JSON array.
  std::vector<std::string> ChildrenOf(const std::string& item) const {
    const std::string reply =
        RequestOnBus(m_Bus, kServiceName, kServicePath, BodyOf("GetItemChildList", item));
    const auto list = base::TryParseJson(
        base::TryParseJson(reply).value_or(Json::Value())["return_data"].asString());
    std::vector<std::string> children;
    for (const Json::Value& child : list.value_or(Json::arrayValue)) {
      children.push_back(child.asString());
    }
    return children;
  }

  // Returns the number of the replies.
  std::size_t AskAtOnce(std::size_t begin, std::size_t end) const {
    bus::Message call;
    Check(sd_bus_message_new_method_call(m_Bus, bus::Out(call), kServiceName, kServicePath,
                                         kInterface, "RequestAll"),
          "call");
    Check(sd_bus_message_open_container(call.get(), 'a', "(is)"), "list");
    for (std::size_t i = begin; i < end; ++i) {
      Check(sd_bus_message_append(call.get(), "(is)", 0, m_Requests[i].c_str()), "request");
    }
    Check(sd_bus_message_close_container(call.get()), "list");
    bus::Message reply;
    Check(sd_bus_call(m_Bus, call.get(), 0, nullptr, bus::Out(reply)), "a batch failed");
    Check(sd_bus_message_enter_container(reply.get(), 'a', "(is)"), "replies");
    std::size_t count = 0;
    int type = 0;
    const char* body = nullptr;
    while (Check(sd_bus_message_read(reply.get(), "(is)", &type, &body), "reply") > 0) {
      ++count;
    }
    return count;
  }

  sd_bus* const m_Bus;
  std::size_t m_Items = 0;
  std::vector<std::string> m_Requests;
};

// One durable write with nothing around it, on the file system where the set keeps its values.
class BareCommit {
 public:
  explicit BareCommit(const std::filesystem::path& directory) : m_File(directory / "bench.db") {
    if (sqlite3_open(m_File.c_str(), &m_Database) != SQLITE_OK) {
      throw std::runtime_error("cannot open " + m_File.string());
    }
    Run("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
        "CREATE TABLE keys(key TEXT PRIMARY KEY, value) WITHOUT ROWID;"
        "INSERT INTO keys VALUES('db/menu/brightness', 0)");
    sqlite3_prepare_v2(m_Database, "UPDATE keys SET value = ? WHERE key = 'db/menu/brightness'", -1,
                       &m_Update, nullptr);
  }
  ~BareCommit() {
    sqlite3_finalize(m_Update);
    sqlite3_close(m_Database);
    for (const char* suffix : {"", "-wal", "-shm"}) {
      std::filesystem::remove(m_File.string() + suffix);
    }
  }
  BareCommit(const BareCommit&) = delete;
  BareCommit& operator=(const BareCommit&) = delete;

  void Commit(int value) {
    sqlite3_bind_int(m_Update, 1, value);
    if (sqlite3_step(m_Update) != SQLITE_DONE) {
      throw std::runtime_error(sqlite3_errmsg(m_Database));
    }
    sqlite3_reset(m_Update);
  }

 private:
  void Run(const char* sql) {
    if (sqlite3_exec(m_Database, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sqlite3_errmsg(m_Database));
    }
  }

  std::filesystem::path m_File;
  sqlite3* m_Database = nullptr;
  sqlite3_stmt* m_Update = nullptr;
};

struct Contender {
  const char* name;
  std::function<void(int round)> run;
  std::vector<double> microseconds;

  double Median() {
    std::sort(microseconds.begin(), microseconds.end());
    return microseconds[microseconds.size() / 2];
  }
};

std::string SetBrightness(int value, bool preview) {
  return R"({"method":"SetItemValue","data":{"menuID":"brightness","Value":")" +
         std::to_string(value % 51) + R"(","PreViewFlag":)" + (preview ? "true" : "false") + "}}";
}

void ExpectSuccess(const std::string& reply) {
  if (reply.find(R"("call_api_success":true)") == std::string::npos) {
    throw std::runtime_error("the service answered " + reply);
  }
}

// Runs the contenders in turns, and their times into them.
template <std::size_t Count>
void RunInTurns(std::array<Contender, Count>& contenders, int rounds) {
  const int warmUp = rounds / 10;
  for (int round = 0; round < warmUp + rounds; ++round) {
    for (Contender& contender : contenders) {
      const auto start = std::chrono::steady_clock::now();
      contender.run(round);
      const std::chrono::duration<double, std::micro> time =
          std::chrono::steady_clock::now() - start;
      if (round >= warmUp) {
        contender.microseconds.push_back(time.count());
      }
    }
  }
}

// How long it takes to judge whether a caller may set a value who may because the last of his
// groups may: a single judgement is too short for the clock. Questions are judged in less.
double MicrosecondsOfJudging(const std::filesystem::path& directory) {
  const std::filesystem::path file = directory / "bench-access.json";
  std::ofstream(file) << R"({"SetItemValue": {"users": [1001, 1002], "groups": [2000]}})";
  const host::MainLoop loop;
  const host::Access access(file);
  std::filesystem::remove(file);
  const host::Caller caller{true, geteuid() + 1, {100, 1003, 2000}};
  const Json::Value body = base::TryParseJson(SetBrightness(1, false)).value();
  constexpr int kTimes = 100'000;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kTimes; ++i) {
    if (access.Judge(":1.1", &caller, body).kind != host::Judgement::Kind::kServed) {
      throw std::runtime_error("the judgement is wrong");
    }
  }
  const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - start;
  return time.count() / kTimes;
}

void Compare(int rounds, const std::filesystem::path& root) {
  Server socket(ServeSocket);
  Server echo(ServeEcho);
  char ready = 0;
  if (read(echo.Fd(), &ready, 1) != 1) {
    throw std::runtime_error("the echo service did not start");
  }
  BareCommit bareCommit(root);
  const bus::Connection connection = ConnectToBus();
  sd_bus* const bus = connection.get();

  const auto set = [&](int value, bool preview = false) {
    ExpectSuccess(RequestOnBus(bus, kServiceName, kServicePath, SetBrightness(value, preview)));
  };
  std::array<Contender, 5> contenders{{
      {"bare socket pair", [&](int) { ExchangeOnSocket(socket.Fd()); }, {}},
      {"empty echo on the bus",
       [&](int) { RequestOnBus(bus, kEchoName, kEchoPath, kGetRequest); },
       {}},
      {"GetItemValue",
       [&](int) { ExpectSuccess(RequestOnBus(bus, kServiceName, kServicePath, kGetRequest)); },
       {}},
      {"bare SQLite commit", [&](int round) { bareCommit.Commit(round % 51); }, {}},
      {"SetItemValue", [&](int round) { set(round); }, {}},
  }};
  RunInTurns(contenders, rounds);

  // The same write when the item has that value: nothing is announced.
  std::array<Contender, 2> writes{{
      {"a new value", [&](int round) { set(round); }, {}},
      {"the same value again", [&](int round) { set(round); }, {}},
  }};
  RunInTurns(writes, rounds);

  // A preview, which waits for no disk.
  Subscribers subscribers;
  std::array<Contender, 2> broadcasts{{
      {"an empty broadcast",
       [&](int) {
         subscribers.WaitFor([&] {
           Check(sd_bus_call_method(bus, kEchoName, kEchoPath, kInterface, "Broadcast", nullptr,
                                    nullptr, nullptr),
                 "broadcast");
         });
       },
       {}},
      {"a change of an item",
       [&](int round) { subscribers.WaitFor([&] { set(round, true); }); },
       {}},
  }};
  const int broadcastRounds = std::max(rounds / 20, 3);
  RunInTurns(broadcasts, broadcastRounds);

  const WholeMenu menu(bus);
  std::array<Contender, 2> menus{{
      {"the menu one by one", [&](int) { menu.AskOneByOne(); }, {}},
      {"the menu in batches", [&](int) { menu.AskInBatches(); }, {}},
  }};
  // Each asks as often as hundreds of rounds of the others.
  const int menuRounds = std::max(rounds / 100, 3);
  RunInTurns(menus, menuRounds);

  std::printf("medians of %d rounds, in turns\n\n", rounds);
  for (Contender& contender : contenders) {
    std::printf("  %-24s %8.1f us\n", contender.name, contender.Median());
  }
  std::printf("\nmedians of %d rounds, in turns: SetItemValue with and without an announcement\n\n",
              rounds);
  for (Contender& contender : writes) {
    std::printf("  %-24s %8.1f us\n", contender.name, contender.Median());
  }
  std::printf("\nmedians of %d rounds, in turns: until the last of %d subscribers heard\n\n",
              broadcastRounds, kSubscribers);
  for (Contender& contender : broadcasts) {
    std::printf("  %-24s %8.1f us\n", contender.name, contender.Median());
  }
  std::printf("\nmedians of %d rounds, in turns: all about %zu items\n\n", menuRounds,
              menu.Items());
  for (Contender& contender : menus) {
    std::printf("  %-24s %8.1f us\n", contender.name, contender.Median());
  }
  std::printf("\n  %-48s %6s   at most\n", "", "ratio");
  const double echoMedian = contenders[1].Median();
  std::printf("  %-48s %6.2f   1.06\n", "GetItemValue / empty echo",
              contenders[2].Median() / echoMedian);
  std::printf("  %-48s %6.2f   1.05\n", "SetItemValue / (empty echo + bare commit)",
              contenders[4].Median() / (echoMedian + contenders[3].Median()));
  std::printf("  %-48s %6.2f   1.02\n", "SetItemValue: announced / not announced",
              writes[0].Median() / writes[1].Median());
  std::printf("  %-48s %6.2f   3.00\n", "100 subscribers: a change / an empty broadcast",
              broadcasts[1].Median() / broadcasts[0].Median());
  std::printf("  %-48s %6.3f   0.067\n", "all about the items: in batches / one by one",
              menus[1].Median() / menus[0].Median());
  const double judging = MicrosecondsOfJudging(root);
  std::printf("  %-48s %6.3f   1.010\n", "GetItemValue and a judgement / GetItemValue",
              1 + judging / contenders[2].Median());
  std::printf("  %-48s %6.2f\n", "empty echo / bare socket pair",
              echoMedian / contenders[0].Median());
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "Measures requests beside an empty echo on the same bus; run it "
      "inside a set.");
  int rounds = 2000;
  app.add_option("--rounds", rounds, "Measurements of each kind")->check(CLI::Range(10, 100000));
  const char* set = std::getenv("SETTINGS_ROOT");
  std::string root = set != nullptr ? set : ".";
  app.add_option("--directory", root, "Where the bare commit writes; default: the set's root");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  try {
    Compare(rounds, root);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "compare: %s\n", error.what());
    return 1;
  }
  return 0;
}
