// Artefact bumps in a heart-rate curve, and the gaps that their removal leaves.
#pragma once

#include <span>
#include <vector>

namespace tvn {

// Replaces every bump of the curve by a straight line between the values beside it. A bump is a
// maximum of the absolute z-score with a prominence of 4 or more, measured within window_points / 2
// points on either side; it reaches from its left to before its right base, and never includes the
// first value. rates: evenly spaced, in place. Curves whose population standard deviation is 0, not
// a number or above `largest_sd` stay as they are, and so do empty ones. Linear.
void bridge_bumps(std::vector<double>& rates, double window_points, double largest_sd);

// True only where `bridge_bumps` would leave the rates as they are, whatever its other arguments;
// false in any case of doubt. Linear, with a few times less work.
bool surely_without_bumps(std::span<const double> rates);

// Fills runs of NaN in place: leading ones take the first valid value, trailing ones the last, and
// a run of c values between the valid values L and R becomes L + (R - L) * k / (c + 1), k = 1..c.
// A sequence without any valid value stays as it is. Linear.
void fill_nan_gaps(std::span<double> values);

}  // namespace tvn
