#include "system/log_sink.h"

#include <poll.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

// Otherwise every entry would name this file as its origin.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

#include "system/log_file.h"

namespace host {
namespace {

// Lines are written together up to this size; a longer line is written alone.
constexpr size_t kWriteSize = 64 * 1024;

class TextSink : public LogSink {
 public:
  // Without a file lines go to standard error.
  explicit TextSink(std::unique_ptr<LogFile> file)
      : m_File(std::move(file)), m_Formatter(getpid()) {}

  void Add(const LogLine& line, uint64_t weight) override {
    m_Formatter.Append(m_Text, line);
    m_Lines.push_back({m_Text.size(), weight});
    if (m_Text.size() >= kWriteSize) {
      Commit();
    }
  }

  void Commit() override {
    if (m_Lines.empty()) {
      return;
    }
    if (m_File != nullptr && !m_Torn) {
      m_File->MakeRoom(m_Text.size());
    }
    const size_t written = Write(m_File != nullptr ? m_File->Fd() : STDERR_FILENO);
    for (const Line& line : m_Lines) {
      m_Lost += line.end > written ? line.weight : 0;
    }
    m_Lines.clear();
    // After half a line, the next one starts on a new line.
    const bool torn = written == 0 ? m_Torn : m_Text[written - 1] != '\n';
    if (m_Text.capacity() > 2 * kWriteSize) {
      m_Text = std::string();
    }
    m_Text.assign(torn ? 1 : 0, '\n');
    m_Torn = torn;
  }

  void SetUnwritten(bool unwritten) override {
    if (m_File != nullptr) {
      m_File->SetUnwritten(unwritten);
    }
  }

 private:
  struct Line {
    size_t end;  // in m_Text
    uint64_t weight;
  };

  // Returns the number of bytes that could be written.
  size_t Write(int fd) {
    size_t written = 0;
    while (written < m_Text.size()) {
      const ssize_t result = write(fd, m_Text.data() + written, m_Text.size() - written);
      if (result >= 0) {
        written += static_cast<size_t>(result);
      } else if (errno == EAGAIN) {
        // Standard error may be shared with a program that does not want to wait for it.
        pollfd writable = {fd, POLLOUT, 0};
        poll(&writable, 1, -1);
      } else if (errno != EINTR) {
        break;
      }
    }
    return written;
  }

  const std::unique_ptr<LogFile> m_File;
  LogFormatter m_Formatter;
  std::string m_Text;
  std::vector<Line> m_Lines;
  bool m_Torn = false;
};

class JournalSink : public LogSink {
 public:
  void Add(const LogLine& line, uint64_t weight) override {
    JournalEntry entry = ToJournalEntry(line);
    const iovec fields[] = {
        {entry.priority.data(), entry.priority.size()},
        {entry.identifier.data(), entry.identifier.size()},
        {entry.message.data(), entry.message.size()},
    };
    if (sd_journal_sendv(fields, std::size(fields)) < 0) {
      m_Lost += weight;
    }
  }

  void Commit() override {}
};

}  // namespace

std::unique_ptr<LogSink> OpenLogSink(const std::filesystem::path& file, uint64_t limit) {
  if (!file.empty()) {
    return std::make_unique<TextSink>(std::make_unique<LogFile>(file, limit));
  }
  if (IsJournalStream(STDERR_FILENO, std::getenv("JOURNAL_STREAM"))) {
    return std::make_unique<JournalSink>();
  }
  return std::make_unique<TextSink>(nullptr);
}

}  // namespace host
