#include "analysis/tfr/rows.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tvn {
namespace {

constexpr double k_lowest_frequency = 0.02;
constexpr double k_frequency_step = 0.0005;
// Just below 0.18 Hz, so that the rounding of the accumulated frequency decides nothing.
constexpr double k_frequency_limit = 0.179999999999;

double four_decimals(double value) {
  return std::round(value * 10000) / 10000;
}

}  // namespace

std::vector<double> tfr_frequencies() {
  std::vector<double> frequencies;
  for (double f = k_lowest_frequency; f < k_frequency_limit; f += k_frequency_step) {
    frequencies.push_back(four_decimals(f));
  }
  return frequencies;
}

int32_t tfr_expected_row(std::span<const double> frequencies, double cycle_seconds) {
  const double expected = four_decimals(1 / cycle_seconds);
  const auto nearest = std::min_element(
      frequencies.begin(), frequencies.end(),
      [expected](double a, double b) { return std::fabs(a - expected) < std::fabs(b - expected); });
  return static_cast<int32_t>(nearest - frequencies.begin());
}

bool tfr_possible(std::size_t n_samples, std::size_t n_intervals, double cycle_seconds, double fs) {
  const double cycle = cycle_seconds * fs;
  return fs > 0 && std::isfinite(fs) && std::isfinite(cycle) && cycle >= 1 &&
         static_cast<double>(n_samples) >= std::trunc(cycle) &&
         n_samples <= static_cast<std::size_t>(std::numeric_limits<int32_t>::max()) &&
         n_intervals >= k_tfr_min_intervals;
}

}  // namespace tvn
