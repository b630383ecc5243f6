#include "analysis/statistics.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace tvn {

namespace {

template <class Value>
double mean_of(std::span<const Value> values) {
  double sum = 0;
  for (const Value value : values) sum += static_cast<double>(value);
  return sum / static_cast<double>(values.size());
}

template <class Value>
double variance_around(double centre, std::span<const Value> values) {
  double sum = 0;
  for (const Value value : values) {
    const double difference = static_cast<double>(value) - centre;
    sum += difference * difference;
  }
  return sum / static_cast<double>(values.size());
}

template <class Value>
double variance_of(std::span<const Value> values) {
  return variance_around(mean_of(values), values);
}

// Of a long sequence, a sample tells bounds that a value of given rank lies between, four standard
// deviations of the rank away: of a middle one, an eighth of the values is left to be put in order.
constexpr std::size_t k_sampled = 1024;
constexpr std::size_t k_rank_margin = 64;
constexpr std::size_t k_fewest_sampled_from = 8 * k_sampled;

// Drops values that stand neither at `rank` in ascending order nor just before it, and returns how
// many smaller ones it dropped. It drops nothing where the sample misled or values are NaN.
std::size_t drop_outer(std::vector<double>& values, std::size_t rank) {
  if (values.size() < k_fewest_sampled_from) return 0;
  std::array<double, k_sampled> sample;
  const std::size_t step = values.size() / k_sampled;
  for (std::size_t i = 0; i < k_sampled; ++i) sample[i] = values[i * step];
  const std::size_t middle = rank * k_sampled / values.size();
  const auto at_low = sample.begin() + (middle - std::min(middle, k_rank_margin));
  const auto at_high = sample.begin() + std::min(middle + k_rank_margin, k_sampled - 1);
  std::nth_element(sample.begin(), at_low, sample.end());
  std::nth_element(at_low + 1, at_high, sample.end());
  const double low = *at_low, high = *at_high;
  std::size_t below = 0, not_above = 0;
  for (const double value : values) {
    below += value < low ? 1 : 0;
    not_above += value <= high ? 1 : 0;
  }
  if (!(low <= high) || below >= rank || rank >= not_above) return 0;
  std::size_t kept = 0;
  for (const double value : values) {
    values[kept] = value;
    // Not &&: a branch that cannot be foretold would cost more than the rest.
    kept += static_cast<std::size_t>(value >= low) & static_cast<std::size_t>(value <= high);
  }
  values.resize(kept);
  return below;
}

}  // namespace

double mean(std::span<const double> values) {
  return mean_of(values);
}

double mean(std::span<const float> values) {
  return mean_of(values);
}

double population_variance(std::span<const double> values) {
  return variance_of(values);
}

double population_variance(std::span<const float> values) {
  return variance_of(values);
}

double population_sd(std::span<const double> values) {
  return std::sqrt(population_variance(values));
}

double population_sd(std::span<const float> values) {
  return std::sqrt(population_variance(values));
}

Spread spread_of(std::span<const double> values) {
  const double centre = mean_of(values);
  return {centre, std::sqrt(variance_around(centre, values))};
}

double median(std::vector<double> values) {
  if (values.empty()) return std::numeric_limits<double>::quiet_NaN();
  const bool odd = values.size() % 2 == 1;
  const std::size_t rank = values.size() / 2;
  std::size_t dropped = 0;
  while (const std::size_t more = drop_outer(values, rank - dropped)) dropped += more;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(rank - dropped);
  std::nth_element(values.begin(), middle, values.end());
  if (odd) return *middle;
  // The lower half stands before the middle now; its largest value is the other middle one.
  return (*std::max_element(values.begin(), middle) + *middle) / 2;
}

double median_absolute_deviation(std::span<const double> values, double centre) {
  std::vector<double> distances(values.size());
  std::transform(values.begin(), values.end(), distances.begin(),
                 [centre](double value) { return std::fabs(value - centre); });
  return median(std::move(distances));
}

bool all_equal(std::span<const double> values) {
  return std::all_of(values.begin(), values.end(),
                     [&](double value) { return value == values.front(); });
}

}  // namespace tvn
