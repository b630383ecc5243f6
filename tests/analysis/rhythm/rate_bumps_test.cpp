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

constexpr double k_no_limit = std::numeric_limits<double>::infinity();

std::vector<double> bridged(std::vector<double> rates) {
  bridge_bumps(rates, 50, k_no_limit);
  return rates;
}

// Rates of 69 and 71 in turn, but for two that lie `distance` above and below 70. The variance is
// then (n - 2 + 2 distance^2) / n, for an odd n nearly so, which gives the distance at which their
// z-score is `score`.
std::vector<double> with_score(double score, std::size_t n, std::size_t at) {
  std::vector<double> rates(n);
  for (std::size_t i = 0; i < n; ++i) rates[i] = i % 2 == 0 ? 69 : 71;
  const auto count = static_cast<double>(n);
  const double distance = score * std::sqrt((count - 2) / (count - 2 * score * score));
  rates[at] = 70 + distance;
  rates[at + 1] = 70 - distance;
  return rates;
}

TEST(SurelyWithoutBumps, TellsJustBelowTheLimitFromAboveIt) {
  for (const std::size_t n : {200U, 203U, 5'000U}) {
    for (std::size_t at = 0; at + 1 < n; at += 1 + n / 40) {
      EXPECT_TRUE(surely_without_bumps(with_score(3.98, n, at))) << n << ' ' << at;
      EXPECT_FALSE(surely_without_bumps(with_score(4.01, n, at))) << n << ' ' << at;
      EXPECT_EQ(bridged(with_score(3.98, n, at)), with_score(3.98, n, at));
    }
  }
  EXPECT_NE(bridged(with_score(6, 200, 100)), with_score(6, 200, 100));
}

TEST(SurelyWithoutBumps, IsNeverSureOfRatesThatBridgingChanges) {
  synthetic::Noise noise(17);
  int sure = 0;
  for (int round = 0; round < 3'000; ++round) {
    std::vector<double> rates(1 + noise.bits() % 300);
    const double level = std::exp(20 * noise.normal()), spread = std::exp(20 * noise.normal());
    for (double& rate : rates) rate = level + spread * noise.normal();
    for (int bump = 0; bump < 2 && noise.uniform() < 0.5; ++bump) {
      rates[noise.bits() % rates.size()] += spread * 10 * noise.normal();
    }
    if (!surely_without_bumps(rates)) continue;
    ++sure;
    ASSERT_EQ(bridged(rates), rates) << round;
  }
  EXPECT_GT(sure, 500);
}

TEST(SurelyWithoutBumps, IsInDoubtAboutRatesThatAreNoNumbersOrAllTheSame) {
  for (const double odd : {k_nan, k_no_limit, -k_no_limit}) {
    for (const std::size_t at : {0U, 7U, 99U, 102U}) {
      std::vector<double> rates = with_score(2, 103, 40);
      rates[at] = odd;
      EXPECT_FALSE(surely_without_bumps(rates)) << odd << ' ' << at;
    }
  }
  EXPECT_FALSE(surely_without_bumps(std::vector<double>(100, 70.0)));
  std::vector<double> next_to_the_same = with_score(2, 103, 40);
  for (double& rate : next_to_the_same) rate += 1e9;
  EXPECT_FALSE(surely_without_bumps(next_to_the_same));
  // Taken from a huge first rate the squares overflow; around the mean they do not.
  std::vector<double> huge = with_score(2, 100, 40);
  huge[0] = huge[50] = 9e153;
  EXPECT_FALSE(surely_without_bumps(huge));
  EXPECT_NE(bridged(huge), huge);
  std::vector<double> tiny = with_score(2, 100, 40);
  for (double& rate : tiny) rate *= 1e-160;
  EXPECT_FALSE(surely_without_bumps(tiny));
  EXPECT_TRUE(surely_without_bumps({}));
}

}  // namespace
}  // namespace tvn
