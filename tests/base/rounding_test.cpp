#include "base/rounding.h"

#include <gtest/gtest.h>

#include <limits>

namespace tvn {
namespace {

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();
constexpr double k_infinity = std::numeric_limits<double>::infinity();

TEST(RoundTo, RoundsHalvesAwayFromZero) {
  EXPECT_EQ(round_to(0.25, 10.0), 0.3);
  EXPECT_EQ(round_to(-0.25, 10.0), -0.3);
  EXPECT_EQ(round_to(1.0 / 16.0, 10000.0), 0.0625);
  EXPECT_EQ(round_to(9.954, 100.0), 9.95);
}

TEST(RoundTo, KeepsWhatIsTooLargeToHaveDecimals) {
  EXPECT_EQ(round_to(1e308, 100.0), 1e308);
  EXPECT_TRUE(std::isnan(round_to(k_nan, 10.0)));
  EXPECT_EQ(round_to(-k_infinity, 10.0), -k_infinity);
}

TEST(TruncateTo, CutsTowardZeroAndStaysInRange) {
  EXPECT_EQ(truncate_to<std::int32_t>(2.9), 2);
  EXPECT_EQ(truncate_to<std::int32_t>(-2.9), -2);
  EXPECT_EQ(truncate_to<std::int32_t>(1e99), std::numeric_limits<std::int32_t>::max());
  EXPECT_EQ(truncate_to<std::int32_t>(-1e99), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(truncate_to<std::int64_t>(9.3e18), std::numeric_limits<std::int64_t>::max());
  const volatile double beyond = 0x1p63;  // not for the compiler to convert, which limits it
  EXPECT_EQ(truncate_to<std::int64_t>(beyond), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(truncate_to<std::int64_t>(k_infinity), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(truncate_to<std::int64_t>(-k_infinity), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(truncate_to<std::int64_t>(k_nan), 0);
}

TEST(RoundToInteger, RoundsHalvesAwayFromZero) {
  EXPECT_EQ(round_to_integer<std::int64_t>(12.5), 13);
  EXPECT_EQ(round_to_integer<std::int64_t>(-12.5), -13);
  EXPECT_EQ(round_to_integer<std::int64_t>(-0.4), 0);
}

}  // namespace
}  // namespace tvn
