#include "support/notify_socket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace support {

NotifySocket::NotifySocket(const std::filesystem::path& path)
    : m_Fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  if (bind(m_Fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot bind to " + path.string());
  }
}

NotifySocket::~NotifySocket() { close(m_Fd); }

std::vector<std::string> NotifySocket::TakeMessages() {
  std::vector<std::string> messages;
  char buffer[4096];
  for (ssize_t size = 0; (size = recv(m_Fd, buffer, sizeof buffer, MSG_DONTWAIT)) >= 0;) {
    messages.emplace_back(buffer, static_cast<size_t>(size));
  }
  return messages;
}

}  // namespace support
