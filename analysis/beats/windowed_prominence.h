// Prominences within a short reach, for many peaks at once.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace tvn {

// The prominences alone of `peak_prominences` (analysis/beats/peaks.h), for a search that is
// limited to `reach` samples (not negative) on either side, of the signal (sign 1) or its negation
// (sign -1): the same numbers, several times faster where the peak is the highest within its reach.
// peaks: sample indices. Cost: peaks times reach.
std::vector<double> windowed_prominences(std::span<const double> signal, double sign,
                                         std::span<const int32_t> peaks, int64_t reach);

}  // namespace tvn
