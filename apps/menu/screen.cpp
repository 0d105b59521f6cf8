#include "menu/screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>

#include "base/utf8.h"
#include "base/width.h"

namespace {

// Another screen than the shell's, without a cursor, where long lines are cut.
constexpr char kBegin[] = "\x1b[?1049h\x1b[?25l\x1b[?7l";
constexpr char kEnd[] = "\x1b[?7h\x1b[?25h\x1b[?1049l";
constexpr char kHome[] = "\x1b[H";
constexpr char kDim[] = "\x1b[2m";
constexpr char kPlain[] = "\x1b[0m";
constexpr char kEraseRest[] = "\x1b[K";
constexpr char kNextLine[] = "\r\n";
constexpr char kRestIsEmpty[] = "\x1b[J";
// The column before the right texts where there is room.
constexpr std::size_t kSpace = 44;

void Write(std::string text) {
  while (!text.empty()) {
    const ssize_t written = write(STDOUT_FILENO, text.data(), text.size());
    if (written <= 0) {
      return;
    }
    text.erase(0, written);
  }
}

winsize Size() {
  winsize size{};
  ioctl(STDOUT_FILENO, TIOCGWINSZ, &size);
  size.ws_row = size.ws_row > 0 ? size.ws_row : 24;
  size.ws_col = size.ws_col > 0 ? size.ws_col : 80;
  return size;
}

std::string Visible(const std::string& text) {
  std::string visible;
  base::AppendVisible(visible, text);
  return visible;
}

}  // namespace

Screen::Screen() { Write(kBegin); }

Screen::~Screen() { Write(kEnd); }

void Screen::Show(const std::vector<Line>& lines, const std::string& status) {
  const winsize size = Size();
  const std::size_t room = std::max<std::size_t>(size.ws_row, 2) - 1;
  const std::size_t shown = std::min(lines.size(), room);
  std::size_t widest = 0;
  for (std::size_t i = 0; i < shown; ++i) {
    widest = std::max(widest, base::DisplayWidth(Visible(lines[i].right)));
  }
  // The right texts may have half of a narrow terminal, behind a space.
  const std::size_t right = std::min<std::size_t>(widest, size.ws_col / 2);
  const std::size_t space = std::clamp<std::size_t>(size.ws_col - right, 1, kSpace);
  // What was there before does not show between the columns.
  const std::string toRight = kEraseRest + ("\x1b[" + std::to_string(space) + "G ");
  std::string text = kHome;
  for (std::size_t i = 0; i < shown; ++i) {
    const Line& line = lines[i];
    text += line.dimmed ? kDim : "";
    // Erased is also what stands in the last column when the cursor does.
    if (line.right.empty()) {
      text += base::FitWidth(Visible(line.left), size.ws_col - 1) + kEraseRest;
    } else {
      text += base::FitWidth(Visible(line.left), space - 1) + toRight +
              base::FitWidth(Visible(line.right), size.ws_col - space);
    }
    text += kPlain;
    text += kNextLine;
  }
  std::string last;
  if (shown < lines.size()) {
    last = "… " + std::to_string(lines.size() - shown) + " more. ";
  }
  base::AppendVisible(last, status);
  Write(text + base::FitWidth(last, size.ws_col - 1) + kRestIsEmpty);
}
