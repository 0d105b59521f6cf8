#include "menu/screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>

#include "base/utf8.h"

namespace {

// Another screen than the shell's, without a cursor, where long lines are cut.
constexpr char kBegin[] = "\x1b[?1049h\x1b[?25l\x1b[?7l";
constexpr char kEnd[] = "\x1b[?7h\x1b[?25h\x1b[?1049l";
constexpr char kHome[] = "\x1b[H";
// What was there before does not show between the columns.
constexpr char kRightColumn[] = "\x1b[K\x1b[44G ";
constexpr char kDim[] = "\x1b[2m";
constexpr char kPlain[] = "\x1b[0m";
constexpr char kNextLine[] = "\x1b[K\r\n";
constexpr char kRestIsEmpty[] = "\x1b[J";

void Write(std::string text) {
  while (!text.empty()) {
    const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
    if (written <= 0) {
      return;
    }
    text.erase(0, written);
  }
}

std::size_t Rows() {
  winsize size{};
  const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0;
  return isKnown ? size.ws_row : 24;
}

}  // namespace

Screen::Screen() { Write(kBegin); }

Screen::~Screen() { Write(kEnd); }

void Screen::Show(const std::vector<Line>& lines, const std::string& status) {
  const std::size_t room = std::max<std::size_t>(Rows(), 2) - 1;
  const std::size_t shown = std::min(lines.size(), room);
  std::string text = kHome;
  for (std::size_t i = 0; i < shown; ++i) {
    const Line& line = lines[i];
    text += line.dimmed ? kDim : "";
    base::AppendVisible(text, line.left);
    if (!line.right.empty()) {
      text += kRightColumn;
      base::AppendVisible(text, line.right);
    }
    text += kPlain;
    text += kNextLine;
  }
  if (shown < lines.size()) {
    text += "… " + std::to_string(lines.size() - shown) + " more. ";
  }
  base::AppendVisible(text, status);
  Write(text + kRestIsEmpty);
}
