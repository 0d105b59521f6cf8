#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/process.h"

namespace support {

// A message bus of one's own, configured as a set's. Serves until it is destroyed or ended.
class PrivateBus {
 public:
  // The socket is made in `directory`. Throws std::runtime_error when the bus does not come up.
  explicit PrivateBus(const std::filesystem::path& directory);

  // The same with programs that the bus starts when they are needed, as the .service files in
  // `serviceDirectories` say. They get `variables` on top of this process's own.
  PrivateBus(const std::filesystem::path& directory,
             const std::vector<std::filesystem::path>& serviceDirectories,
             const Variables& variables = {});

  const std::string& Address() const { return m_Address; }

  // Ends the bus; its clients lose their connections.
  void End();

 private:
  void Start(const std::filesystem::path& directory, const std::filesystem::path& configuration,
             const Variables& variables);

  std::string m_Address;
  std::unique_ptr<Process> m_Daemon;
};

}  // namespace support
