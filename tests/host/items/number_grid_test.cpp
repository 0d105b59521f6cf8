#include "items/number_grid.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <locale>

#include "base/number.h"

namespace {

using host::NumberGrid;
using testing::Optional;

NumberGrid Grid(double first, double last, double step) {
  return NumberGrid::Make(first, last, step).value();
}

TEST(NumberGrid, TheDecimalPointIsTheSameInEveryLocale) {
  class Comma : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale previous = std::locale::global(std::locale(std::locale(), new Comma));
  EXPECT_THAT(base::ParseDecimal("0.5"), Optional(0.5));
  EXPECT_EQ(base::ParseDecimal("0,5"), std::nullopt);
  EXPECT_EQ(Grid(0, 5000, 0.5).Text(3), "1.5");
  EXPECT_EQ(Grid(0, 5000, 1).Text(5000), "5000");
  std::locale::global(previous);
}

TEST(NumberGrid, AGridNeedsRoomAStepAndAnEndThatItReaches) {
  EXPECT_TRUE(NumberGrid::Make(-15, 15, 5));
  EXPECT_FALSE(NumberGrid::Make(5, 5, 1));
  EXPECT_FALSE(NumberGrid::Make(6, 5, 1));
  EXPECT_FALSE(NumberGrid::Make(0, 5, 0));
  EXPECT_FALSE(NumberGrid::Make(0, 5, -1));
  EXPECT_FALSE(NumberGrid::Make(0, 10, 3));
  EXPECT_FALSE(NumberGrid::Make(0, 0.5, 1));
}

TEST(NumberGrid, AGridHasNineDigitsAtMost) {
  EXPECT_TRUE(NumberGrid::Make(-999'999'999, 999'999'999, 1));
  EXPECT_FALSE(NumberGrid::Make(0, 1'000'000'000, 1));
  EXPECT_FALSE(NumberGrid::Make(-1'000'000'000, 0, 1));
  EXPECT_TRUE(NumberGrid::Make(0, 0.5, 0.000'000'001));
  EXPECT_FALSE(NumberGrid::Make(0, 1, 0.000'000'001));
  EXPECT_FALSE(NumberGrid::Make(0, 1e-9, 1e-10));
}

TEST(NumberGrid, EveryNumberOfALargeGridIsFoundAgain) {
  const NumberGrid grid = Grid(-99.999'999'9, 99.999'999'9, 0.000'000'1);
  for (std::int64_t position = 0; position <= grid.LastPosition(); position += 99'991) {
    EXPECT_THAT(grid.Find(grid.Number(position)), Optional(position));
    EXPECT_THAT(grid.Find(*base::ParseDecimal(grid.Text(position))), Optional(position));
  }
  EXPECT_EQ(grid.Text(grid.LastPosition()), "99.9999999");
}

TEST(NumberGrid, NumbersOfTheGridAreFound) {
  const NumberGrid grid = Grid(-1.5, 1.5, 0.5);
  EXPECT_THAT(grid.Find(-1.5), Optional(0));
  EXPECT_THAT(grid.Find(0), Optional(3));
  EXPECT_THAT(grid.Find(-0.0), Optional(3));
  EXPECT_THAT(grid.Find(1.5), Optional(6));
}

TEST(NumberGrid, NumbersBesideTheGridAreNotFound) {
  const NumberGrid grid = Grid(-1.5, 1.5, 0.5);
  for (const double number : {-2.0, 2.0, 0.25, 0.001, 1e300, -1e300}) {
    EXPECT_EQ(grid.Find(number), std::nullopt) << number;
  }
}

TEST(NumberGrid, TheRoundingOfBinaryFractionsIsForgiven) {
  const NumberGrid grid = Grid(0, 1, 0.1);
  EXPECT_THAT(grid.Find(0.1 + 0.2), Optional(3));
  EXPECT_EQ(grid.Find(0.300'001), std::nullopt);
}

TEST(NumberGrid, WholeNumbersAreWrittenWithoutAPoint) {
  const NumberGrid grid = Grid(-10, 10, 5.0);
  EXPECT_TRUE(grid.IsWhole());
  EXPECT_EQ(grid.Text(0), "-10");
  EXPECT_EQ(grid.Text(2), "0");
  EXPECT_EQ(grid.Text(4), "10");
}

TEST(NumberGrid, FractionsAreWrittenWithTheDecimalsOfTheStep) {
  const NumberGrid grid = Grid(-1, 1, 0.25);
  EXPECT_FALSE(grid.IsWhole());
  EXPECT_EQ(grid.Text(0), "-1.00");
  EXPECT_EQ(grid.Text(3), "-0.25");
  EXPECT_EQ(grid.Text(4), "0.00");
  EXPECT_EQ(grid.Text(8), "1.00");
}

TEST(NumberGrid, AFirstNumberWithMoreDecimalsThanTheStepKeepsThem) {
  const NumberGrid grid = Grid(0.25, 2.25, 0.5);
  EXPECT_EQ(grid.Text(0), "0.25");
  EXPECT_EQ(grid.Text(4), "2.25");
}

TEST(NumberGrid, BoundsAndStepComeBackAsTheyWereGiven) {
  const NumberGrid grid = Grid(-0.3, 0.9, 0.1);
  EXPECT_EQ(grid.Number(0), -0.3);
  EXPECT_EQ(grid.Number(grid.LastPosition()), 0.9);
  EXPECT_EQ(grid.Step(), 0.1);
}

TEST(NumberGrid, AGridOfTheSameLengthHasAnotherBeginningAndStep) {
  const NumberGrid grid = Grid(0, 25, 1).SameLength(-50, 2.5).value();
  EXPECT_EQ(grid.LastPosition(), 25);
  EXPECT_EQ(grid.Text(0), "-50.0");
  EXPECT_EQ(grid.Text(25), "12.5");
  EXPECT_FALSE(Grid(0, 25, 1).SameLength(0, 0));
  EXPECT_FALSE(Grid(0, 25, 1).SameLength(0, -1));
  EXPECT_FALSE(Grid(0, 25, 1).SameLength(0, 40'000'000));
}

}  // namespace
