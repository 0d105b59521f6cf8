#include "base/number.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace {

using base::DecimalText;
using base::ParseDecimal;
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

TEST(DecimalNumber, IsAPlainDecimalText) {
  EXPECT_EQ(ParseDecimal("0"), 0.0);
  EXPECT_EQ(ParseDecimal("07"), 7.0);
  EXPECT_EQ(ParseDecimal("7.0"), 7.0);
  EXPECT_EQ(ParseDecimal("-12.25"), -12.25);
  for (const char* text : {"", "-", ".", "5.", ".5", "+5", "--5", "5.5.5", "1e3", "0x10", " 5",
                           "5 ", "5,5", "inf", "nan", "five", "5-"}) {
    EXPECT_EQ(ParseDecimal(text), std::nullopt) << text;
  }
  EXPECT_EQ(ParseDecimal(std::string(400, '9')), std::nullopt);
}

TEST(DecimalNumber, IsWrittenAsItIsTyped) {
  EXPECT_EQ(DecimalText(0), "0");
  EXPECT_EQ(DecimalText(-0.0), "0");
  EXPECT_EQ(DecimalText(50), "50");
  EXPECT_EQ(DecimalText(-0.5), "-0.5");
  EXPECT_EQ(DecimalText(2.2 + 2 * 0.1), "2.4");
  EXPECT_EQ(DecimalText(3 * 0.1), "0.3");
  EXPECT_EQ(DecimalText(0.000000001), "0.000000001");
  EXPECT_EQ(DecimalText(-1e-12), "0");
  EXPECT_EQ(DecimalText(1e21), "1000000000000000000000");
  EXPECT_EQ(DecimalText(std::numeric_limits<double>::max()).size(), 309u);
}

}  // namespace
