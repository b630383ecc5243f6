#include "base/number_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

namespace tvn {
namespace {

// The C library's printf in the C locale, which the tests run in.
std::string printed(const char* format, int precision, double value) {
  char text[400];
  std::snprintf(text, sizeof text, format, precision, value);
  return text;
}

TEST(NumberText, IsWhatPrintfWrites) {
  for (const double value :
       {0.0, 1.0, -1.0, 0.5, 2.5, 1.005, 123456.789, -0.05, 1e-7, 1e15, 3e300}) {
    for (const int digits : {1, 2, 3, 6, 17}) {
      EXPECT_EQ(general_text(value, digits), printed("%.*g", digits, value));
      if (std::fabs(value) >= 1) {
        EXPECT_EQ(fixed_text(value, digits), printed("%.*f", digits, value));
      }
    }
    EXPECT_EQ(fixed_text(std::fabs(value), 0), printed("%.*f", 0, std::fabs(value)));
  }
}

TEST(NumberText, HasNoNegativeZero) {
  EXPECT_EQ(fixed_text(-0.0001, 3), "0.000");
  EXPECT_EQ(fixed_text(-0.0, 0), "0");
  EXPECT_EQ(fixed_text(-0.0006, 3), "-0.001");
  EXPECT_EQ(general_text(-0.0, 2), "0");
}

TEST(NumberText, NamesWhatIsNoNumber) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const auto text : {fixed_text, general_text}) {
    EXPECT_EQ(text(std::nan(""), 3), "nan");
    EXPECT_EQ(text(infinity, 3), "inf");
    EXPECT_EQ(text(-infinity, 3), "-inf");
  }
}

}  // namespace
}  // namespace tvn
