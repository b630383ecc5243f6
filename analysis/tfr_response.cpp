#include "analysis/tfr_response.h"

#include <algorithm>
#include <cmath>

#include "analysis/tfr_lanes.h"

namespace tvn {
namespace {

constexpr double k_pi = 3.141592653589793;
constexpr double k_two_pi = 6.283185307179586;
constexpr double k_reach_in_sigmas = 5;
// exp(-9^2 / 2) is below the rounding of the rest.
constexpr double k_gaussian_end = 9;
// A term so much weaker than the other one does not show.
constexpr double k_negligible = 1e-18;

// v at the bin `first`, and from bin to bin.
struct Axis {
  double first, step;
};

// amplitude * exp(-v^2 / 2), from the middle outwards: the ratio of neighbouring values changes by
// the same factor from bin to bin.
void add_gaussian(Axis v, double amplitude, std::span<double> response) {
  const auto n = static_cast<std::ptrdiff_t>(response.size());
  const double nearest = std::round(-v.first / v.step);
  const auto middle = static_cast<std::ptrdiff_t>(std::clamp(nearest, 0.0, double(n - 1)));
  const double at_middle = v.first + static_cast<double>(middle) * v.step;
  const double ratio_step = std::exp(-v.step * v.step);
  for (const int direction : {1, -1}) {
    const double step = direction * v.step;
    double value = amplitude * std::exp(-at_middle * at_middle / 2);
    double ratio = std::exp(-at_middle * step - step * step / 2);
    if (direction < 0) value *= ratio, ratio *= ratio_step;
    const std::ptrdiff_t start = direction > 0 ? middle : middle - 1;
    const auto count = static_cast<std::ptrdiff_t>(k_gaussian_end / v.step) + 1;
    for (std::ptrdiff_t k = 0, i = start; k < count && i >= 0 && i < n; ++k, i += direction) {
      response[static_cast<std::size_t>(i)] += value;
      value *= ratio;
      ratio *= ratio_step;
    }
  }
}

// Mills' ratio E(z) = z P(z^2) / Q(z^2): a convergent of its continued fraction. The coefficients
// of P and Q run from the highest power down; the highest one is 1.
struct TwelveLevels {
  static constexpr double p[] = {65, 1422, 12558, 41685, 35685};
  static constexpr double q[] = {66, 1485, 13860, 51975, 62370, 10395};
};
struct FourLevels {
  static constexpr double p[] = {5};
  static constexpr double q[] = {6, 3};
};
// From here on four levels are within 5e-9.
constexpr double k_near = 10;

struct ComplexLanes {
  Lanes re, im;
};

inline ComplexLanes operator*(const ComplexLanes& a, const ComplexLanes& b) {
  return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

template <std::size_t n>
inline ComplexLanes polynomial(const double (&coefficients)[n], const ComplexLanes& s) {
  ComplexLanes sum{s.re + coefficients[0], s.im};
  for (std::size_t k = 1; k < n; ++k) {
    sum = sum * s;
    sum.re += coefficients[k];
  }
  return sum;
}

struct CutTail {
  Axis v;
  double end;       // T
  double h;         // the sampling step in standard deviations
  double strength;  // 2 amplitude exp(-T^2 / 2)
};

// Subtracts strength * Re(exp(i v T) E(T - i v) (1 - (z h)^2 / 24)) from the bins [from, to), both
// even numbers.
template <typename Levels>
void subtract_cut_tail(const CutTail& tail, std::size_t from, std::size_t to,
                       std::span<double> response) {
  const Axis v = tail.v;
  const double turn = tail.end * v.step * k_lanes;
  const ComplexLanes turned{both_lanes(std::cos(turn)), both_lanes(std::sin(turn))};
  const double first = v.first + v.step * static_cast<double>(from), second = first + v.step;
  const double angle = tail.end * first, next = tail.end * second;
  ComplexLanes wave{tail.strength * Lanes{std::cos(angle), std::cos(next)},
                    tail.strength * Lanes{std::sin(angle), std::sin(next)}};
  const double midpoint = tail.h * tail.h / 24;
  Lanes distance{first, second};
  for (std::size_t i = from; i < to; i += k_lanes) {
    const ComplexLanes z{both_lanes(tail.end), -distance};
    const ComplexLanes s{tail.end * tail.end - distance * distance, -2 * tail.end * distance};
    const ComplexLanes p = polynomial(Levels::p, s), q = polynomial(Levels::q, s);
    const ComplexLanes a = wave * z * ComplexLanes{1 - midpoint * s.re, -midpoint * s.im} * p;
    const Lanes taken = (a.re * q.re + a.im * q.im) / (q.re * q.re + q.im * q.im);
    store_lanes(response.data() + i, load_lanes(response.data() + i) - taken);
    wave = wave * turned;
    distance += k_lanes * v.step;
  }
}

// The bin nearest to v, rounded to an even one within the response.
std::size_t even_bin(const Axis& axis, double v, std::size_t n) {
  const double bin = std::clamp((v - axis.first) / axis.step, 0.0, static_cast<double>(n));
  return static_cast<std::size_t>(bin / 2) * 2;
}

}  // namespace

MorletShape morlet_shape(double fs, double freq, double n_cycles) {
  const double sigma = n_cycles / (k_two_pi * freq);
  const double correction = std::exp(-n_cycles * n_cycles / 2);
  // The sum of |w|^2: g^2 is a Gaussian of sigma / sqrt(2), whose cut-off ends are below 1e-11.
  const double energy = sigma * fs * std::sqrt(k_pi) *
                        ((1 + correction * correction) * std::erf(k_reach_in_sigmas) -
                         2 * correction * std::exp(-n_cycles * n_cycles / 4));
  return {k_two_pi * freq, sigma, correction, 1 / std::sqrt(energy / 2),
          std::ceil(k_reach_in_sigmas * sigma * fs) - 1};
}

void morlet_response(const MorletShape& shape, double fs, double first, double step, double factor,
                     std::span<double> response) {
  std::fill(response.begin(), response.end(), 0.0);
  const double h = 1 / (shape.sigma * fs);
  const double end = (shape.last_point + 0.5) * h;
  const auto add = [&](double centre, double amplitude) {
    const Axis v{(first - centre) * shape.sigma, step * shape.sigma};
    add_gaussian(v, amplitude * std::sqrt(k_two_pi), response);
    const CutTail tail{v, end, h, 2 * amplitude * std::exp(-end * end / 2)};
    const std::size_t n = response.size();
    const std::size_t near = even_bin(v, -k_near, n), far = even_bin(v, k_near, n);
    subtract_cut_tail<FourLevels>(tail, 0, near, response);
    subtract_cut_tail<TwelveLevels>(tail, near, far, response);
    subtract_cut_tail<FourLevels>(tail, far, n, response);
  };
  add(shape.angular_frequency, factor * shape.scale / h);
  if (shape.correction > k_negligible) add(0, -shape.correction * factor * shape.scale / h);
}

}  // namespace tvn
