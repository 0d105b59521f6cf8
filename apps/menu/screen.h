#pragma once

#include <string>
#include <vector>

// A terminal that shows lines of text, and nothing else while this lives.
class Screen {
 public:
  // Standard output must be a terminal.
  Screen();
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  struct Line {
    std::string left;
    std::string right;  // in a column of its own, at the expense of the left texts
    bool dimmed = false;
  };

  // Replaces what is shown. Lines beyond the last of the terminal are counted in it, above
  // `status`; longer texts are cut. Control characters are escaped.
  void Show(const std::vector<Line>& lines, const std::string& status);
};
