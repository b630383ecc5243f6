#pragma once
#include <span>

namespace tvn {

// Fills runs of NaN in place: leading ones take the first valid value, trailing ones the last, and
// a run of c values between the valid values L and R becomes L + (R - L) * k / (c + 1), k = 1..c.
// A sequence without any valid value stays as it is. Linear.
void fill_nan_gaps(std::span<double> values);

}  // namespace tvn
