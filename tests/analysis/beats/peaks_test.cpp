#include "analysis/beats/peaks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "analysis/beats/ecg_filter.h"
#include "tests/analysis/plain_forms.h"
#include "tests/analysis/reference_data.h"
#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

using Indices = std::vector<int32_t>;
constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();

Indices maxima_of(std::vector<double> signal) {
  return local_maxima(signal);
}

TEST(LocalMaxima, FewerThanThreeSamplesHaveNone) {
  EXPECT_EQ(maxima_of({}), Indices{});
  EXPECT_EQ(maxima_of({1}), Indices{});
  EXPECT_EQ(maxima_of({1, 2}), Indices{});
  EXPECT_EQ(maxima_of({1, 2, 1}), Indices{1});
}

TEST(LocalMaxima, PlateausCountOnceAtTheirLowerMiddle) {
  EXPECT_EQ(maxima_of({0, 1, 1, 0}), Indices{1});
  EXPECT_EQ(maxima_of({0, 1, 1, 1, 0}), Indices{2});
  EXPECT_EQ(maxima_of({0, 1, 1, 1, 1, 0, 2, 0}), (Indices{2, 6}));
}

TEST(LocalMaxima, PlateausThatEndHigherOrAtTheEndDoNotCount) {
  EXPECT_EQ(maxima_of({0, 1, 1}), Indices{});
  EXPECT_EQ(maxima_of({0, 1, 1, 2, 1}), Indices{3});
  EXPECT_EQ(maxima_of({1, 1, 0, 0}), Indices{});
  EXPECT_EQ(maxima_of({5, 5, 5, 5, 5}), Indices{});
  EXPECT_EQ(maxima_of({5, 5, 6, 6, 5}), Indices{2});
}

TEST(LocalMaxima, NaNIsNeitherHigherNorLower) {
  EXPECT_EQ(maxima_of({0, 1, k_nan, 1, 0}), Indices{});
  EXPECT_EQ(maxima_of({0, 2, 1, k_nan, 1, 3, 0}), (Indices{1, 5}));
}

TEST(LocalExtrema, MinimaAreTheMaximaOfTheNegatedSignal) {
  synthetic::Noise noise(3);
  for (int round = 0; round < 200; ++round) {
    std::vector<double> signal, negated;
    for (uint64_t n = noise.bits() % 60; n > 0; --n) {
      signal.push_back(static_cast<double>(noise.bits() % 4));  // plenty of plateaus
      negated.push_back(-signal.back());
    }
    const Extrema extrema = local_extrema(signal);
    EXPECT_EQ(extrema.maxima, plain::local_maxima(signal));
    EXPECT_EQ(extrema.minima, plain::local_maxima(negated));
  }
}

TEST(PeakProminences, StopsAtHigherSamplesAndTakesTheHigherBase) {
  //                              0  1  2  3  4  5  6  7
  const std::vector<double> signal{5, 0, 3, 2, 4, 1, 2, 6};
  const int32_t peaks[] = {2, 4};
  const std::vector<PeakProminence> p = peak_prominences(signal, peaks, 0);
  EXPECT_EQ(p[0].prominence, 1);
  EXPECT_EQ(p[0].left_base, 1);
  EXPECT_EQ(p[0].right_base, 3);
  EXPECT_EQ(p[1].prominence, 3);
  EXPECT_EQ(p[1].left_base, 1);
  EXPECT_EQ(p[1].right_base, 5);
}

TEST(PeakProminences, BasesAreTheNearestOfEqualMinima) {
  const std::vector<double> signal{0, 1, 0, 3, 0, 1, 0};
  const int32_t peak[] = {3};
  const PeakProminence p = peak_prominences(signal, peak, -1)[0];
  EXPECT_EQ(p.left_base, 2);
  EXPECT_EQ(p.right_base, 4);
}

TEST(PeakProminences, TheWindowReachesHalfItsLengthToEitherSide) {
  std::vector<double> signal(101);
  for (std::size_t i = 0; i < signal.size(); ++i)
    signal[i] = -std::fabs(static_cast<double>(i) - 50);
  const int32_t peak[] = {50};
  EXPECT_EQ(peak_prominences(signal, peak, 33)[0].prominence, 16);
  EXPECT_EQ(peak_prominences(signal, peak, 50)[0].left_base, 25);
  EXPECT_EQ(peak_prominences(signal, peak, 50)[0].right_base, 75);
  EXPECT_EQ(peak_prominences(signal, peak, 1)[0].prominence, 0);
  EXPECT_EQ(peak_prominences(signal, peak, 1e300)[0].prominence, 50);
  EXPECT_EQ(peak_prominences(signal, peak, k_nan)[0].prominence, 50);
}

TEST(PeakProminences, EqualsThePlainFormAtTheEndsAndInside) {
  synthetic::Noise noise(11);
  for (int round = 0; round < 300; ++round) {
    std::vector<double> signal(3 + noise.bits() % 90);
    for (double& value : signal) value = static_cast<double>(noise.bits() % 9);
    const Indices peaks = plain::local_maxima(signal);
    const auto window = static_cast<double>(noise.bits() % 60);
    const auto got = peak_prominences(signal, peaks, window);
    const auto wanted = plain::peak_prominences(signal, peaks, window);
    ASSERT_EQ(got.size(), wanted.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
      EXPECT_EQ(got[i].prominence, wanted[i].prominence);
      EXPECT_EQ(got[i].left_base, wanted[i].left_base);
      EXPECT_EQ(got[i].right_base, wanted[i].right_base);
    }
  }
}

TEST(Peaks, AgreeWithSciPy) {
  for (const char* name : {"clean", "noisy", "inverted", "clipped", "gappy", "noise_only"}) {
    SCOPED_TRACE(name);
    reference::Blocks data = reference::read(name);
    const std::vector<double> y = bandpass_filtfilt(data["ecg"]);
    const Indices maxima = local_maxima(y);
    // Where the signal is flat the filter leaves rounding, whose maxima are nobody's to agree on.
    if (std::string(name) != "gappy") {
      EXPECT_EQ(static_cast<double>(maxima.size()), data["maxima"][0]);
    }
    const Indices peaks = plain::suppress_close_peaks(y, maxima, 26);
    EXPECT_TRUE(reference::agree(std::vector<double>(peaks.begin(), peaks.end()), data["peaks"]));
    std::vector<double> prominences, left, right;
    for (const PeakProminence& p : peak_prominences(y, peaks, 33)) {
      prominences.push_back(p.prominence);
      left.push_back(p.left_base);
      right.push_back(p.right_base);
    }
    EXPECT_TRUE(reference::agree(prominences, data["prominences"]));
    EXPECT_TRUE(reference::agree(left, data["left_bases"]));
    EXPECT_TRUE(reference::agree(right, data["right_bases"]));
  }
}

}  // namespace
}  // namespace tvn
