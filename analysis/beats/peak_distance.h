// Peaks that lie too near to a higher one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tvn {

// Keeps the peaks that have no higher kept peak nearer than ceil(min_distance) samples: visited
// from the highest down, each peak still kept drops its nearer neighbours. Of two equal heights the
// later peak goes first. This is the `distance` rule of SciPy's signal.find_peaks, without its
// sort. positions: sample indices, ascending; heights: one per position, none NaN. Returns the kept
// positions, ascending. A distance that is NaN or not above 1 drops nothing. Linear.
std::vector<int32_t> suppress_close_peaks(std::span<const int32_t> positions,
                                          std::span<const double> heights, double min_distance);

// The same for the peaks so far of a signal that grows.
struct GrowingSuppression {
  std::vector<int32_t> kept;
  // So many of `kept`, and of the peaks given, are decided: whatever peaks follow at `complete_to`
  // or later, the first of them stay kept, and the rest comes out the same from the peaks after the
  // decided ones alone.
  std::size_t decided_kept, decided_peaks;
};
// complete_to: all peaks before this sample are among those given.
GrowingSuppression suppress_growing_peaks(std::span<const int32_t> positions,
                                          std::span<const double> heights, double min_distance,
                                          int64_t complete_to);

}  // namespace tvn
