// Sums over the end of a Gaussian wave, two at a time.
//
// The sum over m > M of exp(-(m h)^2 / 2 + i v m h) begins half a step behind M, at T = (M + 1/2)
// h. As an integral from T on it is exp(-T^2 / 2 + i v T) E(z) / h with z = T - i v and E(z) =
// integral over s > 0 of exp(-z s - s^2 / 2), Mills' ratio, whose continued fraction 1 / (z + 1 /
// (z + 2 / (z + ...))) converges the faster the larger |z| is (Abramowitz and Stegun, 26.2.14).
// Four levels, (z^3 + 5 z) / (z^4 + 6 z^2 + 3), are exact to 5e-9 for T >= 5 and |v| >= 10; nearer,
// twelve levels leave 3e-11, and from |v| >= 30 on two, z / (z^2 + 1), are exact to 3e-6, when the
// sum itself is below 1e-7 of the whole. That the sum is no integral is made good by the factor 1 -
// (z h)^2 / 24 of the midpoint rule.
#pragma once

#include <array>
#include <cstddef>

#include "analysis/tfr/lanes.h"

namespace tvn {

struct ComplexLanes {
  Lanes re, im;
};

inline ComplexLanes operator*(const ComplexLanes& a, const ComplexLanes& b) {
  return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

// E(z) = z P(z^2) / Q(z^2): a convergent of the continued fraction. The coefficients of P and Q run
// from the highest power down; the highest one is 1.
struct TwelveLevels {
  static constexpr std::array<double, 5> p = {65, 1422, 12558, 41685, 35685};
  static constexpr std::array<double, 6> q = {66, 1485, 13860, 51975, 62370, 10395};
};
struct FourLevels {
  static constexpr std::array<double, 1> p = {5};
  static constexpr std::array<double, 2> q = {6, 3};
};
struct TwoLevels {
  static constexpr std::array<double, 0> p = {};
  static constexpr std::array<double, 1> q = {1};
};

template <std::size_t n>
inline ComplexLanes polynomial(const std::array<double, n>& coefficients, const ComplexLanes& s) {
  ComplexLanes sum{s.re + coefficients[0], s.im};
  for (std::size_t k = 1; k < n; ++k) {
    sum = sum * s;
    sum.re += coefficients[k];
  }
  return sum;
}

// wave * E(end - i v) * (1 - (z h)^2 / 24): the sum, when wave = exp(-end^2 / 2 + i v end) / h.
template <typename Levels>
inline ComplexLanes gaussian_end_sum(const ComplexLanes& wave, Lanes end, Lanes v, double h) {
  const ComplexLanes s{end * end - v * v, -2 * end * v};
  const ComplexLanes q = polynomial(Levels::q, s);
  const double midpoint = h * h / 24;
  ComplexLanes top =
      wave * ComplexLanes{end, -v} * ComplexLanes{1 - midpoint * s.re, -midpoint * s.im};
  if constexpr (Levels::p.size() > 0) top = top * polynomial(Levels::p, s);
  const Lanes by_size = 1 / (q.re * q.re + q.im * q.im);
  return {(top.re * q.re + top.im * q.im) * by_size, (top.im * q.re - top.re * q.im) * by_size};
}

}  // namespace tvn
