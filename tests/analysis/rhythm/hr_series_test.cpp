#include "analysis/rhythm/hr_series.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "tests/analysis/plain_forms.h"
#include "tests/analysis/reference_data.h"
#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

std::vector<double> hr(std::size_t n_samples, const std::vector<double>& rr, double fs = 130) {
  return build_hr_series(std::vector<double>(n_samples), rr, fs);
}

TEST(HrSeries, TheWindowIsAHannWindow) {
  double sum = 0;
  for (std::size_t k = 0; k < hr_smoothing_window.size(); ++k) {
    const double s = std::sin(3.14159265358979323846 * static_cast<double>(k) / 9);
    EXPECT_NEAR(hr_smoothing_window[k], s * s, 1e-15);
    sum += hr_smoothing_window[k];
  }
  EXPECT_NEAR(sum, k_hr_smoothing_divisor, 1e-14);
}

TEST(HrSeries, EqualIntervalsGiveAConstantRate) {
  const std::vector<double> rates = hr(390, {1.0, 1.0, 1.0});
  ASSERT_EQ(rates.size(), 30u);
  for (const double rate : rates) EXPECT_NEAR(rate, 60, 1e-12);
}

TEST(HrSeries, ASingleIntervalGivesItsRateThroughout) {
  const std::vector<double> rates = hr(1300, {0.75});
  ASSERT_EQ(rates.size(), 100u);
  for (const double rate : rates) EXPECT_NEAR(rate, 80, 1e-12);
}

TEST(HrSeries, NoIntervalsOrNoDurationGiveNothing) {
  EXPECT_TRUE(hr(390, {}).empty());
  EXPECT_TRUE(hr(0, {1.0, 1.0}).empty());
}

// 10 grid points, too few to be smoothed. The rates are 200 at 0 s and 100 at 0.3 s, and one linear
// step further, 0, at 0.9 s.
TEST(HrSeries, ShortSeriesAreInterpolatedOnly) {
  const std::vector<double> rates = hr(130, {0.3, 0.6});
  ASSERT_EQ(rates.size(), 10u);
  EXPECT_NEAR(rates[0], 200, 1e-9);
  EXPECT_NEAR(rates[1], 200 - 100.0 / 3, 1e-9);
  EXPECT_NEAR(rates[3], 100, 1e-9);
  EXPECT_NEAR(rates[6], 50, 1e-9);
  EXPECT_NEAR(rates[9], 0, 1e-9);
}

TEST(HrSeries, ElevenPointsAreSmoothed) {
  const std::vector<double> rates = hr(143, {0.3, 0.6});
  ASSERT_EQ(rates.size(), 11u);
  EXPECT_LT(rates[0], 190);  // 200 in the bare curve
}

TEST(HrSeries, TheExtrapolatedRateIsHeldBehindTheLastBeat) {
  const std::vector<double> rates = hr(1300, {1.0, 0.8});
  // 60 at 0 s, 75 at 1 s, 90 from 1.8 s on.
  for (std::size_t i = 30; i < rates.size(); ++i) EXPECT_NEAR(rates[i], 90, 1e-9);
}

// On a straight line a symmetric window returns the line where the window's middle lies: ten points
// from 5 before to 4 after have theirs half a point back.
TEST(HrSeries, TheWindowReachesFromFiveBackToFourAhead) {
  // Beats at which the rate is 50 + 0.5 t.
  std::vector<double> rr;
  double time = 0;
  while (time < 70) rr.push_back(60 / (50 + 0.5 * time)), time += rr.back();
  const std::vector<double> rates = hr(60 * 130, rr);
  for (std::size_t i = 20; i < 580; ++i) {
    EXPECT_NEAR(rates[i], 50 + 0.05 * (static_cast<double>(i) - 0.5), 1e-9) << i;
  }
}

TEST(HrSeries, ANarrowSpikeIsBridgedByAStraightLine) {
  std::vector<double> rr(100, 0.8);
  for (std::size_t i = 0; i < rr.size(); ++i) rr[i] += 0.002 * static_cast<double>(i % 3);
  const std::vector<double> calm = hr(75 * 130, rr);
  std::vector<double> bumped = rr;
  bumped[50] = bumped[51] = 0.402;
  const std::vector<double> rates = hr(75 * 130, bumped);
  EXPECT_LT(*std::max_element(rates.begin(), rates.end()), 80);
  EXPECT_EQ(rates, plain::build_hr_series(75 * 130, bumped, 130));
  // The middle of the bridge is a straight line.
  const std::size_t middle = 405;
  EXPECT_NEAR(rates[middle] - rates[middle - 1], rates[middle + 1] - rates[middle], 1e-9);
  EXPECT_NE(rates, calm);
}

// A bump at the very start: the first value is never blanked, and the line starts from it.
TEST(HrSeries, TheFirstValueIsNeverBlanked) {
  std::vector<double> rr(200, 0.8);
  for (std::size_t i = 0; i < rr.size(); ++i) rr[i] += 0.002 * static_cast<double>(i % 3);
  rr[0] = 0.82;
  rr[1] = rr[2] = 0.35;
  const std::vector<double> rates = hr(150 * 130, rr);
  EXPECT_TRUE(std::none_of(rates.begin(), rates.end(), [](double v) { return std::isnan(v); }));
  EXPECT_EQ(rates, plain::build_hr_series(150 * 130, rr, 130));
}

TEST(HrSeries, AgreesWithNumPyAndSciPy) {
  reference::Blocks data = reference::read("series");
  const std::vector<double> rates = hr(static_cast<std::size_t>(data["n"][0]), data["rr"]);
  EXPECT_TRUE(reference::agree(reference::every(rates, 3), data["hr"]));
}

TEST(HrSeries, EqualsThePlainFormOnRandomIntervals) {
  synthetic::Noise noise(23);
  for (int round = 0; round < 400; ++round) {
    std::vector<double> rr(1 + noise.bits() % 150);
    for (double& value : rr) {
      value = 0.8 + 0.03 * noise.normal();
      if (noise.uniform() < 0.02) value = 0.25 + noise.uniform();
    }
    const double total = std::accumulate(rr.begin(), rr.end(), 0.0);
    const auto n = static_cast<std::size_t>((0.3 + noise.uniform()) * total * 130);
    ASSERT_EQ(hr(n, rr), plain::build_hr_series(n, rr, 130)) << round;
  }
}

TEST(HrSeries, HostileValuesAreHarmless) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const std::vector<std::vector<double>> series = {
      {0, 0, 0}, {0.8, nan, 0.9}, {inf, 0.8}, {-1, 2, -3, 0.5}, {1e308, 1e308}, {1e-320, 0.8, 0.8}};
  for (const std::vector<double>& rr : series) {
    const std::vector<double> got = hr(1300, rr), wanted = plain::build_hr_series(1300, rr, 130);
    ASSERT_EQ(got.size(), wanted.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
      EXPECT_TRUE(got[i] == wanted[i] || (std::isnan(got[i]) && std::isnan(wanted[i])));
    }
  }
  for (const double fs : {0.0, -1.0, nan, inf, 1e-300}) EXPECT_TRUE(hr(1300, {0.8}, fs).empty());
}

}  // namespace
}  // namespace tvn
