#include "analysis/rhythm/time_grid.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/analysis/plain_forms.h"

namespace tvn {
namespace {

TEST(TimeGrid, TenPointsPerSecondBelowTheDuration) {
  const std::vector<double> grid = time_grid(65 * 130, 130);
  ASSERT_EQ(grid.size(), 650u);
  EXPECT_EQ(grid[0], 0.0);
  EXPECT_EQ(grid[3], 0.3);
  EXPECT_EQ(grid[649], 64.9);
  EXPECT_EQ(time_grid(390, 130).size(), 30u);
}

// The sum of 1200 times 0.1 falls short of 120 by 1.6e-11, so that one more point fits in.
TEST(TimeGrid, ThePositionAccumulates) {
  const std::vector<double> grid = time_grid(120 * 130, 130);
  ASSERT_EQ(grid.size(), 1201u);
  EXPECT_EQ(grid.back(), 120.0);
}

TEST(TimeGrid, EqualsThePlainForm) {
  for (const std::size_t n : {0u, 1u, 12u, 13u, 14u, 1000u, 131u * 130u, 130u * 86400u}) {
    EXPECT_EQ(time_grid(n, 130), plain::time_grid(n, 130)) << n;
  }
}

TEST(TimeGrid, SenselessDurationsHaveNoPoints) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  for (const double fs : {0.0, -130.0, 1e-300, nan, inf, 1e300}) {
    EXPECT_TRUE(time_grid(1000, fs).empty()) << fs;
  }
  EXPECT_TRUE(time_grid(0, 130).empty());
  EXPECT_EQ(time_grid(1, 130).size(), 1u);
}

// 2,000,000 s and one sample more.
TEST(TimeGrid, EndsWithTheLongestRecording) {
  GrowingGrid grid(0.5);
  EXPECT_NEAR(static_cast<double>(grid.extend(1'000'000).size()), 20'000'000, 1);
  EXPECT_TRUE(grid.extend(1'000'001).empty());
}

}  // namespace
}  // namespace tvn
