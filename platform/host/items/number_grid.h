#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace host {

// Numbers at equal distances: first, first + step, … last. They are numbered from 0, in this
// order, and held as whole multiples of a power of ten, so that their decimal texts are exact.
class NumberGrid {
 public:
  // Nothing unless first < last, step > 0, `last` is on the grid, and all three fit in nine digits,
  // including those after the point.
  static std::optional<NumberGrid> Make(double first, double last, double step);

  // A grid with as many numbers as this one, beginning with `first`. Conditions as for Make.
  std::optional<NumberGrid> SameLength(double first, double step) const;

  // The position of a number on the grid, with a tolerance of a millionth of a step, because
  // applications compute with binary fractions.
  std::optional<std::int64_t> Find(double number) const;

  // The number at a position of the grid, and its text: without a point when all numbers of the
  // grid are whole, otherwise all with the same number of digits after the point.
  double Number(std::int64_t position) const;
  std::string Text(std::int64_t position) const;

  bool IsWhole() const { return m_Decimals == 0; }
  std::int64_t LastPosition() const { return m_LastPosition; }
  double Step() const;

 private:
  NumberGrid() = default;
  static std::optional<NumberGrid> Endless(double first, double step);

  std::int64_t m_First = 0;  // in units of 10^-m_Decimals, like m_Step
  std::int64_t m_Step = 0;
  std::int64_t m_LastPosition = 0;
  int m_Decimals = 0;
};

}  // namespace host
