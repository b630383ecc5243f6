#include "analysis/beats/rr_artifacts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/analysis/plain_forms.h"
#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

using Intervals = std::vector<double>;

Intervals correct(const Intervals& rr) {
  return correct_rr_artifacts(rr);
}

void expect_near(const Intervals& got, const Intervals& wanted) {
  ASSERT_EQ(got.size(), wanted.size());
  for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], wanted[i], 1e-15) << i;
}

// Median 1.0, MAD 0.05, variance 0.0439: the limit is 3, and 0.4 scores 8.09.
TEST(RrArtifacts, AnOutlierIsInterpolated) {
  expect_near(correct({0.95, 1.0, 1.05, 1.0, 0.4, 1.0, 0.95}),
              {0.95, 1.0, 1.05, 1.0, 1.0, 1.0, 0.95});
}

TEST(RrArtifacts, MostlyEqualValuesComeBackUnchanged) {
  const Intervals rr{0.8, 0.8, 0.8, 0.8, 0.4, 1.2, 0.8};
  EXPECT_EQ(correct(rr), rr);
}

// MAD 0.02. With a variance of at most 0.01 the limit is 5, above it 3: the score of 0.9 - 0.1214
// is 4.09, and the interval stays until 1.9 drives the variance up.
TEST(RrArtifacts, TheLimitDependsOnTheVariance) {
  const double suspect = 0.9 - 4.1 * 0.02 / 0.6745;
  const Intervals calm{0.88, 0.9, 0.92, suspect, 0.88, 0.9, 0.92};
  EXPECT_EQ(correct(calm), calm);
  Intervals spread = calm;
  spread.push_back(1.9);
  const Intervals corrected = correct(spread);
  EXPECT_NEAR(corrected[3], 0.9, 1e-12);  // between 0.92 and 0.88
  EXPECT_EQ(corrected[7], 0.92);          // nothing follows: the last accepted value
  EXPECT_EQ(corrected[0], 0.88);
}

TEST(RrArtifacts, EndsTakeTheNearestAcceptedValueAndRunsAreBridged) {
  expect_near(correct({5.0, 4.0, 0.90, 0.92, 0.94, 3.0, 3.0, 3.0, 0.90, 0.92, 0.94, 0.88, 9.0}),
              {0.90, 0.90, 0.90, 0.92, 0.94, 0.93, 0.92, 0.91, 0.90, 0.92, 0.94, 0.88, 0.88});
}

// 0.2 and 2.0 themselves are not plausible, so nothing is left to judge by.
TEST(RrArtifacts, NothingPlausibleChangesNothing) {
  const Intervals rr{0.2, 2.0, 0.1, 3.0};
  EXPECT_EQ(correct(rr), rr);
  EXPECT_EQ(correct({}), Intervals{});
}

// Values outside the plausible range are judged by their score alone.
TEST(RrArtifacts, ImplausibleValuesWithinTheLimitStay) {
  const Intervals rr{1.2, 1.9, 1.2, 1.9, 1.5, 1.6, 2.3};
  EXPECT_EQ(correct(rr), rr);
}

// Two values: each is exactly one MAD from the median.
TEST(RrArtifacts, NoOutlierChangesNothing) {
  const Intervals rr{0.7, 0.9};
  EXPECT_EQ(correct(rr), rr);
}

TEST(RrArtifacts, NotFiniteValuesDoNoHarm) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const Intervals got = correct({0.8, nan, 0.82, inf, 0.84, -inf, 0.8, 0.84});
  ASSERT_EQ(got.size(), 8u);
  EXPECT_TRUE(std::isnan(got[1]));
  EXPECT_NEAR(got[3], 0.83, 1e-12);
  EXPECT_NEAR(got[5], 0.82, 1e-12);
}

TEST(RrArtifacts, EqualsThePlainFormOnRandomIntervals) {
  synthetic::Noise noise(2);
  for (int round = 0; round < 3000; ++round) {
    Intervals rr(noise.bits() % 40);
    for (double& value : rr) {
      value = 0.8 + 0.05 * noise.normal();
      if (noise.uniform() < 0.15) value = 2.5 * noise.uniform();
      if (round % 2 == 0) value = std::round(value * 20) / 20;  // many equal values
    }
    ASSERT_EQ(correct(rr), plain::correct_rr_artifacts(rr));
  }
}

}  // namespace
}  // namespace tvn
