#include "analysis/tfr/kernel.h"

#include <cmath>

namespace tvn {
namespace {

constexpr double k_pi = 3.141592653589793;
constexpr double k_width = k_tfr_kernel_points;
// What lies within a fifth of the grid's rate is exact to 1e-11, within a quarter to 1e-9; from
// there on the error grows, to 1e-3 at 0.4, where the wavelets leave less than a millionth.
constexpr double k_exact_band = 0.25;
constexpr double k_shape = k_pi * k_width * (1 - k_exact_band);

// Modified Bessel function of order 0 by its power series. (std::cyl_bessel_i is missing from one
// of the standard libraries.)
double bessel_i0(double x) {
  const double quarter = x * x / 4;
  double term = 1, sum = 1;
  for (double k = 1; term > sum * 1e-17; ++k) {
    term *= quarter / (k * k);
    sum += term;
  }
  return sum;
}

}  // namespace

double tfr_kernel(double x) {
  static const double scale = 1 / bessel_i0(k_shape);
  const double relative = 2 * x / k_width;
  if (!(std::fabs(relative) <= 1)) return 0;
  return scale * bessel_i0(k_shape * std::sqrt(1 - relative * relative));
}

double tfr_kernel_transform(double frequency) {
  static const double scale = k_width / bessel_i0(k_shape);
  const double turned = k_pi * k_width * frequency;
  const double root = std::sqrt(k_shape * k_shape - turned * turned);
  return scale * std::sinh(root) / root;
}

std::vector<double> tfr_inverse_kernel(std::size_t n) {
  std::vector<double> inverse(n);
  for (std::size_t k = 0; k <= n / 2; ++k) {
    const double value = 1 / tfr_kernel_transform(static_cast<double>(k) / static_cast<double>(n));
    inverse[n / 2 - k] = value;
    if (k < n / 2) inverse[n / 2 + k] = value;
  }
  return inverse;
}

}  // namespace tvn
