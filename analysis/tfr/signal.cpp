#include "analysis/tfr/signal.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

#include "analysis/rhythm/rate_bumps.h"

namespace tvn {
namespace {

constexpr double k_seconds_per_minute = 60;
constexpr double k_two_pi = 6.283185307179586;
constexpr double k_smoothing_seconds = 2;
// The outermost points of a Hann window are zero: below three there is no weight at all.
constexpr double k_min_window = 3;
// Prominences of bumps are measured within 2.5 s on either side. A signal that varies more than the
// limit has no calm level that a bump could stand out from.
constexpr double k_bump_window_seconds = 5;
constexpr double k_max_sd_to_clean = 12.0;
// Longer windows and recordings than any real one, far from the limits of the integers.
constexpr double k_max_samples = 1e15;

// The rates stand behind `reach` values that are not set yet, and before as many.
std::vector<double> rate_steps(std::size_t n_samples, std::span<const double> rr_seconds, double fs,
                               std::size_t reach) {
  std::vector<double> rates(n_samples + 2 * reach);
  std::size_t j = 0;
  double elapsed = rr_seconds[0];
  double beat = std::trunc(elapsed * fs);
  for (std::size_t n = 0; n < n_samples; ++n) {
    while (!(beat >= static_cast<double>(n)) && j + 1 < rr_seconds.size()) {
      elapsed += rr_seconds[++j];
      beat = std::trunc(elapsed * fs);
    }
    rates[reach + n] = k_seconds_per_minute / rr_seconds[j];
  }
  return rates;
}

// The sums of the first 0, 1, ..., n_points values of a symmetric Hann window of unit sum.
std::vector<double> cumulative_hann(std::size_t n_points) {
  std::vector<double> sums(n_points + 1);
  for (std::size_t k = 0; k < n_points; ++k) {
    const double phase = static_cast<double>(k) / static_cast<double>(n_points - 1);
    sums[k + 1] = sums[k] + 0.5 * (1 - std::cos(k_two_pi * phase));
  }
  const double total = sums.back();
  for (double& sum : sums) sum /= total;
  return sums;
}

void reflect_ends(std::vector<double>& padded, std::size_t reach) {
  const std::size_t first = reach, last = padded.size() - 1 - reach;
  for (std::size_t k = 1; k <= reach; ++k) {
    padded[first - k] = padded[first + k];
    padded[last + k] = padded[last - k];
  }
}

// The rates are constant from beat to beat, and so a weighted mean over a window is made of few
// terms: the value at the window's end, plus for each step within the window the difference times
// the sum of the weights before it. In place, as a window reads only what lies behind the value
// that it gives: a day's rates take 90 MB. padded: with n_points values beside the rates at either
// end.
std::vector<double> smooth_steps(std::vector<double> padded, std::size_t n_points) {
  const std::vector<double> weight_before = cumulative_hann(n_points);
  reflect_ends(padded, n_points);
  std::vector<std::size_t> steps;
  for (std::size_t i = 1; i < padded.size(); ++i) {
    if (padded[i] != padded[i - 1]) steps.push_back(i);
  }
  const std::size_t n = padded.size() - 2 * n_points;
  std::size_t first_step = 0, end_step = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t from = i + n_points - n_points / 2, to = from + n_points;
    while (first_step < steps.size() && steps[first_step] <= from) ++first_step;
    while (end_step < steps.size() && steps[end_step] < to) ++end_step;
    double sum = padded[to - 1];
    for (std::size_t s = first_step; s < end_step; ++s) {
      const std::size_t at = steps[s];
      sum += (padded[at - 1] - padded[at]) * weight_before[at - from];
    }
    padded[i] = sum;
  }
  padded.resize(n);
  return padded;
}

}  // namespace

std::vector<double> tfr_signal(std::size_t n_samples, std::span<const double> rr_seconds,
                               double fs) {
  if (n_samples == 0 || rr_seconds.empty() || !(fs > 0) || !std::isfinite(fs)) return {};
  const double window = std::trunc(k_smoothing_seconds * fs);
  const bool smooths = window >= k_min_window && window < static_cast<double>(n_samples);
  const std::size_t reach = smooths ? static_cast<std::size_t>(window) : 0;
  std::vector<double> rates = rate_steps(n_samples, rr_seconds, fs, reach);
  if (smooths) rates = smooth_steps(std::move(rates), reach);
  bridge_bumps(rates, k_bump_window_seconds * fs, k_max_sd_to_clean);
  return rates;
}

std::vector<std::size_t> cycle_boundaries(std::size_t n_samples, double cycle_seconds, double fs) {
  const double cycle = cycle_seconds * fs;
  if (!(cycle >= 1 && cycle < k_max_samples)) return {};
  const double count = std::fmax(std::floor(static_cast<double>(n_samples) / cycle), 1);
  std::vector<std::size_t> boundaries(static_cast<std::size_t>(count) + 1);
  for (std::size_t k = 0; k < boundaries.size(); ++k) {
    boundaries[k] = static_cast<std::size_t>(std::trunc(cycle * static_cast<double>(k)));
  }
  return boundaries;
}

std::size_t tfr_head_length(std::size_t n_signal, std::span<const std::size_t> boundaries) {
  return std::min(boundaries[1], n_signal);
}

std::size_t tfr_tail_length(std::size_t n_signal, std::span<const std::size_t> boundaries) {
  const std::size_t last_begin = boundaries[boundaries.size() - 2];
  return last_begin < n_signal ? n_signal - last_begin : std::min(boundaries[1], n_signal);
}

void read_prolonged(std::span<const double> signal, std::span<const std::size_t> boundaries,
                    std::int64_t first, std::span<double> stretch) {
  const auto n = static_cast<std::int64_t>(signal.size());
  const auto head = static_cast<std::int64_t>(tfr_head_length(signal.size(), boundaries));
  const auto tail = static_cast<std::int64_t>(tfr_tail_length(signal.size(), boundaries));
  constexpr auto k_rounds = static_cast<std::int64_t>(k_tfr_padding_rounds);
  const auto value = [signal](std::int64_t at) { return signal[static_cast<std::size_t>(at)]; };
  // Counted from the signal outwards, as the stretch may begin in the middle of a copy.
  const auto ahead = [&](std::int64_t k) {
    const std::int64_t round = k_rounds - 1 - k / head, from_end = k % head;
    return round < 0 ? 0 : value(round % 2 == 0 ? from_end : head - 1 - from_end);
  };
  const auto behind = [&](std::int64_t k) {
    const std::int64_t round = k / tail, at = k % tail;
    return round >= k_rounds ? 0 : value(round % 2 == 0 ? n - 1 - at : n - tail + at);
  };
  std::int64_t at = first;
  for (double& sample : stretch) {
    sample = at < 0 ? ahead(-1 - at) : at < n ? value(at) : behind(at - n);
    ++at;
  }
}

std::vector<double> prolong_by_cycles(std::span<const double> signal,
                                      std::span<const std::size_t> boundaries, std::size_t before,
                                      std::size_t after) {
  std::vector<double> result(before + signal.size() + after);
  read_prolonged(signal, boundaries, -static_cast<std::int64_t>(before), result);
  return result;
}

}  // namespace tvn
