// Conversions that are right for every double: rounding to a number of decimals, and cutting to
// integers without the undefined behaviour of an out-of-range cast.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace tvn {

// `value` rounded to a multiple of 1 / `scale`, halves away from zero: scale 10 rounds to 0.1.
// Where the product would overflow the value is a whole number already and comes back unchanged;
// NaN gives NaN.
inline double round_to(double value, double scale) {
  const double scaled = value * scale;
  return std::isfinite(scaled) ? std::round(scaled) / scale : value;
}

// `value` cut toward zero and limited to the type's range; NaN gives 0.
template <typename Integer>
Integer truncate_to(double value) {
  if (std::isnan(value)) return 0;
  // The limits as doubles: the upper one of a 64-bit type rounds up to 2^63, out of its range.
  if (value <= static_cast<double>(std::numeric_limits<Integer>::min())) {
    return std::numeric_limits<Integer>::min();
  }
  if (value >= static_cast<double>(std::numeric_limits<Integer>::max())) {
    return std::numeric_limits<Integer>::max();
  }
  return static_cast<Integer>(value);
}

// `value` rounded to the nearest whole number (halves away from zero) and limited to the type's
// range; NaN gives 0.
template <typename Integer>
Integer round_to_integer(double value) {
  return truncate_to<Integer>(std::round(value));
}

}  // namespace tvn
