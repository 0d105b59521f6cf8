#include "system/log_text.h"

#include <sys/stat.h>

#include <cstdio>

#include "base/utf8.h"
#include "dlog.h"

namespace host {
namespace {

char PriorityLetter(int priority) {
  if (priority >= DLOG_ERROR) {
    return 'E';
  }
  return priority == DLOG_WARN ? 'W' : priority == DLOG_INFO ? 'I' : 'D';
}

// The numbers of syslog(3).
char JournalPriority(int priority) {
  if (priority >= DLOG_ERROR) {
    return '3';
  }
  return priority == DLOG_WARN ? '4' : priority == DLOG_INFO ? '6' : '7';
}

}  // namespace

LogFormatter::LogFormatter(pid_t pid) : m_Pid(std::to_string(pid)) {}

void LogFormatter::Append(std::string& out, const LogLine& line) {
  if (line.time.tv_sec != m_Second || m_SecondText.empty()) {
    std::tm utc = {};
    gmtime_r(&line.time.tv_sec, &utc);
    char text[64];
    m_SecondText.assign(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S.", &utc));
    m_Second = line.time.tv_sec;
  }
  out += m_SecondText;
  char micros[] = "000000Z ";
  long rest = line.time.tv_nsec / 1000;
  for (int digit = 5; digit >= 0; --digit, rest /= 10) {
    micros[digit] = static_cast<char>('0' + rest % 10);
  }
  out += micros;
  out += PriorityLetter(line.priority);
  out += ' ';
  base::AppendVisible(out, line.tag);
  out += '(';
  out += m_Pid;
  out += "): ";
  base::AppendVisible(out, line.text);
  out += '\n';
}

JournalEntry ToJournalEntry(const LogLine& line) {
  JournalEntry entry{"PRIORITY=", "SYSLOG_IDENTIFIER=", "MESSAGE="};
  entry.priority += JournalPriority(line.priority);
  base::AppendVisible(entry.identifier, line.tag);
  base::AppendVisible(entry.message, line.text);
  return entry;
}

bool IsJournalStream(int fd, const char* journalStream) {
  unsigned long long device = 0;
  unsigned long long inode = 0;
  char excess = 0;
  struct stat status = {};
  return journalStream != nullptr &&
         std::sscanf(journalStream, "%llu:%llu%c", &device, &inode, &excess) == 2 &&
         fstat(fd, &status) == 0 && status.st_dev == device && status.st_ino == inode;
}

}  // namespace host
