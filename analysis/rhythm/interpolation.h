// Linear interpolation of a beat-by-beat quantity at many ascending times.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace tvn {

// Finds, for one time after another, the knot that opens the interval around it. For ascending
// queries over ascending knots the search walks on from the previous answer, so that a whole grid
// costs one pass over the knots. Knots that are not ascending (negative or missing intervals) are
// searched by bisection from scratch, which gives a defined answer for any values.
class KnotSearch {
 public:
  // `times` in seconds must outlive the search.
  explicit KnotSearch(std::span<const double> times);

  // The index lo that a bisection between the first and the last knot ends with: for ascending
  // knots the last one with times[lo] <= x, except that the last knot of all never opens an
  // interval. 0 when there are fewer than three knots. Successive x must not decrease.
  std::size_t interval_at(double x) {
    if (!ascending_) return bisect(x);
    while (current_ + 2 < times_.size() && times_[current_ + 1] <= x) ++current_;
    return current_;
  }

 private:
  std::size_t bisect(double x) const;

  std::span<const double> times_;
  bool ascending_;
  std::size_t current_ = 0;
};

// Finds, for one set of knots after another, from which point on a curve through them has to be
// drawn anew: most knots of a recording that grows are those of the call before.
class KnotMemory {
 public:
  // A point of the grid (ascending times, at most its size) before which the curve is the same as
  // for the knots of the call before, when it is drawn with KnotSearch and interpolate_at, and
  // outside the knots by the nearest one. times and values: of equal number. 0 at the first call,
  // and where the times of either call do not ascend. Linear, some nanoseconds a knot.
  std::size_t changed_from(std::span<const double> times, std::span<const double> values,
                           std::span<const double> grid);

 private:
  std::vector<double> times_, values_;
  bool ascending_ = true;
};

// The value at x on the line from (times[lo], values[lo]) to the next knot; values[lo] itself when
// lo is the only knot. Two equal values give exactly that value anywhere between them.
inline double interpolate_at(double x, std::size_t lo, std::span<const double> times,
                             std::span<const double> values) {
  if (lo + 1 >= times.size()) return values[lo];
  return values[lo] +
         (values[lo + 1] - values[lo]) * ((x - times[lo]) / (times[lo + 1] - times[lo]));
}

}  // namespace tvn
