#include "analysis/tfr/signal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "analysis/statistics.h"
#include "tests/analysis/reference_data.h"
#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

using Sizes = std::vector<std::size_t>;

// 260 samples are too few to be smoothed: the bare steps show. A deviation above 12 bpm keeps the
// bump cleaning away as well.
TEST(TfrSignal, AnIntervalsRateReachesToTheBeatThatEndsIt) {
  const std::vector<double> rates = tfr_signal(260, std::vector<double>{0.5, 1.0}, 130);
  ASSERT_EQ(rates.size(), 260u);
  EXPECT_EQ(rates[0], 120);
  EXPECT_EQ(rates[65], 120);  // the beat itself
  EXPECT_EQ(rates[66], 60);
  EXPECT_EQ(rates[259], 60);  // behind the last beat, at sample 195
}

// Intervals of 94, 74, 139 and 83 samples. Their seconds, summed in this order, make a hair less
// than 390 samples; summed from the other end, or multiplied first, they make 390.
TEST(TfrSignal, BeatsAreTruncatedFromTheSumOfTheSeconds) {
  const std::vector<double> rr = {94 / 130.0, 74 / 130.0, 139 / 130.0, 83 / 130.0, 200 / 130.0};
  double products = 0, backwards = 0;
  for (std::size_t j = 0; j < 4; ++j) {
    products += rr[j] * 130;
    backwards += rr[3 - j];
  }
  ASSERT_EQ(products, 390);
  ASSERT_EQ(backwards * 130, 390);
  // Longer seconds at a lower rate, by a power of two, change no rounding but leave the smoothing
  // window less than 3 points, so that the bare steps show.
  std::vector<double> stretched = rr;
  for (double& value : stretched) value *= 128;
  const std::vector<double> rates = tfr_signal(500, stretched, 130.0 / 128);
  EXPECT_EQ(rates[389], 60 / stretched[3]);
  EXPECT_EQ(rates[390], 60 / stretched[4]);
}

TEST(TfrSignal, EqualIntervalsGiveAConstantRate) {
  for (const double rate : tfr_signal(1000, std::vector<double>(9, 0.75), 130)) {
    EXPECT_EQ(rate, 80);
  }
}

// One step behind sample 1000: the window reaches from 130 back to 129 ahead, and the weights
// of a Hann window sum to a half in its middle.
TEST(TfrSignal, TheWindowIsCentred) {
  const std::vector<double> rr = {1000.5 / 130, 7.0};
  const std::vector<double> rates = tfr_signal(2000, rr, 130);
  const double low = 60 / rr[0], high = 60 / rr[1];
  EXPECT_EQ(rates[1000 - 129], low);  // the outermost weight is zero
  EXPECT_GT(rates[1000 - 127], low);
  EXPECT_NEAR(rates[1001], (low + high) / 2, 1e-12 * high);
  EXPECT_LT(rates[1001 + 127], std::max(low, high));
  EXPECT_NEAR(rates[1001 + 130], high, 1e-12 * high);
}

TEST(TfrSignal, SmoothingNeedsOneSampleMoreThanTheWindow) {
  const std::vector<double> rr = {1.0, 1.01, 1.01};
  const std::vector<double> bare = tfr_signal(260, rr, 130), smooth = tfr_signal(261, rr, 130);
  EXPECT_EQ(bare[130], 60);
  EXPECT_LT(smooth[130], 60);
  EXPECT_GT(smooth[130], 60 / 1.01);
}

// Reflected without the edge value: with a linear course from the very start the smoothed start
// lies where a window over the mirrored steps puts it.
TEST(TfrSignal, EqualsTheWeightedSumOverTheReflectedSteps) {
  synthetic::Noise noise(5);
  std::vector<double> rr(30);
  for (double& value : rr) value = 0.8 + 0.02 * noise.normal();
  const std::size_t n = 2600;
  const std::vector<double> rates = tfr_signal(n, rr, 130);
  std::vector<double> steps(n), window(260);
  double time = 0, total = 0;
  for (std::size_t j = 0, from = 0; j < rr.size(); ++j) {
    time += rr[j];
    const auto beat = static_cast<std::size_t>(time * 130);
    for (; from < n && (from <= beat || j + 1 == rr.size()); ++from) steps[from] = 60 / rr[j];
  }
  for (std::size_t k = 0; k < 260; ++k) {
    window[k] = std::pow(std::sin(3.14159265358979323846 * static_cast<double>(k) / 259), 2);
    total += window[k];
  }
  for (std::size_t i = 0; i < n; ++i) {
    double sum = 0;
    for (std::size_t k = 0; k < 260; ++k) {
      auto at = static_cast<std::ptrdiff_t>(i + k) - 130;
      const auto last = static_cast<std::ptrdiff_t>(n) - 1;
      at = at < 0 ? -at : at > last ? 2 * last - at : at;
      sum += window[k] * steps[static_cast<std::size_t>(at)];
    }
    ASSERT_NEAR(rates[i], sum / total, 1e-10) << i;
  }
}

TEST(TfrSignal, AgreesWithNumPyAndSciPy) {
  reference::Blocks data = reference::read("tfr");
  const std::vector<double> rates =
      tfr_signal(static_cast<std::size_t>(data["n"][0]), data["rr"], 130);
  EXPECT_TRUE(reference::agree(reference::every(rates, 7), data["signal"]));
}

std::vector<double> with_bump(double swing) {
  std::vector<double> rr(400);
  for (std::size_t i = 0; i < rr.size(); ++i) {
    rr[i] = 0.8 + swing * std::sin(static_cast<double>(i) / 3);
  }
  rr[200] = rr[201] = rr[202] = 0.35;
  return rr;
}

TEST(TfrSignal, ABumpIsBridgedUnlessTheSignalVariesTooMuch) {
  const auto highest = [](const std::vector<double>& v) {
    return *std::max_element(v.begin(), v.end());
  };
  EXPECT_LT(highest(tfr_signal(40000, with_bump(0.01), 130)), 90);
  const std::vector<double> restless = tfr_signal(40000, with_bump(0.22), 130);
  EXPECT_GT(population_sd(restless), 12);
  EXPECT_GT(highest(restless), 130);
}

// The prominence is searched within 2.5 s on either side: a bump that has fallen off by then is
// one, a longer change of the heart rate is not.
TEST(TfrSignal, ABumpIsNoLongerThanFiveSeconds) {
  const auto highest_of = [](std::size_t raised) {
    std::vector<double> rr(120, 60.0 / 70);
    std::fill_n(rr.begin() + 60, raised, 0.8);  // 75 bpm
    const std::vector<double> rates = tfr_signal(100 * 130, rr, 130);
    return *std::max_element(rates.begin(), rates.end());
  };
  EXPECT_LT(highest_of(5), 70.5);
  EXPECT_NEAR(highest_of(8), 75, 1e-9);
}

TEST(TfrSignal, NothingFromNothing) {
  const std::vector<double> rr = {0.8, 0.9, 0.8};
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_TRUE(tfr_signal(0, rr, 130).empty());
  EXPECT_TRUE(tfr_signal(100, {}, 130).empty());
  for (const double fs : {0.0, -1.0, nan, inf}) EXPECT_TRUE(tfr_signal(100, rr, fs).empty());
}

TEST(TfrSignal, HostileIntervalsAreHarmless) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const std::vector<std::vector<double>> series = {
      {0, 0, 0}, {0.8, nan, 0.9}, {inf, 0.8}, {-1, 2, -3, 0.5}, {1e308, 1e308}, {1e-320, 0.8}};
  for (const std::vector<double>& rr : series) EXPECT_EQ(tfr_signal(1300, rr, 130).size(), 1300u);
  EXPECT_EQ(tfr_signal(50, series[1], 1e300).size(), 50u);
}

TEST(CycleBoundaries, AreTruncatedMultiples) {
  EXPECT_EQ(cycle_boundaries(1000, 2.5, 130), (Sizes{0, 325, 650, 975}));
  // 1 / 0.3 cycles of 10.01 samples: 10.01, 20.02, 30.03 ...
  EXPECT_EQ(cycle_boundaries(41, 0.077, 130), (Sizes{0, 10, 20, 30, 40}));
  EXPECT_EQ(cycle_boundaries(10, 0.077, 130), (Sizes{0, 10}));  // at least one cycle
  EXPECT_EQ(cycle_boundaries(5, 1, 130), (Sizes{0, 130}));
}

TEST(CycleBoundaries, NoneForACycleThatIsNone) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  for (const double cycle : {0.0, -16.0, 0.001, nan, inf, 1e300}) {
    EXPECT_TRUE(cycle_boundaries(1000, cycle, 130).empty()) << cycle;
  }
}

// A cycle of 3, and a recording of 7: the last complete cycle is 4 5 6, the incomplete one 7.
TEST(ProlongByCycles, ForwardCopyBeforeAndMirrorImageBehind) {
  const std::vector<double> signal = {1, 2, 3, 4, 5, 6, 7};
  const Sizes boundaries = cycle_boundaries(7, 3, 1);
  EXPECT_EQ(tfr_head_length(7, boundaries), 3u);
  EXPECT_EQ(tfr_tail_length(7, boundaries), 4u);
  // A signal that is over before the last cycle begins gives its last cycle, or all there is.
  EXPECT_EQ(tfr_tail_length(7, Sizes{0, 3, 6, 9}), 1u);
  EXPECT_EQ(tfr_tail_length(6, Sizes{0, 3, 6, 9}), 3u);
  EXPECT_EQ(tfr_tail_length(2, Sizes{0, 3, 6, 9}), 2u);
  const std::vector<double> wanted = {3, 3, 2, 1, 1, 2, 3,  //
                                      1, 2, 3, 4, 5, 6, 7,  //
                                      7, 6, 5, 4, 4, 5, 6, 7, 7};
  EXPECT_EQ(prolong_by_cycles(signal, boundaries, 7, 9), wanted);
}

TEST(ProlongByCycles, FiftyCopiesAndZerosBeyond) {
  const std::vector<double> signal = {1, 2, 3, 4, 5, 6, 7};
  const std::vector<double> all =
      prolong_by_cycles(signal, cycle_boundaries(7, 3, 1), 150 + 2, 200 + 2);
  ASSERT_EQ(all.size(), 152u + 7u + 202u);
  EXPECT_EQ(all[1], 0);
  EXPECT_EQ(all[2], 3);  // the leftmost copy is reversed
  EXPECT_EQ(all[4], 1);
  EXPECT_EQ(all[152], 1);
  EXPECT_EQ(all[152 + 7 + 199], 7);  // the rightmost copy is a forward one
  EXPECT_EQ(all[152 + 7 + 196], 4);
  EXPECT_EQ(all[152 + 7 + 200], 0);
}

}  // namespace
}  // namespace tvn
