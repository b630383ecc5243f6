#include "analysis/beats/r_peaks.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <numeric>

#include "analysis/beats/ecg_filter.h"
#include "analysis/beats/peak_distance.h"
#include "analysis/beats/peaks.h"
#include "analysis/beats/rr_artifacts.h"
#include "analysis/beats/windowed_prominence.h"
#include "analysis/statistics.h"

namespace tvn {
namespace {

// Prominence is measured within an eighth of a second on either side: about a QRS complex.
constexpr double k_prominence_window_seconds = 0.25;
constexpr double k_threshold_deviations = 4;
constexpr double k_seconds_per_expected_beat = 3;
// Open interval of robust scores that mark a peak as a beat when the threshold finds too few: above
// the bulk of small waves, below single artefacts.
constexpr double k_robust_score_low = 3;
constexpr double k_robust_score_high = 7;
constexpr double k_height_score_limit = 7;
// Intervals that speak for a polarity, in seconds, ends included.
constexpr double k_shortest_plausible_rr = 0.33;
constexpr double k_longest_plausible_rr = 1.5;

// The signal as seen in one polarity: `sign` is 1 or -1. Negation is exact, so the negated signal
// need not exist: its maxima are the minima, its mean is the negated mean, its deviation the same.
struct View {
  std::span<const double> signal;
  double sign;
  double at(int32_t i) const { return sign * signal[static_cast<std::size_t>(i)]; }
  std::vector<double> heights(std::span<const int32_t> peaks) const {
    std::vector<double> result(peaks.size());
    std::transform(peaks.begin(), peaks.end(), result.begin(), [&](int32_t i) { return at(i); });
    return result;
  }
};

std::vector<double> prominences_of(const View& view, std::span<const int32_t> peaks, double fs) {
  const auto last = static_cast<double>(view.signal.size()) - 1;
  const double window = k_prominence_window_seconds * fs;
  const double reach = window >= 2 ? std::fmin(std::floor(std::ceil(window) / 2), last) : last;
  return windowed_prominences(view.signal, view.sign, peaks, static_cast<int64_t>(reach));
}

std::vector<int32_t> select_by_robust_score(std::span<const int32_t> peaks,
                                            std::span<const double> prominences) {
  const double m = median({prominences.begin(), prominences.end()});
  const double mad = median_absolute_deviation(prominences, m);
  std::vector<int32_t> selected;
  for (std::size_t i = 0; i < peaks.size(); ++i) {
    const double score = std::fabs(k_robust_score_scale * (prominences[i] - m) / mad);
    if (score > k_robust_score_low && score < k_robust_score_high) selected.push_back(peaks[i]);
  }
  return selected;
}

std::vector<int32_t> drop_outlying_heights(const View& view, std::span<const int32_t> peaks) {
  const std::vector<double> heights = view.heights(peaks);
  if (all_equal(heights)) return {};
  const double centre = mean(heights), sd = population_sd(heights);
  std::vector<int32_t> kept;
  for (std::size_t i = 0; i < peaks.size(); ++i) {
    const double z = (heights[i] - centre) / sd;
    if (z >= -k_height_score_limit && z < k_height_score_limit) kept.push_back(peaks[i]);
  }
  return kept;
}

struct Spread {
  double mean, sd;
};

Spread exact_spread(std::span<const double> signal) {
  return {mean(signal), population_sd(signal)};
}

// Mean and deviation in one pass with several running sums, to some 1e-10 of the deviation. A sum
// of squares suffices because the mean of a band-passed signal is next to nothing.
Spread quick_spread(std::span<const double> signal) {
  constexpr std::size_t k_sums = 8;
  double sums[k_sums] = {}, squares[k_sums] = {};
  std::size_t i = 0;
  for (; i + k_sums <= signal.size(); i += k_sums) {
    for (std::size_t j = 0; j < k_sums; ++j) {
      const double value = signal[i + j];
      sums[j] += value;
      squares[j] += value * value;
    }
  }
  for (; i < signal.size(); ++i) {
    sums[0] += signal[i];
    squares[0] += signal[i] * signal[i];
  }
  const auto n = static_cast<double>(signal.size());
  const double centre = std::accumulate(sums, sums + k_sums, 0.0) / n;
  const double variance = std::accumulate(squares, squares + k_sums, 0.0) / n - centre * centre;
  if (!(variance > centre * centre)) return exact_spread(signal);
  return {centre, std::sqrt(variance)};
}

// The prominence above which a peak counts. The quick spread will do unless a prominence lies so
// near the threshold that its rounding could decide; then the exact one does.
double threshold_for(const View& view, std::span<const double> prominences, const Spread& quick) {
  const auto threshold = [&](const Spread& spread) {
    return view.sign * spread.mean + k_threshold_deviations * spread.sd;
  };
  const double margin = 1e-7 * quick.sd;
  const bool close_call = std::any_of(prominences.begin(), prominences.end(), [&](double p) {
    return std::fabs(p - threshold(quick)) <= margin;
  });
  return threshold(close_call ? exact_spread(view.signal) : quick);
}

std::vector<int32_t> select_r_peaks(const View& view, std::span<const int32_t> maxima,
                                    const Spread& spread, double fs, double min_distance_samples) {
  const std::vector<int32_t> peaks =
      suppress_close_peaks(maxima, view.heights(maxima), min_distance_samples);
  if (peaks.empty()) return {};
  const std::vector<double> prominences = prominences_of(view, peaks, fs);
  const double threshold = threshold_for(view, prominences, spread);
  std::vector<int32_t> selected;
  for (std::size_t i = 0; i < peaks.size(); ++i) {
    if (prominences[i] > threshold) selected.push_back(peaks[i]);
  }
  const double expected =
      std::ceil(static_cast<double>(view.signal.size()) / (k_seconds_per_expected_beat * fs));
  if (!(static_cast<double>(selected.size()) >= expected)) {
    selected = select_by_robust_score(peaks, prominences);
  }
  return drop_outlying_heights(view, selected);
}

std::ptrdiff_t plausible_intervals(std::span<const int32_t> peaks, double fs) {
  std::ptrdiff_t count = 0;
  for (std::size_t i = 1; i < peaks.size(); ++i) {
    const double rr = (peaks[i] - peaks[i - 1]) / fs;
    count += rr >= k_shortest_plausible_rr && rr <= k_longest_plausible_rr ? 1 : 0;
  }
  return count;
}

}  // namespace

std::vector<int32_t> find_r_peaks(std::span<const double> signal, double fs,
                                  double min_distance_samples) {
  return select_r_peaks({signal, 1}, local_maxima(signal), quick_spread(signal), fs,
                        min_distance_samples);
}

std::vector<double> detect_rr_intervals(std::span<const double> ecg, int32_t max_heart_rate_bpm,
                                        double fs) {
  if (ecg.size() > static_cast<std::size_t>(std::numeric_limits<int32_t>::max())) return {};
  const auto samples = std::make_unique_for_overwrite<double[]>(ecg.size());
  bandpass_filtfilt_into(ecg, samples.get());
  const std::span<const double> filtered(samples.get(), ecg.size());
  const double min_distance = std::floor(fs * 60 / max_heart_rate_bpm);
  const Extrema extrema = local_extrema(filtered);
  const Spread spread = quick_spread(filtered);
  std::vector<int32_t> peaks =
      select_r_peaks({filtered, 1}, extrema.maxima, spread, fs, min_distance);
  std::vector<int32_t> negated =
      select_r_peaks({filtered, -1}, extrema.minima, spread, fs, min_distance);
  if (plausible_intervals(negated, fs) > plausible_intervals(peaks, fs)) peaks = negated;
  std::vector<double> rr;
  for (std::size_t i = 1; i < peaks.size(); ++i) rr.push_back((peaks[i] - peaks[i - 1]) / fs);
  return correct_rr_artifacts(rr);
}

}  // namespace tvn
