#include "analysis/rhythm/time_grid.h"

#include <cstdint>

namespace tvn {

std::vector<double> time_grid(std::size_t n_samples, double fs) {
  const double end = static_cast<double>(n_samples) / fs - 1e-12;
  std::vector<double> grid;
  // The first comparison is false for a duration that is not a number.
  if (!(end > 0) || end > 0.1 * static_cast<double>(k_max_grid_points)) return grid;
  grid.reserve(static_cast<std::size_t>(end * 10) + 2);
  double position = 0;
  while (position < end) {
    // Rounds half away from zero as std::round does: the position is not negative, and 10 times it
    // lies far closer to a whole number than to a half, where adding 0.5 could round up by itself.
    const auto tenths =
        static_cast<int64_t>(position * 10 + 0.5);  // NOLINT(bugprone-incorrect-roundings)
    grid.push_back(static_cast<double>(tenths) / 10);
    position += 0.1;
  }
  return grid;
}

}  // namespace tvn
