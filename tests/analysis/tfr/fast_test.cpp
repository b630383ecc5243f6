#include "analysis/tfr/fast.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>

#include "analysis/beats/r_peaks.h"
#include "analysis/tfr/bands.h"
#include "analysis/tfr/definition.h"
#include "analysis/tfr/fft.h"
#include "analysis/tfr/jump.h"
#include "analysis/tfr/kernel.h"
#include "analysis/tfr/response.h"
#include "analysis/tfr/scales.h"
#include "analysis/tfr/signal.h"
#include "tests/analysis/synthetic_ecg.h"
#include "tests/analysis/tfr/plain_tfr.h"

namespace tvn {
namespace {

using Complex = std::complex<double>;
constexpr double k_pi = 3.14159265358979323846;

TEST(Fft, EqualsThePlainTransformBothWays) {
  for (std::size_t n = 8; n <= 8192; n *= 2) {
    synthetic::Noise noise(n);
    SplitComplex data{std::vector<double>(n), std::vector<double>(n)};
    std::vector<Complex> plain(n);
    for (std::size_t i = 0; i < n; ++i) {
      plain[i] = {noise.normal(), noise.normal()};
      data.re[i] = plain[i].real();
      data.im[i] = plain[i].imag();
    }
    Fft fft(n);
    for (const bool inverse : {false, true, false}) {
      inverse ? fft.backward(data) : fft.forward(data);
      fft_in_place(plain, inverse);
      if (inverse) {
        for (Complex& value : plain) value *= static_cast<double>(n);
      }
      for (std::size_t i = 0; i < n; ++i) {
        const double size = static_cast<double>(n) * (inverse ? static_cast<double>(n) : 1);
        ASSERT_NEAR(std::abs(plain[i] - Complex(data.re[i], data.im[i])), 0, 1e-13 * size) << n;
      }
      for (std::size_t i = 0; i < n && inverse; ++i) {
        data.re[i] /= static_cast<double>(n);
        data.im[i] /= static_cast<double>(n);
        plain[i] /= static_cast<double>(n);
      }
    }
  }
}

// A wave whose coarse values were divided by the kernel's transform comes out between the points.
TEST(TfrKernel, InterpolatesWavesOfItsBand) {
  for (const double frequency : {0.0, 0.1, -0.2, 0.25}) {
    for (const double x : {0.0, 0.3, 0.5, 0.77}) {
      Complex sum = 0;
      for (int l = -7; l <= 7; ++l) {
        sum += std::polar(tfr_kernel(x - l), 2 * k_pi * frequency * l);
      }
      sum /= tfr_kernel_transform(frequency);
      EXPECT_NEAR(std::abs(sum - std::polar(1.0, 2 * k_pi * frequency * x)), 0,
                  frequency < 0.25 ? 1e-11 : 1e-9);
    }
  }
  EXPECT_EQ(tfr_kernel(6.01), 0);
}

TEST(MorletResponse, IsTheSpectrumOfTheWavelet) {
  for (const double f : {0.02, 0.0625, 0.1, 0.1795}) {
    for (const double cycles : {3.0, 10.0}) {
      const std::vector<Complex> wavelet = make_morlet(130, f, cycles);
      const MorletShape shape = morlet_shape(130, f, cycles);
      ASSERT_EQ(static_cast<double>(wavelet.size() / 2), shape.last_point);
      const double first = -7, step = 0.0437;
      std::vector<double> response(322);
      SplitComplex behind{response, response};
      morlet_response(shape, 130, first, step, 1, response, behind);
      const double peak = shape.scale * shape.sigma * 130 * std::sqrt(2 * k_pi);
      for (std::size_t i = 0; i < response.size(); i += 3) {
        const double w = (first + step * static_cast<double>(i)) / 130;
        double wanted = 0;
        for (std::size_t m = 0; m < wavelet.size(); ++m) {
          const double k = static_cast<double>(m) - shape.last_point;
          wanted += wavelet[m].real() * std::cos(w * k) + wavelet[m].imag() * std::sin(w * k);
        }
        ASSERT_NEAR(response[i], wanted, 5e-13 * peak) << f << ' ' << cycles << ' ' << i;
      }
    }
  }
}

// The wavelet w' without an end, at m samples.
Complex endless_wavelet(const MorletShape& shape, double fs, double m) {
  const double u = m / (shape.sigma * fs);
  return shape.scale * std::exp(-u * u / 2) *
         (std::polar(1.0, shape.angular_frequency * m / fs) - shape.correction);
}

// Summed term by term as far as they show.
TEST(MorletResponse, HasTheSpectrumOfWhatIsCutOffBehind) {
  for (const double f : {0.02, 0.0625, 0.1795}) {
    for (const double cycles : {3.0, 10.0}) {
      const MorletShape shape = morlet_shape(130, f, cycles);
      const double first = -7, step = 0.0437;
      std::vector<double> response(322);
      SplitComplex behind{response, response};
      morlet_response(shape, 130, first, step, 1, response, behind);
      const double size = shape.scale * std::exp(-12.5) * shape.sigma * 130;
      for (std::size_t i = 0; i < response.size(); i += 23) {
        const double w = (first + step * static_cast<double>(i)) / 130;
        Complex wanted = 0;
        for (double m = shape.last_point + 1; m < 9 * shape.sigma * 130; ++m) {
          wanted += endless_wavelet(shape, 130, m) * std::polar(1.0, -w * m);
        }
        ASSERT_NEAR(std::abs(Complex(behind.re[i], behind.im[i]) - wanted), 0, 1e-7 * size)
            << f << ' ' << cycles << ' ' << i;
      }
    }
  }
}

TEST(TfrMatrixColumn, IsTruncatedAsWritten) {
  EXPECT_EQ(tfr_matrix_column(0, 1200, 33434), 0u);
  EXPECT_EQ(tfr_matrix_column(1, 1200, 33434), 27u);
  EXPECT_EQ(tfr_matrix_column(1199, 1200, 33434), 33406u);
  // As many columns as samples: x / W * W falls short of x for some, and that is what is shown.
  std::size_t short_by_one = 0;
  for (std::size_t x = 0; x < 1199; ++x) {
    const std::size_t column = tfr_matrix_column(x, 1199, 1199);
    EXPECT_TRUE(column == x || column + 1 == x);
    if (column + 1 == x) ++short_by_one;
  }
  EXPECT_GT(short_by_one, 0u);
}

struct Accuracy {
  std::size_t values = 0, beyond = 0;
  double worst = 0;
  void add(double got, double wanted) {
    const double error = std::fabs(got - wanted) / wanted;
    ++values;
    if (!(error <= 1e-6)) ++beyond;
    worst = std::max(worst, error);
  }
};

void expect_equal(double got, double wanted, double relative) {
  EXPECT_NEAR(got, wanted, relative * wanted);
}

// Every how many rows; scale_tolerance: relative.
void compare(std::size_t n, const std::vector<double>& rr, double cycle, double fs,
             std::size_t every, double scale_tolerance = 1e-8) {
  const TfrPictures fast = compute_tfr_pictures(n, rr, cycle, fs);
  const plain::TfrRows tfr(n, rr, cycle, fs);
  const std::vector<double> f = tfr_frequencies();
  ASSERT_TRUE(fast.valid);
  ASSERT_EQ(fast.cols, n);
  for (const TfrPicture* picture : {&fast.tfr3, &fast.tfr10}) {
    ASSERT_EQ(picture->rows, 320u);
    ASSERT_EQ(picture->width, std::min<std::size_t>(n, 1200));
    Accuracy accuracy;
    for (std::size_t row = 0; row < 320; row += every) {
      const std::vector<double> power = tfr.row(f[row], picture == &fast.tfr3 ? 3 : 10);
      for (std::size_t x = 0; x < picture->width; ++x) {
        accuracy.add(static_cast<double>(picture->values[row * picture->width + x]),
                     power[tfr_matrix_column(x, picture->width, n)]);
      }
    }
    EXPECT_LE(accuracy.worst, 1e-5);
    EXPECT_LE(static_cast<double>(accuracy.beyond), 1e-5 * static_cast<double>(accuracy.values));
  }
  const std::vector<std::size_t> boundaries = cycle_boundaries(n, cycle, fs);
  EXPECT_EQ(fast.expected_row, tfr_expected_row(f, cycle));
  const double expected = f[static_cast<std::size_t>(fast.expected_row)];
  const std::vector<double> row3 = tfr.row(expected, 3), row10 = tfr.row(expected, 10);
  const std::vector<float> stored3(row3.begin(), row3.end()), stored10(row10.begin(), row10.end());
  expect_equal(fast.tfr3_centre, tfr3_scale(stored3).centre, scale_tolerance);
  expect_equal(fast.tfr3_half_range, tfr3_scale(stored3).half_range, scale_tolerance);
  expect_equal(fast.tfr10_centre, tfr10_scale(stored10).centre, scale_tolerance);
  expect_equal(fast.tfr10_half_range, tfr10_scale(stored10).half_range, scale_tolerance);
  // Of the few columns of a very short cycle the floats' rounding does not average out.
  const double log_tolerance = cycle < 1 ? 1e-7 : 1e-8;
  const std::vector<double> logs = tfr_cycle_log_power(stored10, boundaries);
  ASSERT_EQ(fast.cycle_log_power.size(), logs.size());
  for (std::size_t k = 0; k < logs.size(); ++k) {
    EXPECT_NEAR(fast.cycle_log_power[k], logs[k], log_tolerance);
  }
}

TEST(TfrPictures, EqualTheDefinitionOnTheFirstSample) {
  const std::vector<double> ecg = plain::read_sample("Sample 1.txt", 60000);
  compare(ecg.size(), detect_rr_intervals(ecg, 300, 130), 16, 130, 29);
}

TEST(TfrPictures, EqualTheDefinitionOnTheSecondSample) {
  const std::vector<double> ecg = plain::read_sample("Sample 2.txt", 20000);
  compare(ecg.size(), detect_rr_intervals(ecg, 300, 130), 10, 130, 29);
}

// Cycles of 4 s: their 50 copies end within the reach of the longest wavelets. Fewer samples than a
// picture has columns, and beats all over the place.
TEST(TfrPictures, EqualTheDefinitionOnAShortRestlessRecording) {
  synthetic::Noise noise(8);
  std::vector<double> rr(12);
  for (double& value : rr) value = 0.5 + 0.7 * noise.uniform();
  compare(1111, rr, 4, 130, 29);
}

TEST(TfrPictures, EqualTheDefinitionAtAnotherSamplingRate) {
  synthetic::Noise noise(9);
  std::vector<double> rr(90);
  for (double& value : rr) value = 0.8 + 0.05 * noise.normal();
  compare(64 * 70, rr, 12.5, 64, 53);
}

std::vector<double> rr_series(double (*interval)(double beat)) {
  std::vector<double> rr(160);
  for (std::size_t i = 0; i < rr.size(); ++i) rr[i] = interval(static_cast<double>(i));
  return rr;
}

// Without any noise, powers of 1e-5 beside ones of 1e5.
TEST(TfrPictures, EqualTheDefinitionWhereNothingOscillates) {
  // One float of a thousand equal ones, so its rounding does not average out.
  compare(15600, rr_series([](double) { return 0.8; }), 16, 130, 41, 2e-7);
}

TEST(TfrPictures, EqualTheDefinitionForAPureSinusoid) {
  const auto sinusoid = [](double i) { return 0.8 + 0.08 * std::sin(2 * k_pi * i * 0.8 / 16); };
  compare(15600, rr_series(sinusoid), 16, 130, 41);
}

// What no wavelet of the band should let through but for the cut of its ends: steps, jumps and fast
// alternation. Relative to the strongest amplitude there is.
TEST(TfrPictures, HaveAFloorFarBelowTheStrongestAmplitude) {
  double (*const series[])(double) = {
      [](double i) { return 0.7 + 0.002 * i; },
      [](double i) { return i < 77 ? 0.7 : 0.9; },
      [](double i) { return std::fmod(i, 2) == 0 ? 0.75 : 0.85; },
      [](double i) { return i == 77 ? 0.5 : 0.8; },
  };
  for (const auto interval : series) {
    const std::vector<double> rr = rr_series(interval);
    const TfrPictures fast = compute_tfr_pictures(15600, rr, 16, 130);
    const plain::TfrRows tfr(15600, rr, 16, 130);
    const std::vector<double> f = tfr_frequencies();
    double worst = 0, strongest = 0;
    for (std::size_t row = 0; row < 320; row += 41) {
      const std::vector<double> power = tfr.row(f[row], 10);
      strongest = std::max(strongest, std::sqrt(*std::max_element(power.begin(), power.end())));
      for (std::size_t x = 0; x < 1200; ++x) {
        const double wanted = std::sqrt(power[tfr_matrix_column(x, 1200, 15600)]);
        const double got = std::sqrt(static_cast<double>(fast.tfr10.values[row * 1200 + x]));
        // Strong values differ by the rounding of the floats that they are stored as.
        if (wanted < 0.01 * strongest) worst = std::max(worst, std::fabs(got - wanted));
      }
    }
    EXPECT_LT(worst / strongest, 5e-8);
  }
}

// A first cycle that ends elsewhere than it begins: the prolonged heart rate jumps by 20 bpm where
// the recording begins, and the end of each wavelet passes the jump somewhere in the picture.
TEST(TfrPictures, EqualTheDefinitionBehindAJump) {
  synthetic::Noise noise(21);
  std::vector<double> rr(90);
  for (std::size_t i = 0; i < rr.size(); ++i) {
    rr[i] = (i < 10 ? 0.7 : 0.95) + 0.03 * noise.normal();
  }
  compare(130 * 80, rr, 16, 130, 29);
}

// Fifty copies of a short cycle end within reach of the longest wavelets, and with them the heart
// rate as a whole: the ends of some wavelets pass those places within the picture, early for the
// copies ahead and late for those behind.
class ShortCycles : public testing::TestWithParam<double> {};

TEST_P(ShortCycles, EqualTheDefinition) {
  synthetic::Noise noise(22);
  std::vector<double> rr(190);
  for (double& value : rr) value = 0.8 + 0.04 * noise.normal();
  compare(130 * 150, rr, GetParam(), 130, 7);
}

INSTANTIATE_TEST_SUITE_P(TfrPictures, ShortCycles, testing::Values(0.1, 1.0, 3.0, 4.5));

TEST(TfrPictures, OneCycleIsEnough) {
  const std::vector<double> rr = {0.9, 1.0, 0.8, 0.9, 1.1};
  EXPECT_TRUE(compute_tfr_pictures(520, rr, 4, 130).valid);
  EXPECT_EQ(compute_tfr_pictures(520, rr, 4, 130).cycle_log_power.size(), 1u);
  EXPECT_FALSE(compute_tfr_pictures(519, rr, 4, 130).valid);
}

TEST(TfrPictures, RefuseWhatTheDefinitionRefuses) {
  const std::vector<double> rr(20, 0.8);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const TfrPictures few = compute_tfr_pictures(2600, std::vector<double>{0.8, 0.9}, 10, 130);
  EXPECT_FALSE(few.valid);
  EXPECT_TRUE(few.tfr3.values.empty() && few.tfr10.values.empty() && few.cycle_log_power.empty());
  for (const double bad : {0.0, -1.0, nan, inf}) {
    EXPECT_FALSE(compute_tfr_pictures(2600, rr, bad, 130).valid);
    EXPECT_FALSE(compute_tfr_pictures(2600, rr, 10, bad).valid);
  }
}

TEST(TfrPictures, AConstantRateHasNextToNoPower) {
  const TfrPictures pictures = compute_tfr_pictures(26000, std::vector<double>(250, 0.8), 10, 130);
  ASSERT_TRUE(pictures.valid);
  // A swing of 1 bpm has a power of hundreds.
  for (const float power : pictures.tfr3.values) ASSERT_LT(power, 1e-4f);
}

TEST(TfrPictures, HostileIntervalsGiveNoNumbersButNoHarm) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  for (const double bad : {0.0, nan, inf, -0.8, 1e-320, 1e308}) {
    const TfrPictures pictures =
        compute_tfr_pictures(2600, std::vector<double>{0.8, bad, 0.9, 1.0}, 10, 130);
    EXPECT_TRUE(pictures.valid);
    EXPECT_EQ(pictures.tfr3.values.size(), 320u * 1200u);
  }
}

TEST(TfrFast, RefusesRatesThatItsGridDoesNotServe) {
  const std::vector<double> rr(100, 0.8);
  for (const double fs : {0.3, 0.5, 0.72, 9.9, 0.0, -130.0}) {
    EXPECT_FALSE(compute_tfr_pictures(2000, rr, 16, fs).valid) << fs;
  }
  EXPECT_TRUE(compute_tfr_pictures(2000, rr, 16, 10).valid);
}

}  // namespace
}  // namespace tvn
