#include "analysis/rhythm/interpolation.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tvn {
namespace {

bool ascend(std::span<const double> times) {
  return std::is_sorted(times.begin(), times.end()) &&
         std::none_of(times.begin(), times.end(), [](double t) { return std::isnan(t); });
}

}  // namespace

KnotSearch::KnotSearch(std::span<const double> times) : times_(times), ascending_(ascend(times)) {}

// A point before the last of the knots that are the same in both has both its neighbours among
// them.
std::size_t KnotMemory::changed_from(std::span<const double> times, std::span<const double> values,
                                     std::span<const double> grid) {
  const std::size_t count = std::min(times.size(), times_.size());
  std::size_t same = 0;
  while (same < count && times[same] == times_[same] && values[same] == values_[same]) ++same;
  const bool both_ascend = std::exchange(ascending_, ascend(times)) && ascending_;
  times_.assign(times.begin(), times.end());
  values_.assign(values.begin(), values.end());
  if (!both_ascend || same == 0) return 0;
  return static_cast<std::size_t>(std::ranges::lower_bound(grid, times[same - 1]) - grid.begin());
}

std::size_t KnotSearch::bisect(double x) const {
  std::size_t lo = 0, hi = times_.empty() ? 0 : times_.size() - 1;
  while (hi - lo > 1) {
    const std::size_t middle = (lo + hi) / 2;
    (times_[middle] <= x ? lo : hi) = middle;
  }
  return lo;
}

}  // namespace tvn
