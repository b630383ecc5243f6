#include "analysis/beats/r_peaks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "analysis/beats/ecg_filter.h"
#include "analysis/beats/rr_artifacts.h"
#include "tests/analysis/plain_forms.h"
#include "tests/analysis/reference_data.h"
#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

constexpr double k_fs = 130;
constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();
constexpr double k_inf = std::numeric_limits<double>::infinity();

std::vector<double> rr_of(const std::vector<double>& ecg) {
  return detect_rr_intervals(ecg, 300, k_fs);
}

// Narrow triangular waves at the given samples, the way the filter leaves R waves.
struct Wave {
  int32_t at;
  double height;
};
std::vector<double> signal_with(std::size_t n, const std::vector<Wave>& waves) {
  std::vector<double> signal(n, 0.0);
  for (const Wave& wave : waves) {
    const auto at = static_cast<std::size_t>(wave.at);
    signal[at] = wave.height;
    for (const std::size_t i : {at - 1, at + 1}) signal[i] = 0.4 * wave.height;
  }
  return signal;
}

using Indices = std::vector<int32_t>;

TEST(RPeaks, ABeatEvery0Point8SecondsGivesIntervalsOf0Point8Seconds) {
  const std::vector<double> ecg = synthetic::make_ecg(
      {.seconds = 60, .noise_uv = 3, .mean_rr = 0.8, .rr_swing = 0, .rr_jitter = 0});
  const std::vector<double> rr = rr_of(ecg);
  ASSERT_EQ(rr.size(), 74u);
  for (const double interval : rr) EXPECT_EQ(interval, 104.0 / 130);
}

TEST(RPeaks, FewerThanThreeSamplesGiveNothing) {
  EXPECT_TRUE(rr_of({}).empty());
  EXPECT_TRUE(rr_of({500}).empty());
  EXPECT_TRUE(rr_of({500, -500}).empty());
  EXPECT_TRUE(rr_of({0, 500, 0}).empty());
}

TEST(RPeaks, FlatSignalsGiveNothing) {
  EXPECT_TRUE(rr_of(std::vector<double>(1300, 0.0)).empty());
  EXPECT_TRUE(rr_of(std::vector<double>(1300, -87.0)).empty());
}

TEST(RPeaks, AnInvertedEcgGivesTheSameIntervals) {
  const std::vector<double> up = rr_of(synthetic::make_ecg({.seconds = 60}));
  const std::vector<double> down = rr_of(synthetic::make_ecg({.seconds = 60, .scale = -1}));
  EXPECT_GT(up.size(), 65u);
  EXPECT_EQ(up, down);
}

// The signal and its negation look alike here, and so do the counts: the positive peaks decide.
TEST(RPeaks, EqualCountsKeepThePositivePolarity) {
  std::vector<Wave> waves;
  for (int32_t i = 0; i < 12; ++i) {
    const double height = 1000 + 7 * (i % 3);
    waves.push_back({60 + 104 * i, height});
    waves.push_back({110 + 104 * i + 3 * (i % 2), -height});
  }
  const std::vector<double> ecg = signal_with(1400, waves);
  const std::vector<double> filtered = bandpass_filtfilt(ecg);
  std::vector<double> negated(filtered);
  for (double& value : negated) value = -value;
  const Indices up = find_r_peaks(filtered, k_fs, 26), down = find_r_peaks(negated, k_fs, 26);
  ASSERT_EQ(up.size(), 12u);
  ASSERT_EQ(down.size(), 12u);
  for (const double rr : rr_of(ecg)) EXPECT_EQ(rr, 0.8);  // the negative ones alternate
}

std::vector<double> differences_in_seconds(const Indices& peaks) {
  std::vector<double> rr;
  for (std::size_t i = 1; i < peaks.size(); ++i) rr.push_back((peaks[i] - peaks[i - 1]) / k_fs);
  return rr;
}

std::ptrdiff_t plausible(const std::vector<double>& rr) {
  return std::count_if(rr.begin(), rr.end(), [](double s) { return s >= 0.33 && s <= 1.5; });
}

TEST(RPeaks, MorePlausibleIntervalsDecideForTheNegatedPolarity) {
  const std::vector<double> ecg = synthetic::make_ecg({.seconds = 60, .scale = -1});
  const std::vector<double> filtered = bandpass_filtfilt(ecg);
  std::vector<double> negated(filtered);
  for (double& value : negated) value = -value;
  const auto up = differences_in_seconds(find_r_peaks(filtered, k_fs, 26));
  const auto down = differences_in_seconds(find_r_peaks(negated, k_fs, 26));
  ASSERT_GT(plausible(down), plausible(up));
  ASSERT_NE(up, down);
  EXPECT_EQ(rr_of(ecg), correct_rr_artifacts(down));
}

TEST(RPeaks, AgreeWithSciPy) {
  for (const char* name : {"clean", "noisy", "inverted", "clipped", "gappy", "noise_only"}) {
    SCOPED_TRACE(name);
    reference::Blocks data = reference::read(name);
    std::vector<double> y = bandpass_filtfilt(data["ecg"]);
    const Indices up = find_r_peaks(y, k_fs, 26);
    for (double& value : y) value = -value;
    const Indices down = find_r_peaks(y, k_fs, 26);
    EXPECT_EQ(std::vector<double>(up.begin(), up.end()), data["r_peaks"]);
    EXPECT_EQ(std::vector<double>(down.begin(), down.end()), data["r_peaks_negated"]);
    EXPECT_TRUE(reference::agree(rr_of(data["ecg"]), data["rr"]));
  }
}

TEST(RPeaks, PeaksNearerThan26SamplesToAHigherOneAreSuppressed) {
  std::vector<Wave> waves;
  for (int32_t i = 0; i < 10; ++i) waves.push_back({100 + 104 * i, 1000.0 + i});
  std::vector<Wave> with_echo = waves;
  with_echo.insert(with_echo.begin() + 5, {100 + 104 * 4 + 25, 900});
  const Indices peaks = find_r_peaks(signal_with(1300, waves), k_fs, 26);
  ASSERT_EQ(peaks.size(), 10u);
  EXPECT_EQ(find_r_peaks(signal_with(1300, with_echo), k_fs, 26), peaks);
  with_echo[5].at += 1;
  EXPECT_EQ(find_r_peaks(signal_with(1300, with_echo), k_fs, 26).size(), 11u);
}

// Peaks of one height have no spread, and nothing has a z-score; the mean of three times 0.1 is
// not 0.1, and that must not make a spread either.
TEST(RPeaks, PeaksOfIdenticalHeightSelectNothing) {
  for (const double height : {1000.0, 0.1, 0.7}) {
    std::vector<Wave> waves;
    for (int32_t i = 0; i < 10; ++i) waves.push_back({100 + 104 * i, height});
    EXPECT_TRUE(find_r_peaks(signal_with(1300, waves), k_fs, 26).empty()) << height;
    waves[3].height *= 1.001;
    EXPECT_EQ(find_r_peaks(signal_with(1300, waves), k_fs, 26).size(), 10u) << height;
  }
}

TEST(RPeaks, ASinglePeakSelectsNothing) {
  EXPECT_TRUE(find_r_peaks(signal_with(300, {{150, 1000}}), k_fs, 26).empty());
}

// 1300 samples expect ceil(10 / 3) = 4 peaks above the threshold, which a single artefact has
// driven up so far that it alone is above. Then the robust score decides: the small waves have the
// median 12 and the MAD 1.
TEST(RPeaks, TooFewAboveTheThresholdAreSelectedByTheirRobustScore) {
  std::vector<Wave> waves;
  for (int32_t i = 0; i < 45; ++i) waves.push_back({40 + 28 * i, 10.0 + i % 5});
  const auto height_of_score = [](double score) { return 12 + score / 0.6745; };
  waves[5].height = 1000;                 // the artefact; far beyond 7
  waves[11].height = height_of_score(4);  // these two are selected
  waves[17].height = height_of_score(6.9);
  waves[23].height = height_of_score(7.1);  // too far out
  waves[29].height = height_of_score(2.9);  // not far enough
  EXPECT_EQ(find_r_peaks(signal_with(1300, waves), k_fs, 26),
            (Indices{waves[11].at, waves[17].at}));
}

// Exactly as many as expected above the threshold is enough.
TEST(RPeaks, OnePeakPerThreeSecondsIsEnough) {
  std::vector<Wave> waves;
  for (int32_t i = 0; i < 4; ++i) waves.push_back({100 + 300 * i, 1000.0 + i});
  EXPECT_EQ(find_r_peaks(signal_with(1300, waves), k_fs, 26).size(), 4u);
  // At 1170 samples 3 are expected, at 1171 already 4: then three high ones are too few, and
  // among themselves they do not stand out.
  waves.pop_back();
  EXPECT_EQ(find_r_peaks(signal_with(1170, waves), k_fs, 26).size(), 3u);
  EXPECT_TRUE(find_r_peaks(signal_with(1171, waves), k_fs, 26).empty());
}

// A peak of 1e6 among 80 of 1000 has a z-score of 8.9 and is no beat.
TEST(RPeaks, OutlyingHeightsAreDropped) {
  std::vector<Wave> waves;
  for (int32_t i = 0; i < 81; ++i) waves.push_back({100 + 104 * i, 1e5 + i});
  waves[40].height = 2e5;
  const Indices peaks = find_r_peaks(signal_with(8600, waves), k_fs, 26);
  EXPECT_EQ(peaks.size(), 80u);
  EXPECT_EQ(std::count(peaks.begin(), peaks.end(), waves[40].at), 0);
}

TEST(RPeaks, HostileArgumentsAreHarmless) {
  const std::vector<double> ecg = synthetic::make_ecg({.seconds = 20});
  for (const double fs : {0.0, -130.0, 1e-300, 1e300, 4.0, k_nan, k_inf}) {
    for (const int32_t bpm : {300, 0, -1, 1, std::numeric_limits<int32_t>::min(),
                              std::numeric_limits<int32_t>::max()}) {
      EXPECT_EQ(detect_rr_intervals(ecg, bpm, fs).size(),
                plain::detect_rr_intervals(ecg, bpm, fs).size())
          << fs << " " << bpm;
    }
  }
}

TEST(RPeaks, SamplesThatAreNotFiniteGiveNothing) {
  for (const double bad : {k_nan, k_inf, -k_inf}) {
    std::vector<double> ecg = synthetic::make_ecg({.seconds = 60});
    ecg[4000] = bad;
    EXPECT_TRUE(rr_of(ecg).empty());
    std::vector<double> filtered = bandpass_filtfilt(synthetic::make_ecg({.seconds = 60}));
    filtered[4000] = bad;
    EXPECT_EQ(find_r_peaks(filtered, k_fs, 26), plain::find_r_peaks(filtered, k_fs, 26));
  }
}

// Signals of every kind against the direct transcription of the definitions.
TEST(RPeaks, EqualThePlainFormOnRandomSignals) {
  synthetic::Noise noise(17);
  for (int round = 0; round < 150; ++round) {
    synthetic::EcgSettings settings{.seconds = 1 + 40 * noise.uniform(),
                                    .noise_uv = 200 * noise.uniform() * noise.uniform(),
                                    .mean_rr = 0.4 + noise.uniform(),
                                    .scale = round % 2 == 0 ? 1.0 : -1.0,
                                    .seed = noise.bits()};
    std::vector<double> ecg = synthetic::make_ecg(settings);
    for (double& value : ecg) {
      if (round % 3 == 0) value = std::round(value);
      if (round % 5 == 0) value = std::clamp(value, -100.0, 300.0);
    }
    const std::size_t gap = noise.bits() % ecg.size();
    if (round % 7 == 0) std::fill(ecg.begin() + static_cast<std::ptrdiff_t>(gap), ecg.end(), 0.0);
    ASSERT_EQ(rr_of(ecg), plain::detect_rr_intervals(ecg, 300, k_fs)) << round;
  }
}

TEST(RPeaks, EqualThePlainFormOnALongRecording) {
  const std::vector<double> ecg = synthetic::make_ecg({.seconds = 1000, .noise_uv = 60});
  EXPECT_EQ(rr_of(ecg), plain::detect_rr_intervals(ecg, 300, k_fs));
}

}  // namespace
}  // namespace tvn
