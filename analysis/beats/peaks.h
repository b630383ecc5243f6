// Building blocks of peak detection: local maxima and their prominences. The definitions are those
// of SciPy's signal.find_peaks and peak_prominences.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace tvn {

struct PeakProminence {
  double prominence;              // height above the higher of the two bases
  int32_t left_base, right_base;  // sample indices
};

// Sample indices, ascending, of all values that rise from the previous sample and fall to the next
// different one. A plateau counts once, at its middle (the lower middle of an even length); one
// that runs into the last sample does not count. Fewer than 3 samples have no maxima. Linear.
std::vector<int32_t> local_maxima(std::span<const double> signal);

// Ascending indices of all local maxima and all local minima, in one pass.
struct Extrema {
  std::vector<int32_t> maxima, minima;
};
Extrema local_extrema(std::span<const double> signal);

// One record per peak. From the peak the search runs to either side while the samples are not
// higher than the peak, at most floor(window_samples / 2) samples and never beyond the signal; the
// base is the first place of the lowest sample met (the peak itself when none is lower).
// window_samples that is NaN or not above 0 means no limit. Cost: the samples visited.
std::vector<PeakProminence> peak_prominences(std::span<const double> signal,
                                             std::span<const int32_t> peaks, double window_samples);

}  // namespace tvn
