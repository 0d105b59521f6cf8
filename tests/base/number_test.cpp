#include "base/number.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using base::ParseWhole;

TEST(WholeNumber, IsAllOfTheText) {
  EXPECT_EQ(ParseWhole<int>("0"), 0);
  EXPECT_EQ(ParseWhole<int>("-7"), -7);
  EXPECT_EQ(ParseWhole<int>("007"), 7);
  for (const char* text : {"", "-", "+1", " 1", "1 ", "1.0", "1e2", "0x1", "one"}) {
    EXPECT_EQ(ParseWhole<int>(text), std::nullopt) << text;
  }
}

TEST(WholeNumber, FitsIntoItsType) {
  EXPECT_EQ(ParseWhole<std::int32_t>("2147483647"), 2147483647);
  EXPECT_EQ(ParseWhole<std::int32_t>("2147483648"), std::nullopt);
  EXPECT_EQ(ParseWhole<std::int64_t>("2147483648"), 2147483648);
  EXPECT_EQ(ParseWhole<std::uint64_t>("-1"), std::nullopt);
}

TEST(WholeNumber, ThatDoesNotFitIsToldFromWhatIsNone) {
  std::int32_t number = 0;
  EXPECT_EQ(base::ReadWhole("-12", number), std::errc());
  EXPECT_EQ(number, -12);
  for (const char* text : {"2147483648", "-2147483649", "99999999999999999999"}) {
    EXPECT_EQ(base::ReadWhole(text, number), std::errc::result_out_of_range) << text;
  }
  for (const char* text : {"", "2147483648x", "99999999999999999999.5", "one"}) {
    EXPECT_EQ(base::ReadWhole(text, number), std::errc::invalid_argument) << text;
  }
}

}  // namespace
