#include "analysis/beats/peak_distance.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace tvn {
namespace {

// Visiting the peaks by height needs no sort, because suppression acts over a short distance only.
//
// A peak that is the highest of all undecided peaks nearer than D is kept whatever happens
// elsewhere: nothing that could drop it is left. So start at the first undecided peak, take the
// highest one within D of it, and climb: as long as something nearer than D to the right of the
// top is higher, go there. To the left of the top everything undecided is lower by construction.
// The last top is kept, and clears D on both sides.
//
// What it leaves undecided to its left lies between earlier tops of the climb. Going back over
// them, from the last: a top that was cleared is simply forgotten. A top that was not is higher
// than everything before it, and only the peaks between it and the cleared stretch (all nearer
// than D) may be higher still; the highest of these is kept and clears D again, which includes
// the top before. Below the first top everything left lies within D of the start: its highest is
// kept. Every peak is looked at two or three times in all.
class Suppression {
 public:
  Suppression(std::span<const int32_t> positions, std::span<const double> heights, int64_t distance)
      : positions_(positions), heights_(heights), distance_(distance) {}

  GrowingSuppression run(int64_t complete_to) {
    GrowingSuppression found{};
    for (std::size_t start = 0; start < positions_.size();) {
      const std::size_t end = climb(start);
      const int64_t looked_to = positions_[tops_.back()] + distance_;
      descend(start);
      // The climb stopped at the first peak that its last top does not reach: undecided again.
      start = end;
      if (looked_to <= complete_to) {
        found.decided_kept = result_.size();
        found.decided_peaks = end;
      }
    }
    found.kept = std::move(result_);
    return found;
  }

 private:
  static constexpr std::size_t k_none = SIZE_MAX;

  // The highest peak with an index from `from` on and a position below `limit`; of equal ones the
  // last. Leaves in `from` the first index not looked at.
  std::size_t highest(std::size_t& from, int64_t limit) const {
    if (from >= positions_.size() || positions_[from] >= limit) return k_none;
    std::size_t best = from++;
    double best_height = heights_[best];
    for (; from < positions_.size() && positions_[from] < limit; ++from) {
      const bool higher = heights_[from] >= best_height;
      best = higher ? from : best;
      best_height = higher ? heights_[from] : best_height;
    }
    return best;
  }

  // Fills tops_ with the climb from `start` and returns the first index that it did not look at.
  std::size_t climb(std::size_t start) {
    std::size_t next = start;
    tops_.assign(1, highest(next, positions_[start] + distance_));
    while (true) {
      const std::size_t top = tops_.back();
      const std::size_t found = highest(next, positions_[top] + distance_);
      if (found == k_none || heights_[found] < heights_[top]) return next;
      tops_.push_back(found);
    }
  }

  // Decides everything between `start` and the last top; appends the kept ones in ascending order.
  void descend(std::size_t start) {
    kept_.assign(1, tops_.back());
    tops_.pop_back();
    const auto cleared_from = [&] { return positions_[kept_.back()] - distance_ + 1; };
    for (; !tops_.empty(); tops_.pop_back()) {
      const std::size_t top = tops_.back();
      if (positions_[top] >= cleared_from()) continue;
      std::size_t next = top + 1;
      const std::size_t found = highest(next, cleared_from());
      kept_.push_back(found != k_none && heights_[found] >= heights_[top] ? found : top);
    }
    const std::size_t found = highest(start, cleared_from());
    if (found != k_none) kept_.push_back(found);
    for (auto it = kept_.rbegin(); it != kept_.rend(); ++it) result_.push_back(positions_[*it]);
  }

  std::span<const int32_t> positions_;
  std::span<const double> heights_;
  const int64_t distance_;
  std::vector<std::size_t> tops_, kept_;
  std::vector<int32_t> result_;
};

}  // namespace

std::vector<int32_t> suppress_close_peaks(std::span<const int32_t> positions,
                                          std::span<const double> heights, double min_distance) {
  return suppress_growing_peaks(positions, heights, min_distance, 0).kept;
}

GrowingSuppression suppress_growing_peaks(std::span<const int32_t> positions,
                                          std::span<const double> heights, double min_distance,
                                          int64_t complete_to) {
  // Positions are 32-bit: a distance of 2^32 covers any recording.
  constexpr double k_beyond_all = 4294967296.0;
  if (!(min_distance > 1)) {
    const auto decided = static_cast<std::size_t>(
        std::lower_bound(positions.begin(), positions.end(), complete_to) - positions.begin());
    return {{positions.begin(), positions.end()}, decided, decided};
  }
  const auto distance = static_cast<int64_t>(std::ceil(std::fmin(min_distance, k_beyond_all)));
  return Suppression(positions, heights, distance).run(complete_to);
}

}  // namespace tvn
