#include "analysis/rhythm/tvn_series.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "analysis/rhythm/time_grid.h"
#include "tests/analysis/plain_forms.h"
#include "tests/analysis/reference_data.h"
#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();
constexpr double k_inf = std::numeric_limits<double>::infinity();
constexpr double k_two_pi = 6.283185307179586;

using Series = std::vector<double>;

Series tvn_of(const Series& rr, int32_t n, double cycle) {
  return compute_tvn_series(rr, n, 2, cycle, 130, 0.1);
}

std::ptrdiff_t missing(const Series& series) {
  return std::count_if(series.begin(), series.end(), [](double v) { return std::isnan(v); });
}

// Intervals whose interpolated curve is 900 + 60 sin(2 pi t / cycle + phase) at the beats.
Series sinusoid_rr(double seconds, double cycle, double phase) {
  Series rr;
  double time = 0;
  while (time < seconds) {
    // The interval stands at its end: solve rr = f(time + rr) by iteration, f is a contraction.
    double interval = 0.01;
    for (int i = 0; i < 60; ++i) {
      interval = 0.01 + 0.0006 * std::sin(k_two_pi * (time + interval) / cycle + phase);
    }
    rr.push_back(interval);
    time += interval;
  }
  return rr;
}

// NaN at the same places, the rest within 1e-11.
testing::AssertionResult close(const Series& got, const Series& wanted) {
  if (got.size() != wanted.size()) {
    return testing::AssertionFailure() << got.size() << " values, wanted " << wanted.size();
  }
  for (std::size_t i = 0; i < got.size(); ++i) {
    if (std::isnan(got[i]) && std::isnan(wanted[i])) continue;
    if (!(std::fabs(got[i] - wanted[i]) <= 1e-11)) {
      return testing::AssertionFailure() << "at " << i << ": " << got[i] << ", wanted " << wanted[i]
                                         << ", off by " << got[i] - wanted[i];
    }
  }
  return testing::AssertionSuccess();
}

TEST(TvnSeries, ShorterThanTheWindowGivesNothing) {
  const Series rr(4, 0.7);
  EXPECT_TRUE(tvn_of(rr, 390, 10).empty());
  EXPECT_TRUE(tvn_of(rr, 390, 1.46).empty());    // 2.92 s; the last grid time is 2.9 s
  EXPECT_EQ(tvn_of(rr, 390, 1.45).size(), 30u);  // not less than 2.9 s
}

TEST(TvnSeries, TheFirstWindowLengthOfValuesIsMissing) {
  Series rr;
  for (int i = 0; i < 80; ++i) rr.push_back(0.75 + 0.05 * std::sin(i));
  const Series series = tvn_of(rr, 60 * 130, 10);
  ASSERT_EQ(series.size(), 600u);
  for (std::size_t k = 0; k < 200; ++k) EXPECT_TRUE(std::isnan(series[k])) << k;
  for (std::size_t k = 200; k < 590; ++k) EXPECT_FALSE(std::isnan(series[k])) << k;
}

// 8.1 / 0.1 is just below 81 in floating point: 80 points per cycle, 160 in the window.
TEST(TvnSeries, TheWindowLengthIsTruncatedPerCycle) {
  Series rr;
  for (int i = 0; i < 80; ++i) rr.push_back(0.75 + 0.05 * std::sin(i));
  const Series series = tvn_of(rr, 60 * 130, 8.1);
  EXPECT_TRUE(std::isnan(series[159]));
  EXPECT_FALSE(std::isnan(series[160]));
}

// Beats every 10 ms make the interpolated curve a sinusoid to 5 digits.
TEST(TvnSeries, ASinusoidAtTheBreathingFrequencyGivesOne) {
  for (const double phase : {0.0, 0.7, 1.5707963, 3.0, 5.1}) {
    const Series rr = sinusoid_rr(61, 10, phase);
    const Series series = tvn_of(rr, 60 * 130, 10);
    ASSERT_EQ(series.size(), 600u);
    for (std::size_t k = 200; k < 600; ++k) EXPECT_NEAR(series[k], 1, 1e-4) << k;
    EXPECT_LE(*std::max_element(series.begin() + 201, series.end()), 1.0);
  }
}

// At twice the breathing frequency nothing is explained.
TEST(TvnSeries, AnOrthogonalSinusoidGivesMinusOne) {
  const Series series = tvn_of(sinusoid_rr(61, 5, 0.3), 60 * 130, 10);
  for (std::size_t k = 201; k < 600; ++k) EXPECT_NEAR(series[k], -1, 1e-2) << k;
}

TEST(TvnSeries, ConstantIntervalsGiveNaN) {
  for (const double interval : {0.8, 0.7, 1.0 / 3, 104.0 / 130, 0.1}) {
    const Series rr(static_cast<std::size_t>(90 / interval), interval);
    const Series series = tvn_of(rr, 80 * 130, 10);
    EXPECT_EQ(series.size(), time_grid(80 * 130, 130).size());
    EXPECT_EQ(missing(series), std::ssize(series)) << interval;
  }
}

// The same when part of the window lies behind the last beat.
TEST(TvnSeries, ConstantIntervalsThatEndEarlyGiveNaN) {
  for (const double interval : {0.8, 0.7, 1.0 / 3, 104.0 / 130, 0.1, 0.93}) {
    const Series rr(static_cast<std::size_t>(40 / interval), interval);
    const Series series = tvn_of(rr, 80 * 130, 10);
    EXPECT_EQ(missing(series), std::ssize(series)) << interval;
  }
}

// The first beat comes after two long cycles, so that the first windows hold a few points only,
// over which the reference hardly varies; and at 5 Hz it is nothing but rounding on the grid.
TEST(TvnSeries, AReferenceThatHardlyVariesIsSummedDirectly) {
  synthetic::Noise noise(12);
  Series rr(200);
  for (double& value : rr) value = 0.8 + 0.1 * noise.normal();
  for (const double cycle : {0.1, 0.2, 0.4}) {
    EXPECT_TRUE(close(compute_tvn_series(rr, 130 * 130, 4, cycle, 130, 0.01),
                      plain::compute_tvn_series(rr, 130 * 130, 4, cycle, 130, 0.01)));
  }
  rr[0] = 1500;  // the cosine is at its lowest
  EXPECT_TRUE(close(tvn_of(rr, 1600 * 130, 600),
                    plain::compute_tvn_series(rr, 1600 * 130, 2, 600, 130, 0.1)));
}

// After a variable part the windows that lie wholly in the constant part are NaN again, however
// the sums got there, and before that they are not.
TEST(TvnSeries, AConstantWindowAfterVariableOnesIsNaN) {
  Series rr;
  for (int i = 0; i < 60; ++i) rr.push_back(0.6 + 0.3 * std::sin(i));
  const double change = std::accumulate(rr.begin(), rr.end(), 0.0);
  rr.resize(200, 0.7);
  const auto n = static_cast<int32_t>((change + 80) * 130);
  const Series series = tvn_of(rr, n, 10);
  // The curve is constant from the first constant beat on, one interval after the change.
  const auto constant = static_cast<std::size_t>(std::ceil((change + 0.7) * 10));
  for (std::size_t k = constant + 200; k < series.size(); ++k) EXPECT_TRUE(std::isnan(series[k]));
  for (std::size_t k = 201; k < constant + 200; ++k) EXPECT_FALSE(std::isnan(series[k])) << k;
  EXPECT_TRUE(close(series, plain::compute_tvn_series(rr, n, 2, 10, 130, 0.1)));
}

// Windows of a few points: sine and cosine are far from orthogonal there, and R exceeds 1.
TEST(TvnSeries, CorrelationsAboveOneAreLimited) {
  Series rr;
  for (int i = 0; i < 300; ++i) rr.push_back(0.13 + 0.05 * std::sin(1.7 * i));
  double highest = -2;
  for (const double cycle : {0.3, 0.31, 0.35, 0.42, 0.55}) {
    for (const double value : tvn_of(rr, 30 * 130, cycle)) {
      if (!std::isnan(value)) highest = std::max(highest, value);
    }
  }
  EXPECT_EQ(highest, 1.0);
}

TEST(TvnSeries, NoBeatsGiveNothing) {
  EXPECT_TRUE(tvn_of({}, 60 * 130, 10).empty());
  EXPECT_TRUE(tvn_of({100.0}, 60 * 130, 10).empty());  // the first beat lies behind the end
}

// Three beats early on: windows without any are NaN, those with a few are not.
TEST(TvnSeries, WindowsBehindTheLastBeatAreNaN) {
  const Series series = tvn_of({0.75, 0.85, 0.65}, 60 * 130, 10);
  ASSERT_EQ(series.size(), 600u);
  EXPECT_FALSE(std::isnan(series[200]));
  for (std::size_t k = 223; k < 600; ++k) EXPECT_TRUE(std::isnan(series[k])) << k;
}

// Beats at 0.5, 1.25 and 1.5 s: the last one at the grid point 15, which alone makes the last
// window over two points.
TEST(TvnSeries, APointAtTheLastBeatItselfHasItsInterval) {
  const Series series = tvn_of({0.5, 0.75, 0.25}, 60 * 130, 10);
  ASSERT_EQ(series.size(), 600u);
  EXPECT_FALSE(std::isnan(series[214]));
  EXPECT_TRUE(std::isnan(series[215]));
}

TEST(TvnSeries, AgreesWithNumPy) {
  reference::Blocks data = reference::read("series");
  for (const double cycle : data["cycles"]) {
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, "%g", cycle);
    SCOPED_TRACE(suffix);
    const Series series = tvn_of(data["rr"], static_cast<int32_t>(data["n"][0]), cycle);
    EXPECT_TRUE(reference::agree(reference::every(series, 5), data[std::string("tvn_") + suffix]));
    const Series late = tvn_of(data["late_rr"], static_cast<int32_t>(data["late_n"][0]), cycle);
    EXPECT_TRUE(
        reference::agree(reference::every(late, 5), data[std::string("late_tvn_") + suffix]));
  }
}

Series random_rr(synthetic::Noise& noise) {
  Series rr(1 + noise.bits() % 200);
  const double spread = noise.uniform() < 0.3 ? 1e-6 * noise.uniform() : 0.1 * noise.uniform();
  const bool quantised = noise.uniform() < 0.5;
  for (double& value : rr) {
    value = 0.8 + spread * noise.normal();
    if (noise.uniform() < 0.01) value += 3 * noise.uniform();
    if (quantised) value = std::round(value * 130) / 130;
  }
  if (noise.uniform() < 0.2) rr[0] = 100 * noise.uniform();             // a late first beat
  if (noise.uniform() < 0.2) rr[rr.size() / 2] = 60 * noise.uniform();  // a long gap
  if (noise.uniform() < 0.3) std::fill(rr.begin() + std::ssize(rr) / 2, rr.end(), 0.75);
  return rr;
}

TEST(TvnSeries, EqualsThePlainFormOnRandomIntervals) {
  synthetic::Noise noise(31);
  const double cycles[] = {0.1, 0.2, 0.3, 0.7, 1, 3.3, 5, 8.1, 10, 16, 30, 60};
  for (int round = 0; round < 600; ++round) {
    const Series rr = random_rr(noise);
    const auto n = static_cast<int32_t>(
        130 * std::min(400.0, 1.3 * noise.uniform() * std::accumulate(rr.begin(), rr.end(), 5.0)));
    const double cycle = cycles[noise.bits() % std::size(cycles)];
    const auto per_window = static_cast<int32_t>(1 + noise.bits() % 3);
    ASSERT_TRUE(close(compute_tvn_series(rr, n, per_window, cycle, 130, 0.1),
                      plain::compute_tvn_series(rr, n, per_window, cycle, 130, 0.1)))
        << "round " << round << " cycle " << cycle << " n " << n;
  }
}

TEST(TvnSeries, EqualsThePlainFormOverHours) {
  synthetic::Noise noise(8);
  Series rr;
  double time = 0;
  while (time < 4 * 3600) {
    rr.push_back(
        std::round(130 * (0.85 + 0.08 * std::sin(k_two_pi * time / 16) + 0.03 * noise.normal())) /
        130);
    time += rr.back();
  }
  for (const double cycle : {16.0, 8.1}) {
    EXPECT_TRUE(close(tvn_of(rr, 4 * 3600 * 130, cycle),
                      plain::compute_tvn_series(rr, 4 * 3600 * 130, 2, cycle, 130, 0.1)));
  }
}

TEST(TvnSeries, HostileArgumentsAreHarmless) {
  Series rr;
  for (int i = 0; i < 80; ++i) rr.push_back(0.75 + 0.05 * std::sin(i));
  const double odd[] = {0.0, -0.0, -10, 1e-300, 1e-320, 1e300, k_nan, k_inf, -k_inf, 0.05, -1e-9};
  const int32_t low = std::numeric_limits<int32_t>::min();
  const int32_t high = std::numeric_limits<int32_t>::max();
  for (const double cycle : odd) {
    for (const double step : {0.1, 0.0, -0.1, 1e-300, 1e300, k_nan, k_inf}) {
      for (const int32_t cycles : {2, 0, -2, low, high}) {
        EXPECT_TRUE(close(compute_tvn_series(rr, 7800, cycles, cycle, 130, step),
                          plain::compute_tvn_series(rr, 7800, cycles, cycle, 130, step)))
            << cycle << " " << step << " " << cycles;
      }
    }
  }
  for (const double fs : {0.0, -130.0, 1e-300, k_nan, k_inf}) {
    EXPECT_TRUE(compute_tvn_series(rr, 7800, 2, 10, fs, 0.1).empty()) << fs;
  }
  EXPECT_TRUE(compute_tvn_series(rr, low, 2, 10, 130, 0.1).empty());
  EXPECT_TRUE(compute_tvn_series(rr, -1, 2, 10, 130, 0.1).empty());
  EXPECT_TRUE(compute_tvn_series(rr, 0, 2, 10, 130, 0.1).empty());
}

TEST(TvnSeries, HostileIntervalsAreHarmless) {
  const Series tail(60, 0.9);
  for (const Series& head :
       {Series{0, 0, 0.8}, Series{0.8, k_nan}, Series{0.8, k_inf}, Series{0.8, -k_inf},
        Series{5, -3, 4, -2}, Series{1e306, 0.8}, Series{0.8, 0.9, 1e-310}}) {
    Series rr = head;
    rr.insert(rr.end(), tail.begin(), tail.end());
    EXPECT_TRUE(close(tvn_of(rr, 7800, 10), plain::compute_tvn_series(rr, 7800, 2, 10, 130, 0.1)));
    rr.assign(tail.begin(), tail.end());
    rr.insert(rr.begin() + 20, head.begin(), head.end());
    EXPECT_TRUE(close(tvn_of(rr, 7800, 10), plain::compute_tvn_series(rr, 7800, 2, 10, 130, 0.1)));
  }
}

}  // namespace
}  // namespace tvn
