#include "analysis/tfr/jump.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdlib>

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

// Turns by angle * steps; columns lie at two different distances at most, or nearly so.
class Turner {
 public:
  explicit Turner(double angle) : angle_(angle) {}
  Complex by(std::int64_t steps) {
    Entry& entry = entries_[steps % 2];
    if (entry.steps != steps) {
      entry = {steps, std::polar(1.0, angle_ * static_cast<double>(steps))};
    }
    return entry.turn;
  }

 private:
  struct Entry {
    std::int64_t steps = 0;
    Complex turn = 1;
  };
  double angle_;
  Entry entries_[2];
};

// The places of the columns behind the wavelet's end, nearest first, are first, first + step, ...
struct Places {
  std::ptrdiff_t first = 0, step = 1;
  std::size_t count = 0;
};

Places places_behind(const MorletShape& shape, const Jump& jump,
                     std::span<const uint32_t> columns) {
  const auto reach = static_cast<std::int64_t>(shape.last_point);
  if (jump.ends) {
    const auto end = std::lower_bound(columns.begin(), columns.end(), jump.at - reach);
    const std::ptrdiff_t count = end - columns.begin();
    return {count - 1, -1, static_cast<std::size_t>(count)};
  }
  const auto begin = std::upper_bound(columns.begin(), columns.end(), jump.at + reach);
  return {begin - columns.begin(), 1, static_cast<std::size_t>(columns.end() - begin)};
}

}  // namespace

bool wavelet_end_passes(const MorletShape& shape, const Jump& jump, std::size_t n_signal,
                        std::size_t beside) {
  const auto reach = static_cast<std::int64_t>(shape.last_point);
  const std::int64_t bend = jump.ends ? jump.at - reach : jump.at + reach;
  const auto margin = static_cast<std::int64_t>(beside);
  return bend >= -margin && bend < static_cast<std::int64_t>(n_signal) + margin;
}

std::size_t add_jump_behind_wavelet(const MorletShape& shape, double fs, const Jump& jump,
                                    const Carrier& carrier, std::span<const uint32_t> columns,
                                    SplitComplex& taken) {
  const Places places = places_behind(shape, jump, columns);
  if (places.count == 0) return columns.size();
  const double h = 1 / (shape.sigma * fs);
  const Complex all = -jump.height * sum_behind(shape, h, shape.last_point);
  Turner turner(jump.ends ? carrier.frequency : -carrier.frequency);
  std::ptrdiff_t place = places.first;
  std::int64_t before = columns[static_cast<std::size_t>(place)];
  Complex turn =
      std::polar(1.0, -(carrier.frequency * static_cast<double>(before) + carrier.phase_at_zero));
  for (std::size_t i = 0; i < places.count; ++i, place += places.step) {
    const auto at = static_cast<std::size_t>(place);
    const std::int64_t column = columns[at];
    turn = times(turn, turner.by(std::abs(column - before)));
    before = column;
    const auto distance = static_cast<double>(std::abs(column - jump.at));
    Complex sum = all;
    if (distance * h < k_end_reach) sum += jump.height * sum_behind(shape, h, distance);
    sum = times(jump.ends ? std::conj(sum) : sum, turn);
    taken.re[at] += sum.real();
    taken.im[at] += sum.imag();
  }
  return jump.ends ? 0 : static_cast<std::size_t>(places.first);
}

}  // namespace tvn
