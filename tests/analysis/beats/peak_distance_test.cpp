#include "analysis/beats/peak_distance.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/analysis/plain_forms.h"
#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

using Indices = std::vector<int32_t>;
constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();

Indices suppress(const std::vector<double>& signal, const Indices& peaks, double distance) {
  std::vector<double> heights;
  for (const int32_t peak : peaks) heights.push_back(signal[static_cast<std::size_t>(peak)]);
  return suppress_close_peaks(peaks, heights, distance);
}

TEST(PeakDistance, DropsPeaksNearerThanTheDistanceToAHigherOne) {
  const double heights[] = {1, 2, 3};
  const int32_t at_25[] = {0, 25, 50};
  EXPECT_EQ(suppress_close_peaks(at_25, heights, 26), (Indices{0, 50}));
  const int32_t at_26[] = {0, 26, 52};
  EXPECT_EQ(suppress_close_peaks(at_26, heights, 26), (Indices{0, 26, 52}));
  EXPECT_EQ(suppress_close_peaks(at_26, heights, 26.01), (Indices{0, 52}));
}

// A peak that a higher one has dropped drops nothing itself.
TEST(PeakDistance, DroppedPeaksDropNothing) {
  const int32_t at[] = {0, 20, 40, 60, 80};
  const double ramp[] = {1, 2, 3, 4, 5};
  EXPECT_EQ(suppress_close_peaks(at, ramp, 26), (Indices{0, 40, 80}));
  const double falling[] = {5, 4, 3, 2, 1};
  EXPECT_EQ(suppress_close_peaks(at, falling, 26), (Indices{0, 40, 80}));
}

TEST(PeakDistance, OddDistances) {
  const int32_t at[] = {3, 5, 9};
  const double heights[] = {1, 3, 2};
  const Indices all{3, 5, 9};
  EXPECT_EQ(suppress_close_peaks(at, heights, 0), all);
  EXPECT_EQ(suppress_close_peaks(at, heights, -7), all);
  EXPECT_EQ(suppress_close_peaks(at, heights, k_nan), all);
  EXPECT_EQ(suppress_close_peaks(at, heights, 1e300), Indices{5});
  EXPECT_EQ(suppress_close_peaks(at, heights, std::numeric_limits<double>::infinity()), Indices{5});
  EXPECT_EQ(suppress_close_peaks({}, {}, 26), Indices{});
}

TEST(PeakDistance, EqualsTheSortOnRandomPeaks) {
  synthetic::Noise noise(5);
  for (int round = 0; round < 3000; ++round) {
    const std::size_t n = noise.bits() % 200;
    const uint64_t levels = 2 + noise.bits() % 1000;  // few levels: many equal heights
    const double slope = noise.normal() * (round % 3 == 0 ? 5 : 0);
    std::vector<double> signal(n);
    for (std::size_t i = 0; i < n; ++i) {
      signal[i] = static_cast<double>(noise.bits() % levels) + slope * static_cast<double>(i);
    }
    const Indices peaks = plain::local_maxima(signal);
    const double distance = 1 + static_cast<double>(noise.bits() % 40);
    ASSERT_EQ(suppress(signal, peaks, distance),
              plain::suppress_close_peaks(signal, peaks, distance));
  }
}

}  // namespace
}  // namespace tvn
