#include "recording/resampling.h"

#include <gtest/gtest.h>

#include <cmath>

namespace tvn {
namespace {

using Values = std::vector<double>;

TEST(ResampleTo130, InterpolatesBetweenSamples) {
  EXPECT_EQ(resample_to_130(Values(256, 1.0), 256.0).size(), 130u);
  EXPECT_EQ(resample_to_130({0, 1, 4}, 65.0), (Values{0, 0.5, 1, 2.5, 4, 4}));
  EXPECT_EQ(resample_to_130({4, 2}, 65.0), (Values{4, 3, 2, 2}));
  EXPECT_EQ(resample_to_130({1, 2, 3, 4}, 260.0), (Values{1, 3}));
}

TEST(ResampleTo130, ReproducesAStraightLineAtAnyRate) {
  Values line;
  for (int i = 0; i < 3600; ++i) line.push_back(0.25 * i);
  const Values resampled = resample_to_130(line, 360.0);
  ASSERT_EQ(resampled.size(), 1300u);
  for (std::size_t i = 0; i + 3 < resampled.size(); ++i) {
    ASSERT_NEAR(resampled[i], 0.25 * 360.0 / 130.0 * static_cast<double>(i), 1e-9);
  }
}

// 260 / 130.5 * 130 is 259.004, and 260 / 129.5 * 130 is 261.004.
TEST(ResampleTo130, BeginsHalfAHertzAway) {
  EXPECT_EQ(resample_to_130(Values(260, 1.0), 130.5).size(), 259u);
  EXPECT_EQ(resample_to_130(Values(260, 1.0), 129.5).size(), 261u);
}

TEST(ResampleTo130, LeavesSamplesAloneWhereItCannotOrNeedNot) {
  const Values samples = {1, 2, 3};
  for (const double rate : {0.0, -5.0, 130.4, 129.6, 130.0, 1e9, 1e-300, 2.5e-6, std::nan("")}) {
    EXPECT_EQ(resample_to_130(samples, rate), samples) << rate;
  }
  // 3 samples at 390 / 22,464,000 Hz would be 48 h.
  EXPECT_EQ(resample_to_130(samples, 390 / 22'464'000.0).size(), 22'464'000u);
  EXPECT_EQ(resample_to_130(samples, 390 / 22'464'001.0), samples);
  EXPECT_EQ(resample_to_130({7}, 65.0), Values{7});
  EXPECT_EQ(resample_to_130({1, 2}, 260.0), (Values{1, 2}));  // one sample would be left
  EXPECT_EQ(resample_to_130({}, 65.0), Values{});
}

}  // namespace
}  // namespace tvn
