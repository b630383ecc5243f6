#include "analysis/tfr/definition.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "analysis/tfr/scales.h"
#include "analysis/tfr/signal.h"
#include "tests/analysis/reference_data.h"
#include "tests/analysis/synthetic_ecg.h"
#include "tests/analysis/tfr/plain_tfr.h"

namespace tvn {
namespace {

using Complex = std::complex<double>;
using Spectrum = std::vector<Complex>;

constexpr double k_pi = 3.14159265358979323846;
const double k_nan = std::numeric_limits<double>::quiet_NaN();
const double k_inf = std::numeric_limits<double>::infinity();

TEST(TfrFrequencies, RunFrom002To01795) {
  const std::vector<double> f = tfr_frequencies();
  ASSERT_EQ(f.size(), 320u);
  for (std::size_t i = 0; i < f.size(); ++i) {
    EXPECT_EQ(f[i], std::round(200 + 5.0 * static_cast<double>(i)) / 10000);
  }
}

TEST(TfrExpectedRow, IsTheNearestToTheBreathingFrequency) {
  const std::vector<double> f = tfr_frequencies();
  EXPECT_EQ(tfr_expected_row(f, 10), 160);
  EXPECT_EQ(tfr_expected_row(f, 16), 85);
  EXPECT_EQ(tfr_expected_row(f, 12), 127);  // 0.0833 Hz, between 0.0830 and 0.0835
  EXPECT_EQ(tfr_expected_row(f, 2), 319);
  EXPECT_EQ(tfr_expected_row(f, 300), 0);
  EXPECT_EQ(tfr_expected_row(std::vector<double>{1, 1.5, 2.5}, 0.5), 1);  // equally near
}

TEST(MakeMorlet, TheLongestReaches398SecondsToEitherSide) {
  EXPECT_EQ(make_morlet(130, 0.02, 10).size(), 2 * 51725u + 1);
}

TEST(MakeMorlet, HasItsFormAndAnEnergyOfTwo) {
  for (const double cycles : {3.0, 10.0}) {
    const double f = 0.11, sigma = cycles / (2 * k_pi * f);
    const Spectrum w = make_morlet(130, f, cycles);
    const std::size_t middle = w.size() / 2;
    double energy = 0;
    for (const Complex& value : w) energy += std::norm(value);
    EXPECT_NEAR(energy, 2, 1e-12);
    EXPECT_LT(static_cast<double>(middle), 5 * sigma * 130);
    EXPECT_GE(static_cast<double>(middle + 1), 5 * sigma * 130);
    const double correction = std::exp(-cycles * cycles / 2);
    const double scale = w[middle].real() / (1 - correction);
    for (std::size_t i = 0; i < w.size(); ++i) {
      const double t = (static_cast<double>(i) - static_cast<double>(middle)) / 130;
      const Complex wanted = scale * std::exp(-t * t / (2 * sigma * sigma)) *
                             (std::polar(1.0, 2 * k_pi * f * t) - correction);
      ASSERT_NEAR(std::abs(w[i] - wanted), 0, 1e-12);
      ASSERT_EQ(w[i].real(), w[w.size() - 1 - i].real());
      ASSERT_EQ(w[i].imag(), -w[w.size() - 1 - i].imag());
    }
  }
}

TEST(MakeMorlet, NothingForSenselessArguments) {
  for (const double bad : {0.0, -1.0, k_nan, k_inf}) {
    EXPECT_TRUE(make_morlet(bad, 0.1, 3).empty());
    EXPECT_TRUE(make_morlet(130, bad, 3).empty());
    EXPECT_TRUE(make_morlet(130, 0.1, bad).empty());
  }
  EXPECT_TRUE(make_morlet(1e12, 1e-9, 10).empty());  // would not fit any memory
}

Spectrum noise_of(std::size_t n) {
  synthetic::Noise noise(n);
  Spectrum data(n);
  for (Complex& value : data) value = {noise.normal(), noise.normal()};
  return data;
}

TEST(FftInPlace, IsTheDiscreteFourierTransform) {
  for (const std::size_t n : {2u, 4u, 8u, 64u, 256u}) {
    const Spectrum data = noise_of(n);
    Spectrum got = data;
    fft_in_place(got, false);
    for (std::size_t j = 0; j < n; ++j) {
      Complex wanted = 0;
      for (std::size_t k = 0; k < n; ++k) {
        wanted += data[k] * std::polar(1.0, -2 * k_pi * static_cast<double>(j * k % n) /
                                                static_cast<double>(n));
      }
      ASSERT_NEAR(std::abs(got[j] - wanted), 0, 1e-11) << n;
    }
    fft_in_place(got, true);
    for (std::size_t k = 0; k < n; ++k) ASSERT_NEAR(std::abs(got[k] - data[k]), 0, 1e-12);
  }
}

TEST(FftInPlace, LeavesOtherLengthsAlone) {
  for (const std::size_t n : {0u, 1u, 3u, 12u}) {
    Spectrum data = noise_of(n);
    fft_in_place(data, false);
    EXPECT_EQ(data, noise_of(n));
  }
}

std::vector<double> power_of(const std::vector<double>& signal, double freq, double cycles) {
  const Spectrum wavelet = make_morlet(130, freq, cycles);
  Spectrum spectrum(signal.begin(), signal.end());
  std::size_t n_fft = 2;
  while (n_fft < signal.size() + wavelet.size() - 1) n_fft *= 2;
  spectrum.resize(n_fft);
  fft_in_place(spectrum, false);
  return wavelet_power(spectrum, signal.size(), wavelet, n_fft);
}

// The wavelet c g(t) (exp(i w t) - C) answers A cos(w t) with A / 2 times its spectrum at w, the
// integral c sigma sqrt(2 pi) (1 - C exp(-n^2 / 2)), and, far weaker, at -w. With an energy of 2,
// c^2 = 2 / (sigma fs sqrt(pi) (1 + C^2 - 2 C exp(-n^2 / 4))).
TEST(WaveletPower, OfASinusoidIsTheClosedForm) {
  for (const double cycles : {3.0, 10.0}) {
    const double f = 0.1, amplitude = 4, sigma = cycles / (2 * k_pi * f);
    std::vector<double> signal(static_cast<std::size_t>(300 * 130));
    for (std::size_t i = 0; i < signal.size(); ++i) {
      signal[i] = amplitude * std::cos(2 * k_pi * f * static_cast<double>(i) / 130 + 0.4);
    }
    const double n2 = cycles * cycles, c = std::exp(-n2 / 2);
    const double response = sigma * 130 * std::sqrt(2 * k_pi) * (1 - c * std::exp(-n2 / 2));
    const double energy = sigma * 130 * std::sqrt(k_pi) * (1 + c * c - 2 * c * std::exp(-n2 / 4));
    const double wanted = std::pow(amplitude / 2 * response, 2) * 2 / energy;
    const std::vector<double> power = power_of(signal, f, cycles);
    ASSERT_EQ(power.size(), signal.size());
    // The wave at -w turns the magnitude by C exp(-n^2 / 2) at most.
    const double tolerance = 2 * c * std::exp(-n2 / 2) + 1e-5;
    for (std::size_t i = 85 * 130; i < 215 * 130; i += 97) {
      ASSERT_NEAR(power[i] / wanted, 1, tolerance) << cycles;
    }
  }
}

TEST(WaveletPower, OfAConstantIsNextToNothing) {
  const std::vector<double> signal(400 * 130, 70.0);
  for (const double cycles : {3.0, 10.0}) {
    const std::vector<double> power = power_of(signal, 0.1, cycles);
    // A sinusoid of this amplitude has a power of some million.
    for (std::size_t i = 100 * 130; i < 300 * 130; i += 97) EXPECT_LT(power[i], 1e-4);
  }
}

// The middle of the wavelet stands on the sample: an impulse gives the wavelet itself.
TEST(WaveletPower, IsCentred) {
  std::vector<double> signal(101 * 130);
  signal[6000] = 1;
  const Spectrum wavelet = make_morlet(130, 0.15, 3);
  const std::vector<double> power = power_of(signal, 0.15, 3);
  for (std::size_t i = 0; i < wavelet.size(); ++i) {
    ASSERT_NEAR(power[6000 + i - wavelet.size() / 2], std::norm(wavelet[i]), 1e-12);
  }
}

TEST(TfrRows, AgreeWithNumPyAndSciPy) {
  reference::Blocks data = reference::read("tfr");
  const plain::TfrRows tfr(static_cast<std::size_t>(data["n"][0]), data["rr"], data["cycle"][0],
                           130);
  const std::vector<double> f = tfr_frequencies();
  for (const double row : data["rows"]) {
    for (const int cycles : {3, 10}) {
      const std::string name =
          "tfr" + std::to_string(cycles) + "_" + std::to_string(static_cast<int>(row));
      const std::vector<double> power = tfr.row(f[static_cast<std::size_t>(row)], cycles);
      EXPECT_TRUE(reference::agree(reference::every(power, 61), data.at(name))) << name;
    }
  }
}

std::vector<double> some_intervals(std::size_t count) {
  synthetic::Noise noise(3);
  std::vector<double> rr(count);
  for (std::size_t i = 0; i < count; ++i) {
    rr[i] = 0.85 + 0.06 * std::sin(static_cast<double>(i) / 2) + 0.01 * noise.normal();
  }
  return rr;
}

// A low rate keeps the 1280 transforms short.
TEST(ComputeTfr, PutsRowsScalesAndCyclesTogether) {
  const double fs = 4, cycle = 11;
  const std::vector<double> ecg(250), rr = some_intervals(72);
  const TfrResult result = compute_tfr(ecg, rr, cycle, fs);
  ASSERT_TRUE(result.valid);
  EXPECT_EQ(result.rows, 320);
  EXPECT_EQ(result.cols, 250);
  EXPECT_EQ(result.expected_row, 142);  // 0.0909 Hz
  ASSERT_EQ(result.tfr3.size(), 320u * 250u);
  ASSERT_EQ(result.tfr10.size(), 320u * 250u);
  const plain::TfrRows rows(250, rr, cycle, fs);
  const std::vector<double> f = tfr_frequencies();
  for (const std::size_t row : {0u, 142u, 319u}) {
    const std::vector<double> row3 = rows.row(f[row], 3), row10 = rows.row(f[row], 10);
    for (std::size_t t = 0; t < 250; ++t) {
      ASSERT_EQ(result.tfr3[row * 250 + t], static_cast<float>(row3[t]));
      ASSERT_EQ(result.tfr10[row * 250 + t], static_cast<float>(row10[t]));
    }
  }
  const auto expect_scale = [](std::span<const float> row, double centre, double centre_means,
                               double half_range, double half_range_deviations) {
    double sum = 0, squares = 0;
    for (const float value : row) {
      const auto power = static_cast<double>(value);
      sum += power;
      squares += power * power;
    }
    const double mean = sum / 250, sd = std::sqrt(squares / 250 - mean * mean);
    EXPECT_NEAR(centre, centre_means * mean, 1e-9 * mean);
    EXPECT_NEAR(half_range, half_range_deviations * sd, 1e-9 * mean);
  };
  const auto row3 = std::span(result.tfr3).subspan(142 * 250, 250);
  const auto row10 = std::span(result.tfr10).subspan(142 * 250, 250);
  expect_scale(row3, result.tfr3_centre, 2, result.tfr3_half_range, 2);
  expect_scale(row10, result.tfr10_centre, 1, result.tfr10_half_range, 1.5);
  double logs = 0;
  for (std::size_t t = 0; t < 44; ++t) logs += std::log(static_cast<double>(row10[t]));
  ASSERT_EQ(result.cycle_log_power.size(), 5u);
  EXPECT_NEAR(result.cycle_log_power[0], logs / 44, 1e-12);
}

TEST(ComputeTfr, RefusesWhatIsTooShort) {
  const std::vector<double> rr = some_intervals(20);
  const auto refused = [](std::size_t n, const std::vector<double>& intervals, double cycle,
                          double fs) {
    const TfrResult result = compute_tfr(std::vector<double>(n), intervals, cycle, fs);
    return !result.valid && result.tfr3.empty() && result.tfr10.empty() && result.rows == 0 &&
           result.cols == 0 && result.cycle_log_power.empty();
  };
  EXPECT_TRUE(refused(63, rr, 16, 4));
  EXPECT_TRUE(refused(250, {0.8, 0.9}, 16, 4));
  EXPECT_TRUE(refused(0, rr, 16, 4));
  for (const double bad : {0.0, -1.0, k_nan, k_inf}) {
    EXPECT_TRUE(refused(250, rr, bad, 4));
    EXPECT_TRUE(refused(250, rr, 16, bad));
  }
}

TEST(TfrPossible, ComparesWithTheTruncatedCycle) {
  EXPECT_TRUE(tfr_possible(1430, 3, 11.0 + 0.9 / 130, 130));
  EXPECT_FALSE(tfr_possible(1429, 3, 11.0 + 0.9 / 130, 130));
  EXPECT_FALSE(tfr_possible(1430, 2, 11, 130));
  EXPECT_TRUE(tfr_possible(1430, 3, 1, 1));  // a cycle of one sample, the shortest there is
  EXPECT_FALSE(tfr_possible(1430, 3, 0.999, 1));
  EXPECT_TRUE(tfr_possible((std::size_t{1} << 31) - 1, 3, 11, 130));
  EXPECT_FALSE(tfr_possible(std::size_t{1} << 31, 3, 11, 130));
}

TEST(TfrScales, DifferByDesign) {
  const std::vector<float> row = {1, 3, 5, 7};  // mean 4, population deviation sqrt(5)
  EXPECT_DOUBLE_EQ(tfr3_scale(row).centre, 8);
  EXPECT_DOUBLE_EQ(tfr3_scale(row).half_range, 2 * std::sqrt(5.0));
  EXPECT_DOUBLE_EQ(tfr10_scale(row).centre, 4);
  EXPECT_DOUBLE_EQ(tfr10_scale(row).half_range, 1.5 * std::sqrt(5.0));
}

TEST(TfrCycleLogPower, LeavesOutNaNAndKeepsZeroFinite) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const std::vector<float> row = {1, 4, nan, 2, nan, nan, 0, 0, 99};
  const std::vector<double> got = tfr_cycle_log_power(row, std::vector<std::size_t>{0, 2, 4, 6, 8});
  ASSERT_EQ(got.size(), 4u);
  EXPECT_DOUBLE_EQ(got[0], std::log(2.0));
  EXPECT_DOUBLE_EQ(got[1], std::log(2.0));
  EXPECT_TRUE(std::isnan(got[2]));
  EXPECT_DOUBLE_EQ(got[3], std::log(1e-30));
}

}  // namespace
}  // namespace tvn
