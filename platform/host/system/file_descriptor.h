#pragma once

#include <unistd.h>

#include <utility>

namespace host {

// Owns a file descriptor, -1 for none.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int fd) : m_Fd(fd) {}
  FileDescriptor(FileDescriptor&& other) noexcept : m_Fd(std::exchange(other.m_Fd, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(m_Fd, other.m_Fd);
    return *this;
  }
  ~FileDescriptor() {
    if (m_Fd >= 0) {
      ::close(m_Fd);
    }
  }

  int Get() const { return m_Fd; }
  explicit operator bool() const { return m_Fd >= 0; }

 private:
  int m_Fd = -1;
};

}  // namespace host
