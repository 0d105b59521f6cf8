#include "support/private_bus.h"

#include <signal.h>

#include <fstream>
#include <stdexcept>

#include "support/temp_directory.h"

namespace support {

PrivateBus::PrivateBus(const std::filesystem::path& directory,
                       const std::vector<std::filesystem::path>& serviceDirectories,
                       const Variables& variables, uid_t user) {
  const std::filesystem::path configuration = directory / "bus.conf";
  std::ofstream stream(configuration);
  stream << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
            " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
            "<busconfig>\n<include>" SETTINGS_BUS_CONFIGURATION
            "</include>\n"
            "<policy user=\""
         << user << "\"><allow own_prefix=\"org.nuvra.service\"/></policy>\n";
  for (const std::filesystem::path& services : serviceDirectories) {
    stream << "<servicedir>" << services.string() << "</servicedir>\n";
  }
  stream << "</busconfig>\n";
  stream.close();

  m_Address = "unix:path=" + (directory / "bus").string();
  const std::filesystem::path log = directory / "bus.log";
  const std::filesystem::path printed = directory / "bus.address";
  std::filesystem::remove(printed);
  m_Daemon = std::make_unique<Process>(
      std::vector<std::string>{"dbus-daemon", "--nofork", "--nopidfile", "--print-address",
                               "--config-file=" + configuration.string(), "--address=" + m_Address},
      variables, Files{"/dev/null", printed, log});
  // The bus prints its address when it can be connected to.
  const bool up = WaitUntil([&] { return !ReadFile(printed).empty() || !m_Daemon->Running(); });
  if (!up || !m_Daemon->Running()) {
    throw std::runtime_error("the bus did not start: " + ReadFile(log));
  }
}

bus::Connection PrivateBus::Connect() const {
  bus::Connection connection;
  bus::Check(bus::Connect(m_Address, kPatience, connection), m_Address.c_str());
  return connection;
}

void PrivateBus::Signal(int signal) { m_Daemon->Signal(signal); }

void PrivateBus::End() {
  m_Daemon->Signal(SIGTERM);
  m_Daemon->Wait();
}

}  // namespace support
