#include "export/recording_analysis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/analysis/synthetic_ecg.h"
#include "tests/session/scarce_memory.h"

namespace tvn {
namespace {

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();

TEST(RecordingAnalysis, TheMeanIsThatOfTheCyclesWithAValue) {
  EXPECT_EQ(mean_of_known(std::vector<double>{1, k_nan, 4, k_nan}), 2.5);
  EXPECT_TRUE(std::isnan(mean_of_known(std::vector<double>{k_nan, k_nan})));
  EXPECT_TRUE(std::isnan(mean_of_known({})));
}

TEST(RecordingAnalysis, OnlyTheOneLetterFIsAWoman) {
  EXPECT_EQ(sex_letter("F"), 'F');
  for (const char* sex : {"M", "", "f", "FF", "Female"}) EXPECT_EQ(sex_letter(sex), 'M') << sex;
}

// Without memory for the peaks the recording can be exported all the same, without a rate.
TEST(RecordingAnalysis, WithoutMemoryThereAreNoIntervals) {
  const std::vector<double> ecg = synthetic::make_ecg(100.0);
  EXPECT_FALSE(rr_intervals_of(ecg).empty());
  const ScarceMemory scarce(2000);
  EXPECT_TRUE(rr_intervals_of(ecg).empty());
}

// A recording of just one cycle is enough, and three intervals are.
TEST(RecordingAnalysis, NeedsAWholeCycleAndThreeIntervals) {
  const std::vector<double> rr = {0.9, 1.0, 0.8, 0.9, 1.1};
  EXPECT_TRUE(analyse_rhythm(520, rr, 4.0));  // 4 s
  EXPECT_FALSE(analyse_rhythm(519, rr, 4.0));
  EXPECT_TRUE(analyse_rhythm(520, std::vector<double>(3, 1.3), 4.0));
  EXPECT_FALSE(analyse_rhythm(520, std::vector<double>(2, 2.0), 4.0));
}

}  // namespace
}  // namespace tvn
