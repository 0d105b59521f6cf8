#include "system/log_text.h"

#include <sys/stat.h>

#include <cstdio>

#include "dlog.h"

namespace host {
namespace {

// Number of bytes of the character that `text` begins with; 0 when that is not UTF-8, or one of
// the control characters U+0080 to U+009F, which some terminals obey.
size_t Utf8Length(std::string_view text) {
  const auto byte = [&](size_t index) { return static_cast<unsigned char>(text[index]); };
  size_t length = 0;
  unsigned codePoint = 0;
  unsigned least = 0;  // a smaller code point has a shorter form, the only valid one
  if ((byte(0) & 0xe0) == 0xc0) {
    length = 2, codePoint = byte(0) & 0x1f, least = 0xa0;
  } else if ((byte(0) & 0xf0) == 0xe0) {
    length = 3, codePoint = byte(0) & 0x0f, least = 0x800;
  } else if ((byte(0) & 0xf8) == 0xf0) {
    length = 4, codePoint = byte(0) & 0x07, least = 0x10000;
  }
  if (length == 0 || length > text.size()) {
    return 0;
  }
  for (size_t index = 1; index < length; ++index) {
    if ((byte(index) & 0xc0) != 0x80) {
      return 0;
    }
    codePoint = codePoint << 6 | (byte(index) & 0x3f);
  }
  const bool surrogate = codePoint >= 0xd800 && codePoint <= 0xdfff;
  return codePoint < least || codePoint > 0x10ffff || surrogate ? 0 : length;
}

void AppendEscapedByte(std::string& out, unsigned char byte) {
  switch (byte) {
    case '\n':
      out += "\\n";
      return;
    case '\r':
      out += "\\r";
      return;
    case '\t':
      out += "\\t";
      return;
  }
  constexpr char kDigits[] = "0123456789abcdef";
  out += "\\x";
  out += kDigits[byte >> 4];
  out += kDigits[byte & 0x0f];
}

void AppendEscaped(std::string& out, std::string_view text) {
  size_t copied = 0;
  for (size_t position = 0; position < text.size();) {
    const auto byte = static_cast<unsigned char>(text[position]);
    size_t length = byte >= 0x20 && byte < 0x7f ? 1 : 0;
    if (byte >= 0x80) {
      length = Utf8Length(text.substr(position));
    }
    if (length == 0) {
      out.append(text, copied, position - copied);
      AppendEscapedByte(out, byte);
      copied = ++position;
    } else {
      position += length;
    }
  }
  out.append(text, copied);
}

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
  AppendEscaped(out, line.tag);
  out += '(';
  out += m_Pid;
  out += "): ";
  AppendEscaped(out, line.text);
  out += '\n';
}

JournalEntry ToJournalEntry(const LogLine& line) {
  JournalEntry entry{"PRIORITY=", "SYSLOG_IDENTIFIER=", "MESSAGE="};
  entry.priority += JournalPriority(line.priority);
  AppendEscaped(entry.identifier, line.tag);
  AppendEscaped(entry.message, line.text);
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
