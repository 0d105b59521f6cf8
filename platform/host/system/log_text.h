#pragma once

#include <sys/types.h>

#include <ctime>
#include <string>
#include <string_view>

namespace host {

// One line as it was printed. Owns nothing.
struct LogLine {
  timespec time;  // CLOCK_REALTIME
  int priority;   // log_priority
  std::string_view tag;
  std::string_view text;  // without its line end
};

// Makes the lines of a log file, tag and text as AppendVisible writes them. One thread at a time.
class LogFormatter {
 public:
  explicit LogFormatter(pid_t pid);

  // Appends one line and its line end.
  void Append(std::string& out, const LogLine& line);

 private:
  std::string m_Pid;
  time_t m_Second = -1;
  std::string m_SecondText;  // of m_Second
};

// The fields of a journal entry for a line, escaped as in a log file.
struct JournalEntry {
  std::string priority;
  std::string identifier;
  std::string message;
};
JournalEntry ToJournalEntry(const LogLine& line);

// Whether `fd` is the stream to the journal that `journalStream` names, "DEVICE:INODE" in
// decimal as the service manager puts it in the environment. It may be null.
bool IsJournalStream(int fd, const char* journalStream);

}  // namespace host
