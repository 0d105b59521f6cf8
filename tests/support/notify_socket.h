#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace support {

// What a service manager listens on: messages of services wait in it.
class NotifySocket {
 public:
  explicit NotifySocket(const std::filesystem::path& path);
  ~NotifySocket();
  NotifySocket(const NotifySocket&) = delete;
  NotifySocket& operator=(const NotifySocket&) = delete;

  // The messages that came since the last call, without waiting for more.
  std::vector<std::string> TakeMessages();

 private:
  int m_Fd;
};

}  // namespace support
