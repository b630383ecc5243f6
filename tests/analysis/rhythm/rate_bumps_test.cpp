#include "analysis/rhythm/rate_bumps.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/analysis/plain_forms.h"
#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();

std::vector<double> filled(std::vector<double> values) {
  fill_nan_gaps(values);
  return values;
}

TEST(NanGaps, LeadingAndTrailingTakeTheNearestValue) {
  EXPECT_EQ(filled({k_nan, k_nan, 3, 4, k_nan}), (std::vector<double>{3, 3, 3, 4, 4}));
  EXPECT_EQ(filled({k_nan, 7}), (std::vector<double>{7, 7}));
}

TEST(NanGaps, InteriorRunsBecomeStraightLines) {
  EXPECT_EQ(filled({1, k_nan, k_nan, k_nan, 5, k_nan, 4}),
            (std::vector<double>{1, 2, 3, 4, 5, 4.5, 4}));
}

TEST(NanGaps, NothingToFillOrToFillFrom) {
  EXPECT_EQ(filled({}), std::vector<double>{});
  EXPECT_EQ(filled({1, 2}), (std::vector<double>{1, 2}));
  for (const double value : filled({k_nan, k_nan})) EXPECT_TRUE(std::isnan(value));
}

TEST(NanGaps, EqualsThePlainForm) {
  synthetic::Noise noise(4);
  for (int round = 0; round < 500; ++round) {
    std::vector<double> values(noise.bits() % 30);
    for (double& value : values) value = noise.uniform() < 0.5 ? k_nan : noise.normal();
    if (std::isnan(filled(values).empty() ? 0 : filled(values)[0])) continue;
    std::vector<double> wanted = values;
    plain::fill_nan_gaps(wanted);
    EXPECT_EQ(filled(values), wanted);
  }
}

}  // namespace
}  // namespace tvn
