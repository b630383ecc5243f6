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

// Subtracts amplitude * 2 Re(exp(-T^2/2 + i v T) E(T - i v) (1 - (z h)^2 / 24)).
void subtract_cut_tail(Axis v, double end, double h, double amplitude, std::span<double> response) {
  const double strength = 2 * amplitude * std::exp(-end * end / 2);
  const double turn = end * v.step * k_lanes;
  const Lanes turn_re = both_lanes(std::cos(turn)), turn_im = both_lanes(std::sin(turn));
  const double angle = end * v.first, next = end * (v.first + v.step);
  Lanes wave_re = strength * Lanes{std::cos(angle), std::cos(next)};
  Lanes wave_im = strength * Lanes{std::sin(angle), std::sin(next)};
  const double midpoint = h * h / 24;
  Lanes distance{v.first, v.first + v.step};
  for (std::size_t i = 0; i < response.size(); i += k_lanes) {
    // s = z^2, and Mills' ratio = z (s + 5) / (s^2 + 6 s + 3) = z p / q.
    const Lanes s_re = end * end - distance * distance, s_im = -2 * end * distance;
    const Lanes p_re = s_re + 5;
    const Lanes q_re = s_re * (s_re + 6) - s_im * s_im + 3, q_im = s_im * (2 * s_re + 6);
    // wave * z * (1 - midpoint * s) * p * conj(q) / |q|^2, real part.
    const Lanes z_re = wave_re * end + wave_im * distance;
    const Lanes z_im = wave_im * end - wave_re * distance;
    const Lanes m_re = 1 - midpoint * s_re, m_im = -midpoint * s_im;
    const Lanes b_re = z_re * m_re - z_im * m_im, b_im = z_re * m_im + z_im * m_re;
    const Lanes c_re = b_re * p_re - b_im * s_im, c_im = b_re * s_im + b_im * p_re;
    const Lanes tail = (c_re * q_re + c_im * q_im) / (q_re * q_re + q_im * q_im);
    store_lanes(response.data() + i, load_lanes(response.data() + i) - tail);
    const Lanes turned = wave_re * turn_re - wave_im * turn_im;
    wave_im = wave_re * turn_im + wave_im * turn_re;
    wave_re = turned;
    distance += k_lanes * v.step;
  }
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
    subtract_cut_tail(v, end, h, amplitude, response);
  };
  add(shape.angular_frequency, factor * shape.scale / h);
  if (shape.correction > k_negligible) add(0, -shape.correction * factor * shape.scale / h);
}

}  // namespace tvn
