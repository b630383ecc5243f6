#include "base/decimal.h"

#include <gtest/gtest.h>
#include <locale.h>
#include <stdlib.h>

#include <cmath>
#include <random>
#include <string>

namespace tvn {
namespace {

TEST(ScanDecimal, ReadsTheLongestLeadingNumber) {
  struct Case {
    const char* text;
    double value;
    std::size_t length;
  };
  const Case cases[] = {{"12", 12, 2},     {"-7", -7, 2},      {"+3.5", 3.5, 4},   {".5", 0.5, 2},
                        {"5.", 5, 2},      {"1-2", 1, 1},      {"1e", 1, 1},       {"1e+", 1, 1},
                        {"1.2.3", 1.2, 3}, {"1.5e2x", 150, 5}, {"2E-3", 0.002, 4}, {"0x10", 0, 1},
                        {"007", 7, 3},     {"1e05", 1e5, 4}};
  for (const Case& c : cases) {
    const DecimalScan scan = scan_decimal(c.text);
    EXPECT_EQ(scan.status, DecimalStatus::ok) << c.text;
    EXPECT_EQ(scan.value, c.value) << c.text;
    EXPECT_EQ(scan.length, c.length) << c.text;
  }
}

// A large power of ten and as many zeros behind the point leave a small number.
TEST(ScanDecimal, ZerosBehindThePointCountAgainstThePower) {
  const std::string zeros(95, '0');
  EXPECT_EQ(scan_decimal("0." + zeros + "1e0").value, 1e-96);
  EXPECT_EQ(scan_decimal("0." + zeros + "1e96").value, 1);
  EXPECT_EQ(scan_decimal("0." + zeros + "25e98").value, 250);
}

TEST(ScanDecimal, KnowsWhatIsNoNumber) {
  for (const char* text : {"", "-", "+", ".", "e5", "-.e1", "abc", " 1", "nan", "inf", "--5"}) {
    EXPECT_EQ(scan_decimal(text).status, DecimalStatus::no_number) << text;
    EXPECT_EQ(scan_decimal(text).length, 0u) << text;
  }
}

TEST(ScanDecimal, RefusesWhatADoubleCannotHoldInEitherDirection) {
  for (const char* text : {"1e999", "-1e999", "1e-999", "1e-310", "1e99999999999999999999",
                           "0.1e-99999999999999999999"}) {
    EXPECT_EQ(scan_decimal(text).status, DecimalStatus::out_of_range) << text;
  }
  EXPECT_EQ(scan_decimal("0e999").status, DecimalStatus::ok);
  EXPECT_EQ(scan_decimal("0e999").value, 0.0);
  EXPECT_EQ(scan_decimal("2.2250738585072014e-308").status, DecimalStatus::ok);
  EXPECT_EQ(scan_decimal("1.7976931348623157e308").status, DecimalStatus::ok);
}

// The C library rounds correctly; it is the independent reader here.
TEST(ScanDecimal, GivesTheNearestDouble) {
  std::mt19937_64 random(7);
  for (int i = 0; i < 200000; ++i) {
    std::string text = random() % 2 == 0 ? "-" : "";
    const std::size_t digits = 1 + random() % 20;
    const std::size_t point = random() % (digits + 1);
    for (std::size_t k = 0; k < digits; ++k) {
      if (k == point) text += '.';
      text += static_cast<char>('0' + random() % 10);
    }
    if (random() % 2 == 0) text += "e" + std::to_string(static_cast<int>(random() % 60) - 30);
    const DecimalScan scan = scan_decimal(text);
    ASSERT_EQ(scan.status, DecimalStatus::ok) << text;
    ASSERT_EQ(scan.value, strtod(text.c_str(), nullptr)) << text;
    ASSERT_EQ(scan.length, text.size()) << text;
  }
}

TEST(ParseNumber, TakesACommaAsAPointAndSkipsLeadingWhiteSpace) {
  EXPECT_EQ(parse_number("3,5", 0), 3.5);
  EXPECT_EQ(parse_number(" \t\n2.9", 0), 2.9);
  EXPECT_EQ(parse_number("1,95,8", 0), 1.95);
  EXPECT_EQ(parse_number("12abc", 0), 12);
}

TEST(ParseNumber, FallsBack) {
  for (const char* text : {"", "   ", "abc", "nan", "NaN", "inf", "-inf", "infinity", "0x1", "0x10",
                           "-0X1F", "+0x10", "0x.8", "1e999", "1e-999", "-"}) {
    EXPECT_EQ(parse_number(text, 42.5), 42.5) << text;
  }
  EXPECT_EQ(parse_number("0xyz", 42.5), 0.0);  // no hexadecimal number: the 0 counts
  EXPECT_EQ(parse_number("012", 42.5), 12.0);
  EXPECT_EQ(parse_number("1x5", 42.5), 1.0);
}

// The test command makes this locale and points LOCPATH at it.
TEST(ParseNumber, IsTheSameUnderACommaLocale) {
  ASSERT_NE(setlocale(LC_NUMERIC, "de_DE.UTF-8"), nullptr) << "run the tests through ./test";
  ASSERT_STREQ(localeconv()->decimal_point, ",");
  const double short_number = parse_number("1234.5", 0);
  const double long_number = parse_number("1234.56789012345678901", 0);
  setlocale(LC_NUMERIC, "C");
  EXPECT_EQ(short_number, 1234.5);
  EXPECT_EQ(long_number, 1234.56789012345678901);
}

}  // namespace
}  // namespace tvn
