#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bus/bus.h"
#include "support/process.h"

namespace support {

// A message bus of one's own, configured as a set's. Serves until it is destroyed or ended.
class PrivateBus {
 public:
  // The socket is made in `directory`. The bus starts programs when they are needed, as the
  // .service files in `serviceDirectories` say; they get `variables` on top of this process's own.
  // The set is that of the user `user`. Throws std::runtime_error when the bus does not come up.
  explicit PrivateBus(const std::filesystem::path& directory,
                      const std::vector<std::filesystem::path>& serviceDirectories = {},
                      const Variables& variables = {}, uid_t user = getuid());

  const std::string& Address() const { return m_Address; }

  // A connection of the caller's own. Throws std::system_error.
  bus::Connection Connect() const;

  void Signal(int signal);

  // Ends the bus; its clients lose their connections.
  void End();

 private:
  std::string m_Address;
  std::unique_ptr<Process> m_Daemon;
};

}  // namespace support
