#include "analysis/beats/beat_selection.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "analysis/beats/rr_artifacts.h"
#include "analysis/beats/windowed_prominence.h"

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

// Indices into the rated peaks.
using Selection = std::vector<std::size_t>;

// Written without a branch: which of the peaks are beats cannot be foretold.
Selection indices_where(std::span<const double> values, auto&& wanted) {
  Selection selected(values.size());
  std::size_t count = 0;
  for (std::size_t i = 0; i < values.size(); ++i) {
    selected[count] = i;
    count += wanted(values[i]) ? 1 : 0;
  }
  selected.resize(count);
  return selected;
}

Selection select_by_robust_score(std::span<const double> prominences) {
  const double m = median({prominences.begin(), prominences.end()});
  const double mad = median_absolute_deviation(prominences, m);
  return indices_where(prominences, [=](double prominence) {
    const double score = std::fabs(k_robust_score_scale * (prominence - m) / mad);
    return score > k_robust_score_low && score < k_robust_score_high;
  });
}

std::vector<int32_t> drop_outlying_heights(const RatedPeaks& peaks, const Selection& selected) {
  std::vector<double> heights;
  heights.reserve(selected.size());
  for (const std::size_t i : selected) heights.push_back(peaks.heights[i]);
  if (all_equal(heights)) return {};
  const auto [centre, sd] = spread_of(heights);
  std::vector<int32_t> kept;
  for (std::size_t i = 0; i < selected.size(); ++i) {
    const double z = (heights[i] - centre) / sd;
    if (z >= -k_height_score_limit && z < k_height_score_limit) {
      kept.push_back(peaks.positions[selected[i]]);
    }
  }
  return kept;
}

// The prominence above which a peak counts. The quick spread will do unless a prominence lies so
// near the threshold that its rounding could decide; then the exact one does.
double threshold_for(double sign, std::span<const double> prominences, const Spread& quick,
                     const std::function<Spread()>& exact) {
  const auto threshold = [&](const Spread& spread) {
    return sign * spread.mean + k_threshold_deviations * spread.sd;
  };
  const double margin = 1e-7 * quick.sd;
  const double limit = threshold(quick);
  const auto close_calls = std::ranges::count_if(
      prominences, [=](double prominence) { return std::fabs(prominence - limit) <= margin; });
  return close_calls > 0 ? threshold(exact()) : limit;
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

int64_t prominence_reach(std::size_t signal_size, double fs) {
  const auto last = static_cast<double>(signal_size) - 1;
  const double window = k_prominence_window_seconds * fs;
  return static_cast<int64_t>(window >= 2 ? std::fmin(std::floor(std::ceil(window) / 2), last)
                                          : last);
}

void append_rated(RatedPeaks& rated, std::span<const double> signal, int64_t offset, double sign,
                  std::span<const int32_t> peaks, int64_t reach) {
  const std::vector<double> prominences = windowed_prominences(signal, sign, peaks, reach);
  rated.prominences.insert(rated.prominences.end(), prominences.begin(), prominences.end());
  for (const int32_t peak : peaks) {
    rated.positions.push_back(static_cast<int32_t>(peak + offset));
    rated.heights.push_back(sign * signal[static_cast<std::size_t>(peak)]);
  }
}

void SpreadSums::add(std::span<const double> samples) {
  count_ += samples.size();
  std::size_t i = 0;
  for (; i + k_sums <= samples.size(); i += k_sums) {
    for (std::size_t j = 0; j < k_sums; ++j) {
      const double value = samples[i + j];
      sums_[j] += value;
      squares_[j] += value * value;
    }
  }
  for (; i < samples.size(); ++i) {
    sums_[0] += samples[i];
    squares_[0] += samples[i] * samples[i];
  }
}

std::optional<Spread> SpreadSums::spread() const {
  const auto n = static_cast<double>(count_);
  const double centre = std::accumulate(sums_.begin(), sums_.end(), 0.0) / n;
  const double variance =
      std::accumulate(squares_.begin(), squares_.end(), 0.0) / n - centre * centre;
  if (!(variance > centre * centre)) return std::nullopt;
  return Spread{centre, std::sqrt(variance)};
}

std::vector<int32_t> select_beats(const RatedPeaks& peaks, double sign, std::size_t signal_size,
                                  double fs, const Spread& quick,
                                  const std::function<Spread()>& exact) {
  if (peaks.positions.empty()) return {};
  const double threshold = threshold_for(sign, peaks.prominences, quick, exact);
  Selection selected =
      indices_where(peaks.prominences, [=](double prominence) { return prominence > threshold; });
  const double expected =
      std::ceil(static_cast<double>(signal_size) / (k_seconds_per_expected_beat * fs));
  if (!(static_cast<double>(selected.size()) >= expected)) {
    selected = select_by_robust_score(peaks.prominences);
  }
  return drop_outlying_heights(peaks, selected);
}

std::vector<double> better_intervals(std::span<const int32_t> positive,
                                     std::span<const int32_t> negative, double fs) {
  const auto peaks =
      plausible_intervals(negative, fs) > plausible_intervals(positive, fs) ? negative : positive;
  std::vector<double> rr;
  for (std::size_t i = 1; i < peaks.size(); ++i) rr.push_back((peaks[i] - peaks[i - 1]) / fs);
  return correct_rr_artifacts(rr);
}

}  // namespace tvn
