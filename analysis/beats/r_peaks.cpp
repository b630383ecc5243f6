#include "analysis/beats/r_peaks.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <optional>

#include "analysis/beats/beat_selection.h"
#include "analysis/beats/ecg_filter.h"
#include "analysis/beats/peak_distance.h"
#include "analysis/beats/peaks.h"

namespace tvn {
namespace {

Spread quick_spread(std::span<const double> signal) {
  SpreadSums sums;
  sums.add(signal);
  const std::optional<Spread> spread = sums.spread();
  return spread ? *spread : spread_of(signal);
}

// The R peaks of the signal seen with `sign` 1 or -1. Negation is exact, so the negated signal need
// not exist: its maxima are the minima, its mean is the negated mean, its deviation the same.
std::vector<int32_t> select_r_peaks(std::span<const double> signal, double sign,
                                    std::span<const int32_t> maxima, const Spread& spread,
                                    double fs, double min_distance_samples) {
  std::vector<double> heights(maxima.size());
  std::transform(maxima.begin(), maxima.end(), heights.begin(),
                 [&](int32_t i) { return sign * signal[static_cast<std::size_t>(i)]; });
  const std::vector<int32_t> peaks = suppress_close_peaks(maxima, heights, min_distance_samples);
  RatedPeaks rated;
  append_rated(rated, signal, 0, sign, peaks, prominence_reach(signal.size(), fs));
  return select_beats(rated, sign, signal.size(), fs, spread, [&] { return spread_of(signal); });
}

}  // namespace

std::vector<int32_t> find_r_peaks(std::span<const double> signal, double fs,
                                  double min_distance_samples) {
  return select_r_peaks(signal, 1, local_maxima(signal), quick_spread(signal), fs,
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
  const std::vector<int32_t> positive =
      select_r_peaks(filtered, 1, extrema.maxima, spread, fs, min_distance);
  const std::vector<int32_t> negative =
      select_r_peaks(filtered, -1, extrema.minima, spread, fs, min_distance);
  return better_intervals(positive, negative, fs);
}

}  // namespace tvn
