#include "analysis/tfr/bands.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <utility>

#include "analysis/statistics.h"
#include "analysis/tfr/kernel.h"
#include "analysis/tfr/lanes.h"
#include "analysis/tfr/signal.h"

namespace tvn {
namespace {

constexpr double k_pi = 3.141592653589793;
constexpr double k_grid_rate = 10;
// Room on either side of a piece to fade out in, so that its ends make no jump.
constexpr std::size_t k_fade_steps = 100;
constexpr std::size_t k_least_piece = 512;
// About half an hour of the heart rate.
constexpr std::size_t k_steps_at_a_time = 20'000;
constexpr std::size_t k_half_kernel = k_tfr_kernel_points / 2;

std::vector<double> kernel_taps(std::size_t step) {
  std::vector<double> taps(k_tfr_kernel_points * step);
  const double middle = static_cast<double>(k_half_kernel * step);
  for (std::size_t i = 0; i < taps.size(); ++i) {
    taps[i] = tfr_kernel((static_cast<double>(i) - middle) / static_cast<double>(step));
  }
  return taps;
}

double weighted_sum(const double* values, const std::vector<double>& taps) {
  static_assert(k_tfr_kernel_points % (2 * k_lanes) == 0, "no tap may be left over");
  Lanes sums[2] = {};
  for (std::size_t i = 0; i < taps.size(); i += 2 * k_lanes) {
    sums[0] += load_lanes(values + i) * load_lanes(taps.data() + i);
    sums[1] += load_lanes(values + i + k_lanes) * load_lanes(taps.data() + i + k_lanes);
  }
  return sums[0][0] + sums[0][1] + sums[1][0] + sums[1][1];
}

// The sums of the last n, n - 1, ..., 0 taps.
std::vector<double> sums_from_the_end(const std::vector<double>& taps) {
  std::vector<double> sums(taps.size() + 1);
  for (std::size_t i = taps.size(); i-- > 0;) sums[i] = sums[i + 1] + taps[i];
  return sums;
}

// 1 as far as a wavelet reaches, from there on down to 0 within the room to fade out in.
double fade(double steps_beyond) {
  if (steps_beyond <= 0) return 1;
  const double part =
      std::min(steps_beyond / static_cast<double>(k_fade_steps - k_half_kernel), 1.0);
  return 0.5 * (1 + std::cos(k_pi * part));
}

// How much of the signal is left at each step of the coarse grid.
std::vector<double> fades(const CoarseSignal& coarse, std::size_t n_steps) {
  const double flat = static_cast<double>(coarse.flat) / static_cast<double>(coarse.step);
  const double end = static_cast<double>(coarse.n_signal) / static_cast<double>(coarse.step);
  std::vector<double> result(n_steps);
  for (std::size_t j = 0; j < n_steps; ++j) {
    const double at = static_cast<double>(j) - static_cast<double>(coarse.origin);
    result[j] = fade(std::fmax(-at, at - end) - flat);
  }
  return result;
}

// The prolonged heart rate less its mean; all of a day's at once would take 90 MB again.
struct ProlongedRate {
  std::span<const double> signal;
  std::span<const std::size_t> boundaries;
  double mean;

  void read(std::int64_t first, std::span<double> stretch) const {
    read_prolonged(signal, boundaries, first, stretch);
    for (double& value : stretch) value -= mean;
  }
  double at(std::int64_t sample) const {
    double value = 0;
    read(sample, {&value, 1});
    return value;
  }
};

// The weighted sums of the prolonged rate at every step of the coarse grid, the first of which
// begins samples_before samples ahead of the rate.
void sum_steps(const ProlongedRate& rate, std::size_t samples_before,
               const std::vector<double>& taps, CoarseSignal& coarse) {
  const std::size_t n_steps = coarse.values.size(), step = coarse.step;
  std::vector<double> stretch;
  for (std::size_t from = 0; from < n_steps; from += k_steps_at_a_time) {
    const std::size_t to = std::min(from + k_steps_at_a_time, n_steps);
    stretch.resize((to - from) * step + taps.size());
    rate.read(static_cast<std::int64_t>(from * step) - static_cast<std::int64_t>(samples_before),
              stretch);
    for (std::size_t j = from; j < to; ++j) {
      coarse.values[j] = weighted_sum(stretch.data() + (j - from) * step, taps);
    }
  }
}

// The jumps of the prolonged heart rate.
std::vector<Jump> find_jumps(const ProlongedRate& rate, const CoarseSignal& coarse) {
  const auto value = [&rate](std::int64_t at) { return rate.at(at); };
  const std::span<const std::size_t> boundaries = rate.boundaries;
  std::vector<Jump> jumps = {{0, value(0) - value(-1), false}};
  const std::size_t n = coarse.n_signal;
  const std::size_t ahead = tfr_head_length(n, boundaries) * k_tfr_padding_rounds;
  const std::size_t behind = tfr_tail_length(n, boundaries) * k_tfr_padding_rounds;
  if (ahead < coarse.flat) {
    const auto at = -static_cast<std::int64_t>(ahead);
    jumps.push_back({at, value(at) - value(at - 1), false});
  }
  if (behind < coarse.flat) {
    const auto at = static_cast<std::int64_t>(n + behind) - 1;
    jumps.push_back({at, value(at) - value(at + 1), true});
  }
  return jumps;
}

// A level of height 1 that begins (or ends before) the sample `begin` of the prolonged signal, on
// the coarse grid. tap_sums: of sums_from_the_end.
std::vector<double> level_values(bool ends, std::int64_t begin, const std::vector<double>& tap_sums,
                                 std::size_t step, std::vector<double> faded) {
  for (std::size_t j = 0; j < faded.size(); ++j) {
    const auto first = static_cast<std::int64_t>(j * step);
    const auto before = std::clamp<std::int64_t>(begin - first, 0, std::ssize(tap_sums) - 1);
    const double after = tap_sums[static_cast<std::size_t>(before)];
    faded[j] *= ends ? tap_sums[0] - after : after;
  }
  return faded;
}

// The heart rate's place in a piece, in grid steps.
struct PiecePlace {
  std::size_t n, before;  // of the piece, and of its part ahead of the heart rate
  double end;             // of the heart rate, counted from its first value
};

// `values` from the piece's n grid steps, faded out from so many steps before and behind the heart
// rate on.
SplitComplex cut_piece(const CoarseSignal& signal, const std::vector<double>& values,
                       const PiecePlace& place, double flat_before, double flat_behind) {
  SplitComplex data{std::vector<double>(place.n), std::vector<double>(place.n)};
  for (std::size_t j = 0; j < place.n; ++j) {
    const std::size_t at = j + signal.origin;
    if (at < place.before || at - place.before >= values.size()) continue;
    const double from_start = static_cast<double>(j) - static_cast<double>(place.before);
    data.re[j] = values[at - place.before] *
                 fade(std::fmax(-from_start - flat_before, from_start - place.end - flat_behind));
  }
  return data;
}

}  // namespace

CoarseSignal make_coarse_signal(std::span<const double> signal,
                                std::span<const std::size_t> boundaries, std::size_t reach,
                                double fs) {
  CoarseSignal coarse;
  coarse.step = static_cast<std::size_t>(std::fmax(1, std::floor(fs / k_grid_rate)));
  coarse.n_signal = signal.size();
  coarse.mean = mean(signal);
  coarse.flat = reach + k_half_kernel * coarse.step;
  const std::size_t steps_before = coarse.flat / coarse.step + k_fade_steps;
  const std::size_t signal_steps = signal.size() / coarse.step + 1;
  const std::size_t n_steps = 2 * steps_before + signal_steps;
  const std::size_t samples_before = (steps_before + k_half_kernel) * coarse.step;
  const ProlongedRate rate{signal, boundaries, coarse.mean};
  const std::vector<double> taps = kernel_taps(coarse.step);
  coarse.origin = steps_before;
  coarse.values.resize(n_steps);
  const std::vector<double> faded = fades(coarse, n_steps);
  sum_steps(rate, samples_before, taps, coarse);
  for (std::size_t j = 0; j < n_steps; ++j) coarse.values[j] *= faded[j];
  const std::vector<double> tap_sums = sums_from_the_end(taps);
  for (const Jump& jump : find_jumps(rate, coarse)) {
    const auto begin = static_cast<std::int64_t>(samples_before) + jump.at + (jump.ends ? 1 : 0);
    coarse.jumps.push_back({jump, level_values(jump.ends, begin, tap_sums, coarse.step, faded)});
  }
  return coarse;
}

std::size_t piece_length(const CoarseSignal& signal, std::size_t reach) {
  const std::size_t steps = (signal.n_signal + 2 * reach) / signal.step + 2 * k_fade_steps;
  std::size_t n = k_least_piece;
  while (n < steps) n *= 2;
  const std::size_t three_quarters = n / 4 * 3;
  return three_quarters >= std::max(steps, k_least_piece) ? three_quarters : n;
}

PieceSpectrum make_piece_spectrum(const CoarseSignal& signal, std::size_t n) {
  PieceSpectrum piece;
  piece.n = n;
  piece.period = n * signal.step;
  const std::size_t before = (n - std::min(n, signal.n_signal / signal.step)) / 2;
  piece.offset = before * signal.step;
  Fft fft(n);
  const std::vector<double> inverse_kernel = tfr_inverse_kernel(n);
  const auto spectrum = [&](SplitComplex data, double factor) {
    fft.forward(data);
    SplitComplex bins{std::vector<double>(n), std::vector<double>(n)};
    for (std::size_t i = 0; i < n; ++i) {
      const std::size_t from = (i + n / 2) % n;
      bins.re[i] = data.re[from] * inverse_kernel[i] * factor;
      bins.im[i] = data.im[from] * inverse_kernel[i] * factor;
    }
    return bins;
  };
  const PiecePlace place{n, before,
                         static_cast<double>(signal.n_signal) / static_cast<double>(signal.step)};
  const double flat =
      static_cast<double>(before) - static_cast<double>(k_fade_steps - k_half_kernel);
  piece.bins = spectrum(cut_piece(signal, signal.values, place, flat, flat), 1);
  piece.bins.re[n / 2] += signal.mean * static_cast<double>(piece.period);
  // No column needs a level further than the heart rate goes. Without the cut that ends it, the
  // wavelet would reach round the period and see the rest.
  for (const auto& [jump, values] : signal.jumps) {
    const double before_level = jump.ends ? k_half_kernel : flat;
    const double behind_level = jump.ends ? flat : k_half_kernel;
    piece.step_bins.push_back(
        spectrum(cut_piece(signal, values, place, before_level, behind_level), jump.height));
  }
  return piece;
}

}  // namespace tvn
