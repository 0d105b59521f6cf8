// The sample menu in a terminal: what it shows is what the items are.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pty.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/width.h"
#include "system_test.h"

namespace {

using testing::HasSubstr;

// A program in a terminal of its own. What it shows is what it wrote last behind "home": each row
// is erased where nothing is written.
class Terminal {
 public:
  Terminal(const std::vector<std::string>& command, const support::Variables& variables) {
    winsize size{.ws_row = 100, .ws_col = 100, .ws_xpixel = 0, .ws_ypixel = 0};
    m_Pid = forkpty(&m_Terminal, nullptr, nullptr, &size);
    if (m_Pid < 0) {
      throw std::runtime_error("no terminal");
    }
    if (m_Pid == 0) {
      for (const auto& [name, value] : variables) {
        setenv(name.c_str(), value.c_str(), 1);
      }
      std::vector<char*> arguments;
      for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
      }
      arguments.push_back(nullptr);
      execv(arguments[0], arguments.data());
      _exit(127);
    }
    fcntl(m_Terminal, F_SETFL, O_NONBLOCK);
  }

  ~Terminal() {
    kill(m_Pid, SIGKILL);
    waitpid(m_Pid, nullptr, 0);
    close(m_Terminal);
  }

  void Signal(int signal) const { kill(m_Pid, signal); }

  void Resize(unsigned short rows, unsigned short columns = 100) const {
    const winsize size{.ws_row = rows, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    ioctl(m_Terminal, TIOCSWINSZ, &size);
  }

  // All that was written so far.
  const std::string& Written() {
    char buffer[4096];
    for (ssize_t size = 0; (size = read(m_Terminal, buffer, sizeof buffer)) > 0;) {
      m_Written.append(buffer, size);
    }
    return m_Written;
  }

  // What stands beside a name on the screen, behind the spaces; "?" when it is not there.
  std::string Beside(const std::string& name) {
    const std::string& written = Written();
    const std::size_t home = written.rfind("\x1b[H");
    const std::size_t row =
        home == std::string::npos ? home : written.find(name + "\x1b[K\x1b[44G", home);
    if (row == std::string::npos) {
      return "?";
    }
    const std::size_t begin = row + name.size() + std::string("\x1b[K\x1b[44G ").size();
    return written.substr(begin, written.find('\x1b', begin) - begin);
  }

  struct Row {
    std::string name;
    std::size_t column;  // of the value, counted from 1
    std::string value;
  };

  // The rows with values on the screen; none while it is being drawn.
  std::vector<Row> Rows() {
    const std::string& written = Written();
    const std::size_t home = written.rfind("\x1b[H");
    const std::size_t end = written.find("\x1b[J", home);
    const std::string screen =
        end == std::string::npos ? "" : written.substr(home + 3, end - home - 3);
    const std::regex form("(?:\x1b\\[2m)?([^\x1b]*)\x1b\\[K\x1b\\[(\\d+)G ([^\x1b]*)\x1b\\[0m");
    std::vector<Row> rows;
    std::istringstream lines(screen);
    for (std::string line; std::getline(lines, line, '\r'); lines.ignore(1)) {
      std::smatch parts;
      if (std::regex_match(line, parts, form)) {
        rows.push_back({parts[1], std::stoul(parts[2]) + 1, parts[3]});
      }
    }
    return rows;
  }

  // What stands on the last row that is used; empty while it is being drawn.
  std::string Last() {
    const std::string& written = Written();
    const std::size_t home = written.rfind("\x1b[H");
    const std::size_t end = written.find("\x1b[J", home);
    if (home == std::string::npos || end == std::string::npos) {
      return "";
    }
    const std::size_t row = written.rfind('\n', end);
    const std::size_t begin = row != std::string::npos && row > home ? row + 1 : home + 3;
    return written.substr(begin, end - begin);
  }

  bool Shows(const std::string& name, const std::string& value) {
    return support::WaitUntil([&] { return Beside(name) == value; });
  }

 private:
  int m_Terminal = -1;
  pid_t m_Pid = -1;
  std::string m_Written;
};

class MenuInATerminal : public SystemTest {
 protected:
  std::unique_ptr<Terminal> Start(const std::string& item) const {
    return std::make_unique<Terminal>(
        std::vector<std::string>{SETTINGS_APPLICATIONS "/org.pavix.menu", item}, m_Set.Variables());
  }

  void Done(const std::vector<std::string>& command) {
    const support::Outcome outcome = m_Set.Run(command);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
  }

  std::string ValueOf(const std::string& item) {
    std::string value = m_Set.Run({"settingsctl", "get", item, "--raw"}).out;
    value.erase(value.find_last_not_of('\n') + 1);
    return value;
  }
};

TEST_F(MenuInATerminal, ShowsWhatItemsBecome) {
  const auto menu = Start("picture");
  ASSERT_TRUE(menu->Shows("  Picture Mode", "Standard")) << menu->Written();
  Done({"settingsctl", "set", "picturemode", "movie"});
  EXPECT_TRUE(menu->Shows("  Picture Mode", "Movie"));
  Done({"setctl", "key", "set", "db/menu/brightness", "31"});
  EXPECT_TRUE(menu->Shows("Brightness", "31"));
}

TEST_F(MenuInATerminal, GreysOutAndHidesWhatTheMenuDoes) {
  const auto menu = Start("picture");
  const auto shows = [&](const std::string& text) {
    return support::WaitUntil([&] {
      const std::string& written = menu->Written();
      const std::size_t home = written.rfind("\x1b[H");
      return home != std::string::npos && written.find(text, home) != std::string::npos;
    });
  };
  const std::string plain = "\r\n    Brightness\x1b[K\x1b[44G 25";
  const std::string dimmed = "\r\n\x1b[2m    Brightness\x1b[K\x1b[44G 25";
  ASSERT_TRUE(shows(plain)) << menu->Written();
  Done({"settingsctl", "disable", "expertsettings", "--app", "org.example.film"});
  EXPECT_TRUE(shows(dimmed));
  Done({"settingsctl", "release", "--app", "org.example.film"});
  EXPECT_TRUE(shows(plain));
  ASSERT_TRUE(shows("Film Mode"));
  Done({"setctl", "source", "switch", "hdmi1"});
  EXPECT_TRUE(support::WaitUntil([&] {
    const std::string& written = menu->Written();
    return written.find("Film Mode", written.rfind("\x1b[H")) == std::string::npos;
  }));
}

TEST_F(MenuInATerminal, SpeaksTheMenuLanguage) {
  const auto menu = Start("picture");
  ASSERT_TRUE(menu->Shows("  Picture Mode", "Standard"));
  Done({"setctl", "language", "de_DE"});
  EXPECT_TRUE(menu->Shows("  Bildmodus", "Standard")) << menu->Written();
}

TEST_F(MenuInATerminal, StaysRightThroughKillsOfTheDaemonWhileTwoProcessesWrite) {
  const auto menu = Start("picture");
  ASSERT_TRUE(menu->Shows("Brightness", "25"));
  const std::filesystem::path stop = m_Set.Root() / "stop";
  const auto write = [&](const std::string& command) {
    return std::make_unique<support::Process>(
        std::vector<std::string>{"bash", "-c",
                                 "for i in {1..100000}; do [ -e '" + stop.string() +
                                     "' ] && break; " + command + "; done >/dev/null 2>&1"},
        m_Set.Variables(), support::Files{});
  };
  // One through the service, while there is one, and one past it.
  const auto first = write("settingsctl set contrast $((i % 50))");
  const auto second = write("setctl key set db/menu/brightness $((i % 49 + 1))");
  for (int kills = 0; kills < 3; ++kills) {
    const std::string before = menu->Beside("Contrast");
    EXPECT_TRUE(support::WaitUntil([&] { return menu->Beside("Contrast") != before; }));
    m_Set.KillDaemon();
    EXPECT_TRUE(support::WaitUntil([&] {
      return menu->Written().find("waiting for", menu->Written().rfind("\x1b[H")) !=
             std::string::npos;
    }));
    m_Set.StartDaemon();
  }
  std::ofstream(stop) << "now";
  EXPECT_TRUE(first->Wait());
  EXPECT_TRUE(second->Wait());
  EXPECT_TRUE(menu->Shows("Brightness", ValueOf("brightness")));
  EXPECT_TRUE(menu->Shows("Contrast", ValueOf("contrast")));
}

TEST_F(MenuInATerminal, FillsTheTerminalWhateverItsSize) {
  const auto menu = Start("game");
  ASSERT_TRUE(menu->Shows("  Game Mode", "Off"));
  EXPECT_EQ(menu->Written().find(" more. "), std::string::npos);
  menu->Resize(3);
  EXPECT_TRUE(support::WaitUntil([&] {
    const std::string& written = menu->Written();
    return written.find(" more. ", written.rfind("\x1b[H")) != std::string::npos;
  }));
  menu->Resize(100);
  EXPECT_TRUE(menu->Shows("  Game Picture Mode", "Standard"));
}

TEST_F(MenuInATerminal, ShortensNamesRatherThanValues) {
  const auto menu = Start("picture");
  ASSERT_TRUE(menu->Shows("  Picture Mode", "Standard"));
  std::vector<Terminal::Row> wide;
  ASSERT_TRUE(support::WaitUntil([&] { return !(wide = menu->Rows()).empty(); }));
  for (const unsigned short columns : {80, 45, 40, 30}) {
    SCOPED_TRACE(columns);
    menu->Resize(100, columns);
    std::vector<Terminal::Row> rows;
    EXPECT_TRUE(support::WaitUntil([&] {
      rows = menu->Rows();
      return !rows.empty() && std::all_of(rows.begin(), rows.end(), [&](const Terminal::Row& row) {
        return row.column + base::DisplayWidth(row.value) <= columns + 1u;
      });
    }));
    ASSERT_EQ(rows.size(), wide.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
      EXPECT_EQ(rows[i].value, base::FitWidth(wide[i].value, columns / 2));
      EXPECT_EQ(rows[i].name, base::FitWidth(wide[i].name, rows[i].column - 2));
    }
  }
}

TEST_F(MenuInATerminal, TakesThePathOfAnItem) {
  for (const char* path : {"picture/expertsettings", "/picture/expertsettings//"}) {
    const auto menu = Start(path);
    EXPECT_TRUE(menu->Shows("  Brightness", "25")) << menu->Written();
  }
}

TEST_F(MenuInATerminal, TakesAnItemOfTheTopForAPathAsWell) {
  for (const char* path : {"picture/", "/picture"}) {
    const auto menu = Start(path);
    EXPECT_TRUE(menu->Shows("  Picture Mode", "Standard")) << menu->Written();
  }
}

TEST_F(MenuInATerminal, GivesTheTerminalBack) {
  const auto menu = Start("picture");
  ASSERT_TRUE(menu->Shows("Brightness", "25"));
  menu->Signal(SIGTERM);
  EXPECT_TRUE(support::WaitUntil(
      [&] { return menu->Written().find("\x1b[?25h\x1b[?1049l") != std::string::npos; }));
  EXPECT_THAT(menu->Written(), testing::Not(HasSubstr("org.pavix.menu(")))
      << "what it says stands in its log only";
}

TEST_F(MenuInATerminal, SaysThatThereIsNoSuchItem) {
  for (const std::string name : {"nosuchitem", "game/brightness", "/brightness", "/"}) {
    const auto menu = Start(name);
    EXPECT_TRUE(support::WaitUntil([&] {
      return menu->Written().find("no item \"" + name + "\"; settingsctl tree shows all") !=
             std::string::npos;
    })) << menu->Written();
  }
}

TEST_F(MenuInATerminal, ShortensWhatItSaysInANarrowTerminal) {
  const std::string whole = "no item \"nosuchitem\"; settingsctl tree shows all";
  const auto menu = Start("nosuchitem");
  for (const unsigned short columns : {100, 30, 20, 48, 49}) {
    SCOPED_TRACE(columns);
    menu->Resize(100, columns);
    EXPECT_TRUE(support::WaitUntil([&] {
      return menu->Last() == base::FitWidth(whole, columns - 1);
    })) << menu->Last();
  }
}

TEST_F(MenuInATerminal, ShortensTheCountOfWhatIsBelowToo) {
  const auto menu = Start("picture");
  ASSERT_TRUE(menu->Shows("  Picture Mode", "Standard")) << menu->Written();
  menu->Resize(3, 8);
  EXPECT_TRUE(support::WaitUntil([&] {
    const std::string last = menu->Last();
    return last.starts_with("… ") && last.ends_with("…") && base::DisplayWidth(last) == 7;
  })) << menu->Last();
}

TEST_F(MenuInATerminal, SaysThatTheItemIsHidden) {
  Done({"setctl", "source", "switch", "hdmi1"});
  const auto menu = Start("filmmode");
  EXPECT_TRUE(support::WaitUntil([&] {
    return menu->Written().find("\"filmmode\" is hidden; settingsctl why says why") !=
           std::string::npos;
  })) << menu->Written();
}

}  // namespace
