// Peaks that lie too near to a higher one.
#pragma once

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

}  // namespace tvn
