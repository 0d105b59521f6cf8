#include "nearest.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <utility>

#include "base/utf8.h"
#include "text.h"

namespace tools {
namespace {

constexpr std::size_t kMostNames = 3;
constexpr std::size_t kMostMistakes = 3;

// No name is that long, and comparing takes the square of it.
constexpr std::size_t kLongestWord = 255;

// A part of a name this short is in many others.
constexpr std::size_t kShortestPart = 3;

// The letters, without the case of those of ASCII. A byte that is no letter is its own.
std::u32string Letters(std::string_view text) {
  std::u32string letters;
  while (!text.empty()) {
    const std::size_t size = std::max<std::size_t>(base::Utf8CharacterSize(text), 1);
    const char32_t letter = size == 1 ? static_cast<unsigned char>(text.front())
                                      : base::CodePointOf(text.substr(0, size));
    letters += letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter;
    text.remove_prefix(size);
  }
  return letters;
}

// How many letters were left out, added, replaced or exchanged with their neighbour.
std::size_t Mistakes(const std::u32string& a, const std::u32string& b) {
  std::vector<std::size_t> beforeLast;
  std::vector<std::size_t> last(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) {
    row[j] = j;
  }
  for (std::size_t i = 1; i <= a.size(); ++i) {
    beforeLast = std::exchange(last, row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool same = a[i - 1] == b[j - 1];
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
      }
    }
  }
  return row.back();
}

// The longer the word, the more mistakes can be in it.
std::size_t MostMistakes(const std::u32string& word) {
  return word.size() < 2 ? 0 : std::clamp<std::size_t>(word.size() / 3, 1, kMostMistakes);
}

// How far the name is from the word; beyond the last when it does not come near.
constexpr std::size_t kBeginsWith = kMostMistakes + 1;
constexpr std::size_t kContains = kMostMistakes + 2;
constexpr std::size_t kFar = kMostMistakes + 3;

std::size_t Distance(const std::u32string& word, const std::u32string& name) {
  const std::size_t most = MostMistakes(word);
  const std::size_t difference =
      std::max(word.size(), name.size()) - std::min(word.size(), name.size());
  const std::size_t mistakes = difference <= most ? Mistakes(word, name) : kFar;
  if (mistakes <= most) {
    return mistakes;
  }
  const std::size_t at = word.size() < kShortestPart ? std::u32string::npos : name.find(word);
  if (at == std::u32string::npos) {
    return kFar;
  }
  return at == 0 ? kBeginsWith : kContains;
}

}  // namespace

std::vector<std::string> Nearest(std::string_view word, const std::vector<std::string>& names) {
  if (word.size() > kLongestWord) {
    return {};
  }
  const std::u32string letters = Letters(word);
  std::vector<std::pair<std::size_t, const std::string*>> near;
  for (const std::string& name : names) {
    const std::size_t distance = Distance(letters, Letters(name));
    if (distance < kFar) {
      near.emplace_back(distance, &name);
    }
  }
  std::stable_sort(near.begin(), near.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  near.resize(std::min(near.size(), kMostNames));
  std::vector<std::string> nearest;
  for (const auto& [distance, name] : near) {
    nearest.push_back(*name);
  }
  return nearest;
}

std::string NoSuch(std::string_view noun, std::string_view word,
                   const std::vector<std::string>& names, std::string_view advice) {
  const std::vector<std::string> nearest = Nearest(word, names);
  return fmt::format("no {} {}; {}", noun, Quote(word),
                     nearest.empty() ? std::string(advice) : "nearest: " + Joined(nearest));
}

}  // namespace tools
