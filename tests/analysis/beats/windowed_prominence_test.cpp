#include "analysis/beats/windowed_prominence.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/analysis/plain_forms.h"
#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();
constexpr double k_inf = std::numeric_limits<double>::infinity();

void expect_plain(const std::vector<double>& signal, int64_t reach) {
  for (const double sign : {1.0, -1.0}) {
    std::vector<double> seen;
    for (const double value : signal) seen.push_back(sign * value);
    const std::vector<int32_t> peaks = plain::local_maxima(seen);
    const std::vector<double> got = windowed_prominences(signal, sign, peaks, reach);
    const auto wanted = plain::peak_prominences(seen, peaks, 2 * static_cast<double>(reach) + 0.5);
    ASSERT_EQ(got.size(), wanted.size());
    for (std::size_t i = 0; i < got.size(); ++i) ASSERT_EQ(got[i], wanted[i].prominence) << i;
  }
}

TEST(WindowedProminence, EqualsTheGeneralSearchInBothPolarities) {
  synthetic::Noise noise(6);
  for (int round = 0; round < 400; ++round) {
    std::vector<double> signal(3 + noise.bits() % 120);
    for (double& value : signal) value = round % 2 == 0 ? noise.normal() : double(noise.bits() % 5);
    expect_plain(signal, static_cast<int64_t>(noise.bits() % 20));
  }
}

// A NaN ends the search, so that the deeper sample behind it does not count.
TEST(WindowedProminence, StopsAtNaN) {
  std::vector<double> signal{-9, 1, 2, k_nan, 1, 2, 5, 3, 2, 1, -3, 0, 0};
  const int32_t peak[] = {6};
  EXPECT_EQ(windowed_prominences(signal, 1, peak, 6)[0], 4);
  for (const double bad : {k_nan, k_inf, -k_inf}) {
    for (std::size_t at = 0; at < signal.size(); ++at) {
      std::vector<double> broken{-9, 1, 2, 1.5, 1, 2, 5, 3, 2, 1, -3, 0, 0};
      broken[at] = bad;
      expect_plain(broken, 4);
      expect_plain(broken, 6);
    }
  }
}

TEST(WindowedProminence, NoPeaksNoProminences) {
  EXPECT_TRUE(windowed_prominences({}, 1, {}, 16).empty());
}

}  // namespace
}  // namespace tvn
