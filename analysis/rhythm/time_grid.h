// The time grid that the heart-rate and the TVN series share: 0.0, 0.1, 0.2, ... s below the
// recording's duration, so that equal indices mean equal times.
#pragma once

#include <cstddef>
#include <vector>

namespace tvn {

// Recordings last hours or days; a grid beyond this many points (23 days) comes from a senseless
// sampling rate and is refused instead of allocated.
inline constexpr std::size_t k_max_grid_points = 20'000'000;

// Times in seconds for a recording of n_samples at fs samples per second. The position advances by
// adding 0.1 in floating point, and only the stored value is rounded to one decimal; the last
// point is therefore decided by the accumulated position (120 s has 1201 points, the last of them
// 120.0), and every series keeps that count.
// Empty when the duration is not above 1e-12 s, not finite, or beyond k_max_grid_points. Linear.
std::vector<double> time_grid(std::size_t n_samples, double fs);

// The grid of a recording that grows.
class GrowingGrid {
 public:
  explicit GrowingGrid(double fs) : fs_(fs) {}

  // time_grid(n_samples, fs), valid until the next call, at the cost of what is new since the one
  // before; of fewer samples, at that of all.
  const std::vector<double>& extend(std::size_t n_samples);

 private:
  double fs_;
  double end_ = 0;       // seconds; all points below it are there
  double position_ = 0;  // of the next point
  std::vector<double> grid_;
};

}  // namespace tvn
