#include "analysis/tfr/fft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <random>
#include <vector>

namespace {

using tvn::Fft;
using tvn::SplitComplex;

constexpr double k_two_pi = 6.283185307179586;

SplitComplex random_values(std::size_t n) {
  std::mt19937 random(static_cast<unsigned>(n));
  std::uniform_real_distribution<double> uniform(-1, 1);
  SplitComplex values{std::vector<double>(n), std::vector<double>(n)};
  for (std::size_t i = 0; i < n; ++i) {
    values.re[i] = uniform(random);
    values.im[i] = uniform(random);
  }
  return values;
}

// The sum over k of values[k] exp(sign 2 pi i j k / n), term by term.
std::complex<double> by_definition(const SplitComplex& values, std::size_t j, double sign) {
  const std::size_t n = values.re.size();
  std::complex<double> sum = 0;
  for (std::size_t k = 0; k < n; ++k) {
    const double angle = sign * k_two_pi * static_cast<double>(j * k % n) / static_cast<double>(n);
    sum += std::complex<double>(values.re[k], values.im[k]) * std::polar(1.0, angle);
  }
  return sum;
}

void expect_definition(const SplitComplex& values, const SplitComplex& transformed, double sign) {
  const std::size_t n = values.re.size();
  const double tolerance = 1e-15 * static_cast<double>(n);
  for (std::size_t j = 0; j < n; ++j) {
    const std::complex<double> expected = by_definition(values, j, sign);
    ASSERT_NEAR(transformed.re[j], expected.real(), tolerance) << n << " values, bin " << j;
    ASSERT_NEAR(transformed.im[j], expected.imag(), tolerance) << n << " values, bin " << j;
  }
}

// What is left of these lengths when fours are taken out is 1, 2, 3 and 6, each more than once.
class FftLength : public testing::TestWithParam<std::size_t> {};

TEST_P(FftLength, GivesTheSumsOfTheDefinitionBothWays) {
  const SplitComplex values = random_values(GetParam());
  Fft fft(GetParam());
  SplitComplex forward = values, backward = values;
  fft.forward(forward);
  fft.backward(backward);
  expect_definition(values, forward, -1);
  expect_definition(values, backward, 1);
}

INSTANTIATE_TEST_SUITE_P(Lengths, FftLength,
                         testing::Values(8, 16, 24, 32, 48, 64, 96, 128, 192, 256, 384, 768, 1536));

}  // namespace
