// Does what its arguments say, one command after the other, and reports on standard output:
//   open FILE            OpenLog; "" stands for no file
//   open-limited FILE BYTES
//   complain TEXT        writes to standard error
//   await-file FILE MS   whether all that goes to FILE is written in that time
//   print PRIORITY TEXT  one line, tag "probe"
//   print-elsewhere TEXT one line by another thread, which has ended then
//   fill COUNT SIZE      COUNT lines "line N xxx…" of SIZE characters
//   threads COUNT LINES  COUNT threads at once, each prints "thread T line N" LINES times
//   bad-calls            calls that break the contract
//   errno                a line with %m, and errno behind it
//   bad-text             a wide text that is no text in this locale, and errno behind it
//   null-text            a null pointer for %s
//   at-exit TEXT         a line printed by the destructor of a static object
//   flush MS, discard, hold, release
//   throw                an exception that nobody catches
//   await-sleep          waits until the writer sleeps for good
//   pause                gives a thread that should do nothing the time to do something
//   stick                standard error is a pipe that is full
//   unstick FILE         a thread moves all that is in the pipe to FILE
//   end-reading          closes the pipe and waits for that thread
//   close-terminal       standard error is a pipe that nobody can read any more
//   datagrams            standard error is a socket that keeps writes apart
//   received, await-received COUNT   the writes so far; those until COUNT lines came
//   limit FILE BYTES, unlimit        FILE can grow by BYTES more
//   writer-ignores SIGNAL            whether the writer's thread blocks the signal
//   keeps-open FILE                  whether a program started now would inherit FILE
//   journal-fails, journal-works     what the journal says from now on

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "dlog.h"
#include "system/log.h"
#include "system/log_file.h"

namespace {

std::atomic<bool> g_JournalFails = false;

}  // namespace

// Stands for the journal's own: every entry is a line of standard output.
extern "C" int sd_journal_sendv(const iovec* fields, int count) {
  if (g_JournalFails) {
    return -ENOBUFS;
  }
  std::string entry = "journal:";
  for (int index = 0; index < count; ++index) {
    entry += ' ';
    entry.append(static_cast<const char*>(fields[index].iov_base), fields[index].iov_len);
  }
  std::puts(entry.c_str());
  return 0;
}

namespace {

constexpr std::chrono::seconds kLimit(30);

std::vector<std::unique_ptr<host::LogHold>> g_Holds;
int g_ReadEnd = -1;  // of what standard error was replaced by
std::thread g_Reader;
size_t g_Stuffing = 0;    // bytes in the pipe that no line is in
size_t g_LineCount = 0;   // lines that came as datagrams
size_t g_WriteCount = 0;  // datagrams

class Goodbye {
 public:
  explicit Goodbye(std::string text) : m_Text(std::move(text)) {}
  ~Goodbye() { __dlog_print(LOG_ID_MAIN, DLOG_INFO, "probe", "%s\n", m_Text.c_str()); }

 private:
  std::string m_Text;
};

void Require(bool condition, const char* what) {
  if (!condition) {
    throw std::runtime_error(what);
  }
}

int Print(int priority, const std::string& text) {
  return __dlog_print(LOG_ID_MAIN, priority, "probe", "%s\n", text.c_str());
}

void Fill(int count, size_t size) {
  int taken = 0;
  for (int number = 0; number < count; ++number) {
    std::string text = "line " + std::to_string(number) + " ";
    text.resize(std::max(size, text.size()), 'x');
    taken += Print(DLOG_INFO, text) > 0 ? 1 : 0;
  }
  std::printf("taken %d refused %d\n", taken, count - taken);
}

void PrintFromThreads(int count, int lines) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < count; ++thread) {
    threads.emplace_back([=] {
      for (int line = 0; line < lines; ++line) {
        __dlog_print(LOG_ID_MAIN, DLOG_INFO, "probe", "thread %d line %d\n", thread, line);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

std::filesystem::path WriterTask() {
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string name;
    std::getline(std::ifstream(task.path() / "comm"), name);
    if (name == "log-writer") {
      return task.path();
    }
  }
  throw std::runtime_error("there is no thread named log-writer");
}

std::string WriterStatus(const std::string& field) {
  std::ifstream status(WriterTask() / "status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(field + ":\t", 0) == 0) {
      return line.substr(field.size() + 2);
    }
  }
  throw std::runtime_error("the status of the writer has no " + field);
}

// A lingering writer runs again soon: one that sleeps and was not switched for much longer than
// that sleeps for good.
void AwaitSleep() {
  const auto deadline = std::chrono::steady_clock::now() + kLimit;
  auto unchangedSince = std::chrono::steady_clock::now();
  std::string before;
  while (std::chrono::steady_clock::now() - unchangedSince < std::chrono::milliseconds(200)) {
    Require(std::chrono::steady_clock::now() < deadline, "the writer does not go to sleep");
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const std::string now = WriterStatus("State") + WriterStatus("voluntary_ctxt_switches");
    if (now != before || now.front() != 'S') {
      before = now;
      unchangedSince = std::chrono::steady_clock::now();
    }
  }
}

void Stick() {
  int ends[2];
  Require(pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0, "pipe");
  const char stuffing[4096] = {};
  for (ssize_t size = 0; (size = write(ends[1], stuffing, sizeof stuffing)) > 0;) {
    g_Stuffing += static_cast<size_t>(size);
  }
  Require(fcntl(ends[1], F_SETFL, 0) == 0 && fcntl(ends[0], F_SETFL, 0) == 0, "fcntl");
  Require(dup2(ends[1], STDERR_FILENO) >= 0, "dup2");
  close(ends[1]);
  g_ReadEnd = ends[0];
}

void Unstick(const std::string& file) {
  g_Reader = std::thread([file] {
    std::ofstream out(file, std::ios::binary);
    char buffer[65536];
    for (ssize_t size = 0; (size = read(g_ReadEnd, buffer, sizeof buffer)) > 0;) {
      const size_t skipped = std::min(g_Stuffing, static_cast<size_t>(size));
      g_Stuffing -= skipped;
      out.write(buffer + skipped, size - static_cast<ssize_t>(skipped));
      out.flush();
    }
  });
}

void EndReading() {
  const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  Require(dup2(null, STDERR_FILENO) >= 0, "dup2");
  close(null);
  g_Reader.join();
}

void CloseTerminal() {
  int ends[2];
  Require(pipe2(ends, O_CLOEXEC) == 0, "pipe");
  Require(dup2(ends[1], STDERR_FILENO) >= 0, "dup2");
  close(ends[0]);
  close(ends[1]);
}

void UseDatagrams() {
  int ends[2];
  Require(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
  Require(dup2(ends[1], STDERR_FILENO) >= 0, "dup2");
  close(ends[1]);
  g_ReadEnd = ends[0];
}

void Receive() {
  char buffer[65536];
  for (ssize_t size = 0; (size = recv(g_ReadEnd, buffer, sizeof buffer, MSG_DONTWAIT)) > 0;) {
    ++g_WriteCount;
    g_LineCount += static_cast<size_t>(std::count(buffer, buffer + size, '\n'));
  }
}

void ReportReceived() { std::printf("writes %zu lines %zu\n", g_WriteCount, g_LineCount); }

void AwaitReceived(size_t lines) {
  const auto deadline = std::chrono::steady_clock::now() + kLimit;
  for (Receive(); g_LineCount < lines; Receive()) {
    Require(std::chrono::steady_clock::now() < deadline, "the lines do not come");
    pollfd readable = {g_ReadEnd, POLLIN, 0};
    poll(&readable, 1, 100);
  }
  ReportReceived();
}

void LimitFileSize(rlim_t size) {
  rlimit limit = {};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = size;
  Require(setrlimit(RLIMIT_FSIZE, &limit) == 0, "setrlimit");
}

bool IsInheritable(const std::string& file) {
  struct stat wanted = {};
  Require(stat(file.c_str(), &wanted) == 0, "stat");
  for (int fd = 3; fd < 1024; ++fd) {
    struct stat status = {};
    if (fstat(fd, &status) == 0 && status.st_dev == wanted.st_dev &&
        status.st_ino == wanted.st_ino) {
      return (fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0;
    }
  }
  throw std::runtime_error("the file is not open");
}

void Open(const std::string& file, std::uint64_t limit = host::kLogLimit) {
  try {
    host::OpenLog(file, limit);
  } catch (const std::exception& exception) {
    std::printf("open failed: %s\n", exception.what());
  }
}

void MakeBadCalls() {
  const char* const nothing = std::getenv("NO_SUCH_VARIABLE");
  std::printf("other buffer %d\n",
              __dlog_print(static_cast<log_id_t>(1), DLOG_INFO, "probe", "bad\n"));
  std::printf("no tag %d\n", __dlog_print(LOG_ID_MAIN, DLOG_INFO, nothing, "bad\n"));
  std::printf("no format %d\n", __dlog_print(LOG_ID_MAIN, DLOG_INFO, "probe", nothing, 1));
}

void ReportErrno() {
  const bool isSame = errno == ENOTDIR;
  std::printf("errno is still the same: %s\n", isSame ? "yes" : "no");
}

void PrintBadText() {
  errno = ENOTDIR;
  const wchar_t bad[] = {0x7fffffff, 0};
  const int result = __dlog_print(LOG_ID_MAIN, DLOG_INFO, "probe", "%ls\n", bad);
  ReportErrno();
  std::printf("bad text %d\n", result);
}

void PrintErrno() {
  errno = ENOTDIR;
  __dlog_print(LOG_ID_MAIN, DLOG_INFO, "probe", "%m\n");
  ReportErrno();
}

using Arguments = std::vector<std::string>;
struct Command {
  size_t argumentCount;
  std::function<void(const Arguments&)> run;
};

const std::map<std::string, Command> kCommands = {
    {"open", {1, [](const Arguments& a) { Open(a[0]); }}},
    {"open-limited", {2, [](const Arguments& a) { Open(a[0], std::stoull(a[1])); }}},
    {"complain", {1, [](const Arguments& a) { std::fprintf(stderr, "%s\n", a[0].c_str()); }}},
    {"await-file",
     {2,
      [](const Arguments& a) {
        const bool done = host::AwaitLogFile(a[0], std::chrono::milliseconds(std::stoi(a[1])));
        std::printf("written %s\n", done ? "yes" : "no");
      }}},
    {"print",
     {2, [](const Arguments& a) { std::printf("printed %d\n", Print(std::stoi(a[0]), a[1])); }}},
    {"print-elsewhere",
     {1, [](const Arguments& a) { std::thread([&] { Print(DLOG_INFO, a[0]); }).join(); }}},
    {"fill", {2, [](const Arguments& a) { Fill(std::stoi(a[0]), std::stoul(a[1])); }}},
    {"threads",
     {2, [](const Arguments& a) { PrintFromThreads(std::stoi(a[0]), std::stoi(a[1])); }}},
    {"bad-calls", {0, [](const Arguments&) { MakeBadCalls(); }}},
    {"errno", {0, [](const Arguments&) { PrintErrno(); }}},
    {"bad-text", {0, [](const Arguments&) { PrintBadText(); }}},
    {"null-text",
     {0,
      [](const Arguments&) {
        const char* const nothing = std::getenv("NO_SUCH_VARIABLE");
        __dlog_print(LOG_ID_MAIN, DLOG_INFO, "probe", "text: %s\n", nothing);
      }}},
    {"at-exit", {1, [](const Arguments& a) { static const Goodbye goodbye(a[0]); }}},
    {"flush",
     {1,
      [](const Arguments& a) {
        const bool done = host::FlushLog(std::chrono::milliseconds(std::stoi(a[0])));
        std::printf("flushed %s\n", done ? "yes" : "no");
      }}},
    {"discard", {0, [](const Arguments&) { host::DiscardLog(); }}},
    {"hold", {0, [](const Arguments&) { g_Holds.push_back(std::make_unique<host::LogHold>()); }}},
    {"release", {0, [](const Arguments&) { g_Holds.pop_back(); }}},
    {"throw",
     {0, [](const Arguments&) { std::thread([] { throw std::runtime_error("why"); }).join(); }}},
    {"await-sleep", {0, [](const Arguments&) { AwaitSleep(); }}},
    {"pause",
     {0, [](const Arguments&) { std::this_thread::sleep_for(std::chrono::milliseconds(50)); }}},
    {"stick", {0, [](const Arguments&) { Stick(); }}},
    {"unstick", {1, [](const Arguments& a) { Unstick(a[0]); }}},
    {"end-reading", {0, [](const Arguments&) { EndReading(); }}},
    {"close-terminal", {0, [](const Arguments&) { CloseTerminal(); }}},
    {"datagrams", {0, [](const Arguments&) { UseDatagrams(); }}},
    {"received",
     {0,
      [](const Arguments&) {
        Receive();
        ReportReceived();
      }}},
    {"await-received", {1, [](const Arguments& a) { AwaitReceived(std::stoul(a[0])); }}},
    {"limit",
     {2,
      [](const Arguments& a) {
        LimitFileSize(std::filesystem::file_size(a[0]) + std::stoul(a[1]));
      }}},
    {"unlimit", {0, [](const Arguments&) { LimitFileSize(RLIM_INFINITY); }}},
    {"writer-ignores",
     {1,
      [](const Arguments& a) {
        const auto blocked = std::stoull(WriterStatus("SigBlk"), nullptr, 16);
        const bool isBlocked = (blocked >> (std::stoi(a[0]) - 1) & 1) != 0;
        std::printf("signal %s %s\n", a[0].c_str(), isBlocked ? "blocked" : "not blocked");
      }}},
    {"keeps-open",
     {1,
      [](const Arguments& a) {
        std::printf("inherited %s\n", IsInheritable(a[0]) ? "yes" : "no");
      }}},
    {"journal-fails", {0, [](const Arguments&) { g_JournalFails = true; }}},
    {"journal-works", {0, [](const Arguments&) { g_JournalFails = false; }}},
};

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  const std::vector<std::string> words(argv + 1, argv + argc);
  for (size_t position = 0; position < words.size();) {
    const auto command = kCommands.find(words[position++]);
    if (command == kCommands.end() || command->second.argumentCount > words.size() - position) {
      std::printf("cannot do %s\n", words[position - 1].c_str());
      return 2;
    }
    const auto first = words.begin() + static_cast<std::ptrdiff_t>(position);
    const auto count = static_cast<std::ptrdiff_t>(command->second.argumentCount);
    command->second.run(Arguments(first, first + count));
    position += command->second.argumentCount;
  }
  return 0;
}
