#include "analysis/tfr/response.h"

#include <algorithm>
#include <cmath>

#include "analysis/tfr/mills.h"

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

// From here on four levels of Mills' ratio are enough, and two.
constexpr double k_near = 10, k_far = 30;

struct CutEnd {
  Axis v;
  double end;       // T
  double h;         // the sampling step in standard deviations
  double strength;  // amplitude exp(-T^2 / 2)
};

// Takes twice the real part of the sum behind M from the response, and adds its conjugate to
// `behind`, for the bins [from, to), both even numbers.
template <typename Levels>
void cut_end(const CutEnd& cut, std::size_t from, std::size_t to, std::span<double> response,
             SplitComplex& behind) {
  const Axis v = cut.v;
  const double turn = cut.end * v.step * k_lanes;
  const ComplexLanes turned{both_lanes(std::cos(turn)), both_lanes(std::sin(turn))};
  const double first = v.first + v.step * static_cast<double>(from), second = first + v.step;
  const double angle = cut.end * first, next = cut.end * second;
  ComplexLanes wave{cut.strength * Lanes{std::cos(angle), std::cos(next)},
                    cut.strength * Lanes{std::sin(angle), std::sin(next)}};
  Lanes distance{first, second};
  for (std::size_t i = from; i < to; i += k_lanes) {
    const ComplexLanes sum = gaussian_end_sum<Levels>(wave, both_lanes(cut.end), distance, cut.h);
    store_lanes(response.data() + i, load_lanes(response.data() + i) - 2 * sum.re);
    store_lanes(behind.re.data() + i, load_lanes(behind.re.data() + i) + sum.re);
    store_lanes(behind.im.data() + i, load_lanes(behind.im.data() + i) - sum.im);
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
                     std::span<double> response, SplitComplex& behind) {
  std::fill(response.begin(), response.end(), 0.0);
  std::fill(behind.re.begin(), behind.re.end(), 0.0);
  std::fill(behind.im.begin(), behind.im.end(), 0.0);
  const double h = 1 / (shape.sigma * fs);
  const double end = (shape.last_point + 0.5) * h;
  const auto add = [&](double centre, double amplitude) {
    const Axis v{(first - centre) * shape.sigma, step * shape.sigma};
    add_gaussian(v, amplitude * std::sqrt(k_two_pi), response);
    const CutEnd cut{v, end, h, amplitude * std::exp(-end * end / 2)};
    const std::size_t n = response.size();
    const std::size_t bins[] = {even_bin(v, -k_far, n), even_bin(v, -k_near, n),
                                even_bin(v, k_near, n), even_bin(v, k_far, n)};
    cut_end<TwoLevels>(cut, 0, bins[0], response, behind);
    cut_end<FourLevels>(cut, bins[0], bins[1], response, behind);
    cut_end<TwelveLevels>(cut, bins[1], bins[2], response, behind);
    cut_end<FourLevels>(cut, bins[2], bins[3], response, behind);
    cut_end<TwoLevels>(cut, bins[3], n, response, behind);
  };
  add(shape.angular_frequency, factor * shape.scale / h);
  if (shape.correction > k_negligible) add(0, -shape.correction * factor * shape.scale / h);
}

}  // namespace tvn
