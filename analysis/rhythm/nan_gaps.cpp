#include "analysis/rhythm/nan_gaps.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace tvn {

void fill_nan_gaps(std::span<double> values) {
  const auto missing = [](double value) { return std::isnan(value); };
  auto valid = std::find_if_not(values.begin(), values.end(), missing);
  if (valid == values.end()) return;
  std::fill(values.begin(), valid, *valid);
  while (true) {
    const auto gap = std::find_if(valid, values.end(), missing);
    if (gap == values.end()) return;
    const double left = *(gap - 1);
    valid = std::find_if_not(gap, values.end(), missing);
    if (valid == values.end()) {
      std::fill(gap, valid, left);
      return;
    }
    const double difference = *valid - left;
    const auto parts = static_cast<double>(valid - gap + 1);
    for (auto it = gap; it != valid; ++it) {
      *it = left + difference * static_cast<double>(it - gap + 1) / parts;
    }
  }
}

}  // namespace tvn
