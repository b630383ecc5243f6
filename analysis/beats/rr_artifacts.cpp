#include "analysis/beats/rr_artifacts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>

#include "analysis/statistics.h"

namespace tvn {
namespace {

// Plausible intervals in seconds: 300 down to 30 beats per minute.
constexpr double k_shortest_rr = 0.2;
constexpr double k_longest_rr = 2.0;
// Above this variance (s squared) the stricter limit applies: such a spread comes from artefacts.
constexpr double k_high_variance = 0.01;
constexpr double k_limit_high_variance = 3.0;
constexpr double k_limit_low_variance = 5.0;

// Fills rr[from, to), whose neighbours on both sides are accepted unless they lie outside.
void bridge(std::span<double> rr, std::size_t from, std::size_t to) {
  if (from == 0) {
    std::fill_n(rr.begin(), to, rr[to]);
  } else if (to == rr.size()) {
    std::fill(rr.begin() + static_cast<std::ptrdiff_t>(from), rr.end(), rr[from - 1]);
  } else {
    const double left = rr[from - 1], right = rr[to];
    const auto parts = static_cast<double>(to - from + 1);
    for (std::size_t i = from; i < to; ++i) {
      rr[i] = left + (right - left) * (static_cast<double>(i - from + 1) / parts);
    }
  }
}

}  // namespace

std::vector<double> correct_rr_artifacts(std::span<const double> rr) {
  std::vector<double> corrected(rr.begin(), rr.end());
  std::vector<double> plausible;
  std::copy_if(rr.begin(), rr.end(), std::back_inserter(plausible),
               [](double value) { return value > k_shortest_rr && value < k_longest_rr; });
  if (plausible.empty()) return corrected;
  const double m = median(plausible);
  const double mad = median_absolute_deviation(plausible, m);
  if (mad == 0) return corrected;
  const double limit = population_variance(plausible) > k_high_variance ? k_limit_high_variance
                                                                        : k_limit_low_variance;
  const auto outlier = [&](double value) {
    return std::fabs(k_robust_score_scale * (value - m) / mad) > limit;
  };
  if (std::all_of(rr.begin(), rr.end(), outlier)) return corrected;
  for (std::size_t from = 0; from < rr.size(); ++from) {
    if (!outlier(rr[from])) continue;
    std::size_t to = from;
    while (to < rr.size() && outlier(rr[to])) ++to;
    bridge(corrected, from, to);
    from = to;
  }
  return corrected;
}

}  // namespace tvn
