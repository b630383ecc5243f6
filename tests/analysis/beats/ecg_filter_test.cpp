#include "analysis/beats/ecg_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>

#include "tests/analysis/plain_forms.h"
#include "tests/analysis/reference_data.h"
#include "tests/analysis/synthetic_ecg.h"

namespace tvn {
namespace {

// Gain of the cascade at a frequency, from its transfer function.
double gain_at(double hertz) {
  const std::complex<double> z = std::polar(1.0, 2 * 3.14159265358979323846 * hertz / 130);
  std::complex<double> gain = 1;
  for (const FilterSection& s : ecg_bandpass_sos) {
    gain *= (s.b0 + s.b1 / z + s.b2 / (z * z)) / (1.0 + s.a1 / z + s.a2 / (z * z));
  }
  return std::abs(gain);
}

TEST(EcgFilter, IsAButterworthBandPassOf5To49Hertz) {
  EXPECT_NEAR(gain_at(5), std::sqrt(0.5), 1e-9);
  EXPECT_NEAR(gain_at(49), std::sqrt(0.5), 1e-9);
  EXPECT_NEAR(gain_at(15.8), 1, 1e-3);
  EXPECT_LT(gain_at(0), 1e-15);
  EXPECT_LT(gain_at(1), 0.01);
}

TEST(EcgFilter, SosFilterContinuesWhereItStopped) {
  const std::vector<double> x = synthetic::make_ecg({.seconds = 3});
  SectionStates zi1{0.1, -0.2, 0.3, 0.4}, zi2{1, 2, 3, -4};
  SectionStates part1 = zi1, part2 = zi2;
  const std::vector<double> whole = sos_filter(x, zi1, zi2);
  const std::span<const double> samples(x);
  std::vector<double> parts = sos_filter(samples.first(100), part1, part2);
  const std::vector<double> rest = sos_filter(samples.subspan(100), part1, part2);
  parts.insert(parts.end(), rest.begin(), rest.end());
  EXPECT_EQ(parts, whole);
  EXPECT_EQ(part1, zi1);
  EXPECT_EQ(part2, zi2);
}

TEST(EcgFilter, SosFilterFollowsTheDifferenceEquations) {
  const double x[] = {1, -2, 0.5, 3};
  SectionStates zi1{0.1, -0.2, 0.3, 0.4}, zi2{1, 2, 3, -4};
  SectionStates s1 = zi1, s2 = zi2;
  const std::vector<double> y = sos_filter(x, zi1, zi2);
  ASSERT_EQ(y.size(), 4u);
  for (std::size_t i = 0; i < 4; ++i) {
    double value = x[i];
    for (std::size_t k = 0; k < k_filter_sections; ++k) {
      const FilterSection& s = ecg_bandpass_sos[k];
      const double out = s.b0 * value + s1[k];
      s1[k] = s.b1 * value - s.a1 * out + s2[k];
      s2[k] = s.b2 * value - s.a2 * out;
      value = out;
    }
    EXPECT_EQ(y[i], value) << i;
  }
  EXPECT_EQ(zi1, s1);
  EXPECT_EQ(zi2, s2);
}

TEST(EcgFilter, AgreesWithSciPy) {
  for (const char* name : {"clean", "noisy", "inverted", "clipped", "gappy", "noise_only"}) {
    SCOPED_TRACE(name);
    reference::Blocks data = reference::read(name);
    const std::vector<double> y = bandpass_filtfilt(data["ecg"]);
    ASSERT_EQ(y.size(), data["ecg"].size());
    const auto step = static_cast<std::size_t>(data["every"][0]);
    EXPECT_TRUE(reference::agree(reference::every(y, step), data["filtered"]));
    EXPECT_TRUE(reference::agree(std::span(y).last(30), data["filtered_tail"]));
  }
}

// Up to 27 samples the padding is one less than the samples; up to 28 the tail would read before
// the first sample.
TEST(EcgFilter, ShortSignalsAgreeWithSciPy) {
  reference::Blocks data = reference::read("short");
  for (const double length : data["lengths"]) {
    const std::string suffix = std::to_string(static_cast<int>(length));
    SCOPED_TRACE(suffix);
    // A single sample is a constant to the filter and leaves only rounding: a scale in microvolts.
    const double scale = length == 1 ? 1e-6 : 0;
    EXPECT_TRUE(reference::agree(bandpass_filtfilt(data["ecg_" + suffix]),
                                 data["filtered_" + suffix], scale));
  }
}

TEST(EcgFilter, EmptyInEmptyOut) {
  EXPECT_TRUE(bandpass_filtfilt({}).empty());
}

TEST(EcgFilter, ConstantBecomesZero) {
  for (const double y : bandpass_filtfilt(std::vector<double>(400, 1234.0))) {
    EXPECT_NEAR(y, 0, 1e-9);
  }
}

// Long enough that the stretches are used; the last bit must not depend on them.
TEST(EcgFilter, LongSignalsAreFilteredAsSerially) {
  for (const double seconds : {62.0, 150.3, 901.77}) {
    const std::vector<double> ecg = synthetic::make_ecg({.seconds = seconds, .seed = 7});
    EXPECT_EQ(bandpass_filtfilt(ecg), plain::bandpass_filtfilt(ecg)) << seconds;
  }
}

// In an exactly constant stretch the states fade through the denormal numbers and need not meet,
// so that the stretches do not join and the serial pass has to step in.
TEST(EcgFilter, LongFlatSignalsAreFilteredAsSerially) {
  std::vector<double> ecg(60000, 0.0);
  const std::vector<double> beat = synthetic::make_ecg({.seconds = 1});
  std::copy(beat.begin(), beat.end(), ecg.begin() + 20000);
  EXPECT_EQ(bandpass_filtfilt(ecg), plain::bandpass_filtfilt(ecg));
  std::fill(ecg.begin(), ecg.end(), -3.7);
  EXPECT_EQ(bandpass_filtfilt(ecg), plain::bandpass_filtfilt(ecg));
}

TEST(EcgFilter, SamplesThatAreNotFiniteMakeEverythingNaN) {
  for (const double bad : {std::numeric_limits<double>::quiet_NaN(),
                           std::numeric_limits<double>::infinity(), 1.7e308}) {
    for (const std::size_t n : {40u, 30000u}) {
      std::vector<double> ecg = synthetic::make_ecg({.seconds = 300});
      ecg.resize(n);
      for (const std::size_t at : {std::size_t{0}, n / 2, n - 1}) {
        std::vector<double> broken = ecg;
        broken[at] = bad;
        if (bad < 1e308 || at + 1 < n) broken[std::min(at + 1, n - 1)] = -bad;
        const std::vector<double> y = bandpass_filtfilt(broken);
        ASSERT_EQ(y.size(), n);
        EXPECT_TRUE(std::all_of(y.begin(), y.end(), [](double v) { return std::isnan(v); }))
            << bad << " at " << at << " of " << n;
      }
    }
  }
}

}  // namespace
}  // namespace tvn
