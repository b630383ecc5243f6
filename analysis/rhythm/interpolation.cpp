#include "analysis/rhythm/interpolation.h"

#include <algorithm>
#include <cmath>

namespace tvn {

KnotSearch::KnotSearch(std::span<const double> times)
    : times_(times),
      ascending_(std::is_sorted(times.begin(), times.end()) &&
                 std::none_of(times.begin(), times.end(), [](double t) { return std::isnan(t); })) {
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
