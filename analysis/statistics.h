// Statistics that several steps of the signal analysis share. Sums run from the first value to the
// last, so that the result is the same from every compiler.
#pragma once

#include <span>
#include <vector>

namespace tvn {

// Arithmetic mean; NaN for no values. Linear.
double mean(std::span<const double> values);
double mean(std::span<const float> values);

// Population variance (divided by N) in two passes, around the mean; NaN for no values. Linear.
double population_variance(std::span<const double> values);
double population_variance(std::span<const float> values);

// Square root of population_variance.
double population_sd(std::span<const double> values);
double population_sd(std::span<const float> values);

struct Spread {
  double mean, sd;
};

// mean and population_sd of the values, which share a pass.
Spread spread_of(std::span<const double> values);

// Median; of an even number of values the mean of the two middle ones; NaN for no values. Takes
// its own copy, which it reorders: move a sequence in that is no longer needed. No value may be
// NaN. Linear on average.
double median(std::vector<double> values);

// Median of |value - centre|, with the rules of `median`.
double median_absolute_deviation(std::span<const double> values, double centre);

// True when every value equals the first one, and for no values. Sums of equal values carry
// rounding, so a spread of exactly zero is recognised by the values, never by a computed deviation.
bool all_equal(std::span<const double> values);

// Makes a median absolute deviation comparable with the standard deviation of a normal
// distribution (its 75 % quantile); Iglewicz and Hoaglin, "How to Detect and Handle Outliers",
// 1993.
inline constexpr double k_robust_score_scale = 0.6745;

}  // namespace tvn
