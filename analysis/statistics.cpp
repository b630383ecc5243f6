#include "analysis/statistics.h"

#include <algorithm>
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
double variance_of(std::span<const Value> values) {
  const double centre = mean_of(values);
  double sum = 0;
  for (const Value value : values) {
    const double difference = static_cast<double>(value) - centre;
    sum += difference * difference;
  }
  return sum / static_cast<double>(values.size());
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

double median(std::vector<double> values) {
  if (values.empty()) return std::numeric_limits<double>::quiet_NaN();
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  if (values.size() % 2 == 1) return *middle;
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
