#include "analysis/beats/peaks.h"

#include <algorithm>
#include <cstddef>
#include <memory>

namespace tvn {
namespace {

// Extends over samples equal to the one at i and returns the first index that differs, at most the
// last index of the signal.
std::size_t end_of_plateau(std::span<const double> signal, std::size_t i) {
  std::size_t j = i + 1;
  while (j + 1 < signal.size() && signal[j] == signal[i]) ++j;
  return j;
}

struct Side {
  double minimum;
  int32_t base;
};

// Walks from the peak by `step` for at most `count` samples.
Side lowest_beside(std::span<const double> signal, int32_t peak, int32_t step, int64_t count) {
  const double height = signal[static_cast<std::size_t>(peak)];
  Side side{height, peak};
  int32_t i = peak;
  for (; count > 0; --count) {
    i += step;
    const double value = signal[static_cast<std::size_t>(i)];
    if (!(value <= height)) break;
    if (value < side.minimum) side = {value, i};
  }
  return side;
}

}  // namespace

// Both kinds are written down without a branch (an index is stored at every sample and kept by
// advancing the count), because the sign of the slope of an ECG is as good as unpredictable.
Extrema local_extrema(std::span<const double> signal) {
  const std::size_t n = signal.size();
  if (n < 3) return {};
  // Two maxima have at least one sample between them. Not initialised: only what is found is
  // touched.
  const auto maxima = std::make_unique_for_overwrite<int32_t[]>(n / 2 + 1);
  const auto minima = std::make_unique_for_overwrite<int32_t[]>(n / 2 + 1);
  int32_t* next_maximum = maxima.get();
  int32_t* next_minimum = minima.get();
  // Plain numbers, not bool, so that no compiler turns them into jumps.
  unsigned rose = signal[0]<signal[1], fell = signal[0]> signal[1];
  for (std::size_t i = 1; i + 1 < n;) {
    const double here = signal[i];
    std::size_t next = i + 1;
    unsigned rises = here<signal[next], falls = here> signal[next];
    if ((rises | falls) == 0) {
      next = end_of_plateau(signal, i);
      rises = here < signal[next];
      falls = here > signal[next];
    }
    const auto middle = static_cast<int32_t>((i + next - 1) / 2);
    *next_maximum = middle;
    *next_minimum = middle;
    next_maximum += rose & falls;
    next_minimum += fell & rises;
    rose = rises;
    fell = falls;
    i = next;
  }
  return {{maxima.get(), next_maximum}, {minima.get(), next_minimum}};
}

std::vector<int32_t> local_maxima(std::span<const double> signal) {
  return local_extrema(signal).maxima;
}

std::vector<PeakProminence> peak_prominences(std::span<const double> signal,
                                             std::span<const int32_t> peaks,
                                             double window_samples) {
  const auto n = static_cast<int64_t>(signal.size());
  // A window wider than the signal on both sides is none; the limit keeps the conversion defined.
  const int64_t reach = window_samples > 0 && window_samples < 2 * static_cast<double>(n)
                            ? static_cast<int64_t>(window_samples / 2)
                            : n;
  std::vector<PeakProminence> records;
  records.reserve(peaks.size());
  for (const int32_t peak : peaks) {
    const Side left = lowest_beside(signal, peak, -1, std::min<int64_t>(reach, peak));
    const Side right = lowest_beside(signal, peak, 1, std::min<int64_t>(reach, n - 1 - peak));
    const double height = signal[static_cast<std::size_t>(peak)];
    records.push_back({height - std::max(left.minimum, right.minimum), left.base, right.base});
  }
  return records;
}

}  // namespace tvn
