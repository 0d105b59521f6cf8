#include "items/number_grid.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

// A step of 0.1 has no exact binary form, so a grid of doubles would answer 0.30000000000000004 for
// its fourth number. A grid counts in units of its last decimal digit instead, and uses doubles
// only at the library's interface. Nine digits leave a double more than six digits to spare, so
// rounding never reaches the next number.

namespace host {
namespace {

constexpr int kMaxDigits = 9;
constexpr std::int64_t kPowersOfTen[kMaxDigits + 1] = {
    1, 10, 100, 1'000, 10'000, 100'000, 1'000'000, 10'000'000, 100'000'000, 1'000'000'000};
constexpr double kForgivenPartOfStep = 1e-6;

// The digits after the point of the shortest text for `number`.
int Decimals(double number) {
  char text[512];
  const char* end = std::to_chars(text, text + sizeof text, number, std::chars_format::fixed).ptr;
  const char* point = std::find(static_cast<const char*>(text), end, '.');
  return point == end ? 0 : static_cast<int>(end - point - 1);
}

// `number` in units of 10^-decimals; nothing when it has more decimals or too many digits.
std::optional<std::int64_t> InUnits(double number, int decimals) {
  const double units = number * static_cast<double>(kPowersOfTen[decimals]);
  if (Decimals(number) > decimals ||
      std::abs(units) >= static_cast<double>(kPowersOfTen[kMaxDigits])) {
    return std::nullopt;
  }
  return std::llround(units);
}

}  // namespace

std::optional<NumberGrid> NumberGrid::Endless(double first, double step) {
  const int decimals = std::max(Decimals(first), Decimals(step));
  if (decimals > kMaxDigits) {
    return std::nullopt;
  }
  const auto firstUnits = InUnits(first, decimals);
  const auto stepUnits = InUnits(step, decimals);
  if (!firstUnits || !stepUnits || *stepUnits <= 0) {
    return std::nullopt;
  }
  NumberGrid grid;
  grid.m_First = *firstUnits;
  grid.m_Step = *stepUnits;
  grid.m_Decimals = decimals;
  return grid;
}

std::optional<NumberGrid> NumberGrid::Make(double first, double last, double step) {
  auto grid = Endless(first, step);
  const auto lastUnits = grid ? InUnits(last, grid->m_Decimals) : std::nullopt;
  if (!lastUnits || *lastUnits <= grid->m_First ||
      (*lastUnits - grid->m_First) % grid->m_Step != 0) {
    return std::nullopt;
  }
  grid->m_LastPosition = (*lastUnits - grid->m_First) / grid->m_Step;
  return grid;
}

std::optional<NumberGrid> NumberGrid::SameLength(double first, double step) const {
  auto grid = Endless(first, step);
  if (!grid || m_LastPosition > (kPowersOfTen[kMaxDigits] - 1 - grid->m_First) / grid->m_Step) {
    return std::nullopt;
  }
  grid->m_LastPosition = m_LastPosition;
  return grid;
}

std::optional<std::int64_t> NumberGrid::Find(double number) const {
  const double units = number * static_cast<double>(kPowersOfTen[m_Decimals]);
  const double steps = (units - static_cast<double>(m_First)) / static_cast<double>(m_Step);
  const double nearest = std::round(steps);
  if (!(std::abs(steps - nearest) <= kForgivenPartOfStep) || nearest < 0 ||
      nearest > static_cast<double>(m_LastPosition)) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(nearest);
}

double NumberGrid::Number(std::int64_t position) const {
  return static_cast<double>(m_First + position * m_Step) /
         static_cast<double>(kPowersOfTen[m_Decimals]);
}

std::string NumberGrid::Text(std::int64_t position) const {
  const std::int64_t units = m_First + position * m_Step;
  if (m_Decimals == 0) {
    return fmt::format("{}", units);
  }
  const std::int64_t size = std::abs(units);
  const std::int64_t one = kPowersOfTen[m_Decimals];
  return fmt::format("{}{}.{:0{}}", units < 0 ? "-" : "", size / one, size % one, m_Decimals);
}

double NumberGrid::Step() const {
  return static_cast<double>(m_Step) / static_cast<double>(kPowersOfTen[m_Decimals]);
}

}  // namespace host
