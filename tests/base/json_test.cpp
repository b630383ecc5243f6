#include "base/json.h"

#include <gtest/gtest.h>
#include <stdio.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

#include "base/rounding.h"

namespace tvn {
namespace {

std::string printf_general(double value) {
  char text[64];
  snprintf(text, sizeof text, "%.6g", value);
  return text;
}

TEST(JsonNumber, WritesSixSignificantDigits) {
  EXPECT_EQ(json_number(130.0), "130");
  EXPECT_EQ(json_number(0.0625), "0.0625");
  EXPECT_EQ(json_number(1e-5), "1e-05");
  EXPECT_EQ(json_number(1234567.0), "1.23457e+06");
  EXPECT_EQ(json_number(-0.0), "-0");
  EXPECT_EQ(json_number(0.1), "0.1");
  EXPECT_EQ(json_number(99999.9), "99999.9");
}

TEST(JsonNumber, WritesNullForWhatIsNoNumber) {
  EXPECT_EQ(json_number(std::numeric_limits<double>::quiet_NaN()), "null");
  EXPECT_EQ(json_number(std::numeric_limits<double>::infinity()), "null");
  EXPECT_EQ(json_number(-std::numeric_limits<double>::infinity()), "null");
}

TEST(JsonNumber, EqualsPrintfOnTenths) {
  for (int tenths = -1200000; tenths <= 1200000; ++tenths) {
    const double value = tenths / 10.0;
    ASSERT_EQ(json_number(value), printf_general(value)) << tenths;
  }
}

TEST(JsonNumber, EqualsPrintfOnAnyDouble) {
  std::mt19937_64 random(11);
  std::uniform_real_distribution<double> exponent(-320.0, 308.0);
  std::uniform_real_distribution<double> near(-2000.0, 2000.0);
  for (int i = 0; i < 200000; ++i) {
    const double wide = std::pow(10.0, exponent(random)) * (i % 2 == 0 ? 1 : -1);
    ASSERT_EQ(json_number(wide), printf_general(wide));
    const double value = near(random);
    ASSERT_EQ(json_number(value), printf_general(value));
    const double tenth = round_to(value, 10.0);
    ASSERT_EQ(json_number(tenth), printf_general(tenth));
    const double beside = std::nextafter(tenth, 1e9);
    ASSERT_EQ(json_number(beside), printf_general(beside));
  }
}

TEST(JsonQuote, EscapesNewlineQuoteAndBackslashOnly) {
  EXPECT_EQ(json_quote(""), "\"\"");
  EXPECT_EQ(json_quote("a\"b\\c\nd"), "\"a\\\"b\\\\c\\nd\"");
  EXPECT_EQ(json_quote("tab\there\r\x01 é"), "\"tab\there\r\x01 é\"");
}

}  // namespace
}  // namespace tvn
