#include "analysis/beats/windowed_prominence.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace tvn {
namespace {

// Two doubles side by side; the reach is even for every usual sampling rate.
typedef double Pair __attribute__((vector_size(2 * sizeof(double))));

// Lowest and highest of the samples beside a peak. A NaN that is met makes `all_numbers` false.
struct Range {
  double lowest, highest;
  bool all_numbers;
};

Range range_of(const double* first, int64_t pairs) {
  Pair lowest, highest;
  std::memcpy(&lowest, first, sizeof lowest);
  highest = lowest;
  Pair sum = lowest * 0.0;  // stays 0 unless a sample is NaN or infinite
  for (int64_t i = 1; i < pairs; ++i) {
    Pair value;
    std::memcpy(&value, first + 2 * i, sizeof value);
    sum += value * 0.0;
    lowest = value < lowest ? value : lowest;
    highest = value > highest ? value : highest;
  }
  return {std::min(lowest[0], lowest[1]), std::max(highest[0], highest[1]), sum[0] + sum[1] == 0};
}

// Walks from the peak by `step` while the samples are not higher, at most `count` of them.
double lowest_beside(std::span<const double> signal, double sign, int32_t peak, int32_t step,
                     int64_t count) {
  const double height = sign * signal[static_cast<std::size_t>(peak)];
  double lowest = height;
  for (int32_t i = peak; count > 0; --count) {
    i += step;
    const double value = sign * signal[static_cast<std::size_t>(i)];
    if (!(value <= height)) break;
    lowest = value < lowest ? value : lowest;
  }
  return lowest;
}

}  // namespace

// A walk that ends early is a jump that no processor predicts. But nearly all peaks that are asked
// about are the highest within reach, which one look at the highest sample on either side tells;
// then nothing ends the walk, and the lowest sample is simply that of the whole side.
std::vector<double> windowed_prominences(std::span<const double> signal, double sign,
                                         std::span<const int32_t> peaks, int64_t reach) {
  const int64_t last = static_cast<int64_t>(signal.size()) - 1;
  std::vector<double> prominences;
  prominences.reserve(peaks.size());
  for (const int32_t peak : peaks) {
    const double height = sign * signal[static_cast<std::size_t>(peak)];
    if (reach >= 2 && reach % 2 == 0 && peak >= reach && last - peak >= reach) {
      const double* const at = signal.data() + peak;
      const Range left = range_of(at - reach, reach / 2), right = range_of(at + 1, reach / 2);
      const bool positive = sign > 0;
      const double highest =
          positive ? std::max(left.highest, right.highest) : -std::min(left.lowest, right.lowest);
      if (left.all_numbers && right.all_numbers && highest <= height) {
        const double base =
            positive ? std::max(left.lowest, right.lowest) : -std::min(left.highest, right.highest);
        prominences.push_back(height - base);
        continue;
      }
    }
    const double left = lowest_beside(signal, sign, peak, -1, std::min<int64_t>(reach, peak));
    const double right = lowest_beside(signal, sign, peak, 1, std::min(reach, last - peak));
    prominences.push_back(height - std::max(left, right));
  }
  return prominences;
}

}  // namespace tvn
