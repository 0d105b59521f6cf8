#include "keystore/page_check.h"

#include <endian.h>

#include <algorithm>
#include <bit>
#include <cstring>

namespace host {
namespace {

constexpr std::size_t kCheckedWords = (kPageSize - kCheckSize) / sizeof(std::uint64_t);
constexpr std::uint64_t kFactor = 0x9e3779b97f4a7c15;  // odd, so that no step loses a bit

std::uint64_t Mixed(std::uint64_t sum, std::uint64_t word) {
  return std::rotl((sum ^ word) * kFactor, 31);
}

std::uint64_t WordAt(const unsigned char* page, std::size_t index) {
  std::uint64_t word = 0;
  std::memcpy(&word, page + index * sizeof(word), sizeof(word));
  return le64toh(word);
}

// A change of one word always changes the check: every step is reversible. In four sums, because
// each step waits for the one before it. Never 0.
std::uint64_t SumOf(const unsigned char* page, std::size_t words, std::uint32_t number) {
  std::uint64_t first = number;
  std::uint64_t second = 1;
  std::uint64_t third = 2;
  std::uint64_t fourth = 3;
  std::size_t index = 0;
  for (; index + 4 <= words; index += 4) {
    first = Mixed(first, WordAt(page, index));
    second = Mixed(second, WordAt(page, index + 1));
    third = Mixed(third, WordAt(page, index + 2));
    fourth = Mixed(fourth, WordAt(page, index + 3));
  }
  for (; index < words; ++index) {
    first = Mixed(first, WordAt(page, index));
  }
  const std::uint64_t sum = Mixed(Mixed(Mixed(Mixed(0, first), second), third), fourth);
  return sum != 0 ? sum : 1;
}

// SQLite's check of a log, in its two byte orders.
struct LogSum {
  std::uint32_t first;
  std::uint32_t second;
  bool operator==(const LogSum&) const = default;
};

LogSum SumAt(const unsigned char* bytes) {
  return {ReadBigEndian(bytes), ReadBigEndian(bytes + sizeof(std::uint32_t))};
}

constexpr std::size_t kStep = 2 * sizeof(std::uint32_t);

constexpr LogSum Stepped(LogSum sum, std::uint32_t first, std::uint32_t second) {
  sum.first += first + sum.second;
  sum.second += second + sum.first;
  return sum;
}

template <bool isBigEndian>
LogSum Stepped(LogSum sum, const unsigned char* bytes) {
  std::uint32_t words[2];
  std::memcpy(words, bytes, sizeof(words));
  return isBigEndian ? Stepped(sum, be32toh(words[0]), be32toh(words[1]))
                     : Stepped(sum, le32toh(words[0]), le32toh(words[1]));
}

template <bool isBigEndian>
LogSum Added(LogSum sum, const unsigned char* bytes, std::size_t size) {
  for (std::size_t i = 0; i < size; i += kStep) {
    sum = Stepped<isBigEndian>(sum, bytes + i);
  }
  return sum;
}

constexpr std::size_t kQuarter = kPageSize / 4;

// What a sum becomes by a quarter of zeros. Steps are linear, so adding what a quarter makes of
// zero gives what it makes of the sum.
constexpr LogSum BeforeQuarter(LogSum sum) {
  constexpr auto after = [](LogSum begin) {
    for (std::size_t i = 0; i < kQuarter; i += kStep) {
      begin = Stepped(begin, 0, 0);
    }
    return begin;
  };
  constexpr LogSum kOfFirst = after({1, 0});
  constexpr LogSum kOfSecond = after({0, 1});
  return {sum.first * kOfFirst.first + sum.second * kOfSecond.first,
          sum.first * kOfFirst.second + sum.second * kOfSecond.second};
}

// Added for a page: four quarters at once, because each step waits for the one before it.
template <bool isBigEndian>
LogSum AddedPage(LogSum sum, const unsigned char* page) {
  LogSum first{};
  LogSum second{};
  LogSum third{};
  LogSum fourth{};
  for (std::size_t i = 0; i < kQuarter; i += kStep) {
    first = Stepped<isBigEndian>(first, page + i);
    second = Stepped<isBigEndian>(second, page + kQuarter + i);
    third = Stepped<isBigEndian>(third, page + 2 * kQuarter + i);
    fourth = Stepped<isBigEndian>(fourth, page + 3 * kQuarter + i);
  }
  for (const LogSum& quarter : {first, second, third, fourth}) {
    sum = BeforeQuarter(sum);
    sum.first += quarter.first;
    sum.second += quarter.second;
  }
  return sum;
}

template <bool isBigEndian>
bool IsSumOfFrame(const unsigned char* header, const unsigned char* page,
                  const unsigned char* before) {
  const LogSum withHeader = Added<isBigEndian>(SumAt(before), header, 8);
  return AddedPage<isBigEndian>(withHeader, page) == SumAt(header + 16);
}

}  // namespace

PageState StateOf(const unsigned char* page, std::uint32_t number) {
  const std::uint64_t check = WordAt(page, kCheckedWords);
  if (check == SumOf(page, kCheckedWords, number)) {
    return PageState::kSound;
  }
  const bool isEmpty = std::all_of(page, page + kPageSize, [](unsigned char c) { return c == 0; });
  return check == 0 && !isEmpty ? PageState::kUnchecked : PageState::kDamaged;
}

void PutCheck(unsigned char* page, std::uint32_t number) {
  const std::uint64_t check = htole64(SumOf(page, kCheckedWords, number));
  std::memcpy(page + kPageSize - kCheckSize, &check, sizeof(check));
}

// Two marks, so that damage to one does not switch the checks off: the bytes reserved at the end of
// a page, and the version of the store.
bool HasChecks(const unsigned char* firstPage) {
  constexpr std::size_t kReserved = 20;
  constexpr std::size_t kUserVersion = 60;
  return firstPage[kReserved] == kCheckSize ||
         ReadBigEndian(firstPage + kUserVersion) == kKeyFileVersion;
}

std::uint32_t ReadBigEndian(const unsigned char* bytes) {
  std::uint32_t word = 0;
  std::memcpy(&word, bytes, sizeof(word));
  return be32toh(word);
}

bool IsFrameSound(const unsigned char* header, const unsigned char* page,
                  const unsigned char* before) {
  return IsSumOfFrame<false>(header, page, before) || IsSumOfFrame<true>(header, page, before);
}

std::uint64_t MarkOf(const unsigned char* page, std::uint32_t frame) {
  return SumOf(page, kPageSize / sizeof(std::uint64_t), frame);
}

bool IsLogHeaderSound(const unsigned char* header) {
  // The check of zeros is zero. The last bit is the byte order of the checks.
  constexpr std::uint32_t kMagic = 0x377f0682;
  if ((ReadBigEndian(header) & ~1U) != kMagic) {
    return false;
  }
  const LogSum kept = SumAt(header + 24);
  return Added<false>({0, 0}, header, 24) == kept || Added<true>({0, 0}, header, 24) == kept;
}

}  // namespace host
