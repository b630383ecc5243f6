#include "analysis/tfr/jump.h"

#include <algorithm>
#include <cmath>
#include <complex>

#include "analysis/tfr/mills.h"

namespace tvn {
namespace {

// From here on, in standard deviations, the end of w' is below 1 / 30,000 of what it is at 5, and
// so below 2e-10 of the whole.
constexpr double k_end_reach = 6.75;
// A term so much weaker than the other one does not show.
constexpr double k_negligible = 1e-18;

using Complex = std::complex<double>;

// Without the checks for infinities that the operator makes.
Complex times(const Complex& a, const Complex& b) {
  return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

// The sum of w' over all m behind t: c / h (S(T, w0 sigma) - C S(T, 0)).
Complex sum_behind(const MorletShape& shape, double h, double t) {
  const double end = (t + 0.5) * h;
  const double strength = shape.scale / h * std::exp(-end * end / 2);
  const double v = shape.angular_frequency * shape.sigma;
  // Both terms at once: the wave, and the correction for the mean.
  const bool corrected = shape.correction > k_negligible;
  const Lanes amplitude = {strength, corrected ? -shape.correction * strength : 0};
  const ComplexLanes wave{amplitude * Lanes{std::cos(v * end), 1},
                          amplitude * Lanes{std::sin(v * end), 0}};
  const ComplexLanes sums = gaussian_end_sum<TwelveLevels>(wave, both_lanes(end), Lanes{v, 0}, h);
  return {sums.re[0] + sums.re[1], sums.im[0] + sums.im[1]};
}

// Turns by frequency * steps; columns lie at two different distances at most, or nearly so.
class Turner {
 public:
  explicit Turner(double frequency) : frequency_(frequency) {}
  Complex by(uint32_t steps) {
    Entry& entry = entries_[steps % 2];
    if (entry.steps != steps) entry = {steps, std::polar(1.0, -frequency_ * steps)};
    return entry.turn;
  }

 private:
  struct Entry {
    uint32_t steps = 0;
    Complex turn = 1;
  };
  double frequency_;
  Entry entries_[2];
};

}  // namespace

std::size_t jump_behind_wavelet(const MorletShape& shape, double fs, const Jump& jump,
                                std::span<const uint32_t> columns, SplitComplex& taken) {
  const auto behind = std::upper_bound(columns.begin(), columns.end(), shape.last_point);
  const auto first = static_cast<std::size_t>(behind - columns.begin());
  if (first == columns.size()) return first;
  const double h = 1 / (shape.sigma * fs);
  const Complex all = -jump.height * sum_behind(shape, h, shape.last_point);
  Turner turner(jump.frequency);
  uint32_t before = columns[first];
  Complex turn = std::polar(1.0, -(jump.frequency * before + jump.phase_at_zero));
  for (std::size_t i = first; i < columns.size(); ++i) {
    turn = times(turn, turner.by(columns[i] - before));
    before = columns[i];
    Complex sum = all;
    if (before * h < k_end_reach) sum += jump.height * sum_behind(shape, h, before);
    sum = times(sum, turn);
    taken.re[i] = sum.real();
    taken.im[i] = sum.imag();
  }
  return first;
}

}  // namespace tvn
