#include "analysis/tfr/jump.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <utility>
#include <vector>

namespace tvn {
namespace {

using Complex = std::complex<double>;

// The wavelet w' without an end, at m samples.
Complex endless_wavelet(const MorletShape& shape, double fs, double m) {
  const double u = m / (shape.sigma * fs);
  return shape.scale * std::exp(-u * u / 2) *
         (std::polar(1.0, shape.angular_frequency * m / fs) - shape.correction);
}

// A level that begins at `at` bends the response where the wavelet's end has passed it, one that
// ends as far before it.
TEST(WaveletEndPasses, WithinTheSignalAndSomewhatBeside) {
  const MorletShape shape = morlet_shape(130, 0.1, 3);
  const auto end = static_cast<std::int64_t>(shape.last_point);
  for (const auto& [bend, passes] : {std::pair<std::int64_t, bool>(-51, false),
                                     {-50, true},
                                     {0, true},
                                     {1049, true},
                                     {1050, false}}) {
    EXPECT_EQ(wavelet_end_passes(shape, {bend - end, 1, false}, 1000, 50), passes) << bend;
    EXPECT_EQ(wavelet_end_passes(shape, {bend + end, 1, true}, 1000, 50), passes) << bend;
  }
}

TEST(JumpBehindWavelet, IsTheSumOfWhatIsCutOff) {
  for (const double f : {0.03, 0.1, 0.1795}) {
    for (const double cycles : {3.0, 10.0}) {
      const MorletShape shape = morlet_shape(130, f, cycles);
      const auto end = static_cast<uint32_t>(shape.last_point);
      const std::vector<uint32_t> columns = {0,        end,      end + 1,       end + 28, end + 55,
                                             end + 83, end + 90, 13 * end / 10, 2 * end,  9 * end};
      const Carrier carrier{0.011, 0.7};
      SplitComplex taken{std::vector<double>(columns.size()), std::vector<double>(columns.size())};
      ASSERT_EQ(add_jump_behind_wavelet(shape, 130, {0, -4, false}, carrier, columns, taken), 2u);
      const double size = 4 * shape.scale * std::exp(-12.5) * shape.sigma * 130;
      Complex sum = 0;
      uint32_t m = end;
      for (std::size_t i = 2; i < columns.size(); ++i) {
        while (m < columns[i]) sum += endless_wavelet(shape, 130, ++m);
        const Complex wanted = 4.0 * sum * std::polar(1.0, -(0.011 * columns[i] + 0.7));
        ASSERT_NEAR(std::abs(Complex(taken.re[i], taken.im[i]) - wanted), 0, 1e-6 * size) << i;
      }
    }
  }
}

// Time reversed: a level that ends behind the columns, seen by the wavelet's other end.
TEST(JumpBehindWavelet, IsTheConjugateForALevelThatEnds) {
  const MorletShape shape = morlet_shape(130, 0.1, 10);
  const auto end = static_cast<std::int64_t>(shape.last_point);
  const std::int64_t at = 40000;
  std::vector<uint32_t> columns;
  for (const std::int64_t distance : {2 * end, end + 700, end + 90, end + 1, end, end - 5}) {
    columns.push_back(static_cast<uint32_t>(at - distance));
  }
  SplitComplex taken{std::vector<double>(columns.size(), 0.5), std::vector<double>(columns.size())};
  ASSERT_EQ(add_jump_behind_wavelet(shape, 130, {at, 3, true}, {0.011, 0.7}, columns, taken), 0u);
  const double size = 3 * shape.scale * std::exp(-12.5) * shape.sigma * 130;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    Complex sum = 0;
    for (std::int64_t m = end + 1; m <= at - columns[i]; ++m) {
      sum += std::conj(endless_wavelet(shape, 130, static_cast<double>(m)));
    }
    const Complex wanted = 0.5 - 3.0 * sum * std::polar(1.0, -(0.011 * columns[i] + 0.7));
    ASSERT_NEAR(std::abs(Complex(taken.re[i], taken.im[i]) - wanted), 0, 1e-6 * size) << i;
  }
}

}  // namespace
}  // namespace tvn
