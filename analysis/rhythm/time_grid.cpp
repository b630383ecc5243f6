#include "analysis/rhythm/time_grid.h"

#include <cstdint>

namespace tvn {

std::vector<double> time_grid(std::size_t n_samples, double fs) {
  GrowingGrid grid(fs);
  return grid.extend(n_samples);
}

const std::vector<double>& GrowingGrid::extend(std::size_t n_samples) {
  const double end = static_cast<double>(n_samples) / fs_ - 1e-12;
  // The first comparison is false for a duration that is not a number.
  const bool refused = !(end > 0) || end > 0.1 * static_cast<double>(k_max_grid_points);
  if (refused || end < end_) *this = GrowingGrid(fs_);
  if (refused) return grid_;
  if (grid_.empty()) grid_.reserve(static_cast<std::size_t>(end * 10) + 2);
  for (; position_ < end; position_ += 0.1) {
    // Rounds half away from zero as std::round does: the position is not negative, and 10 times it
    // lies far closer to a whole number than to a half, where adding 0.5 could round up by itself.
    const auto tenths =
        static_cast<int64_t>(position_ * 10 + 0.5);  // NOLINT(bugprone-incorrect-roundings)
    grid_.push_back(static_cast<double>(tenths) / 10);
  }
  end_ = end;
  return grid_;
}

}  // namespace tvn
