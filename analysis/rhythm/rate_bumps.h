#pragma once
// Artefact bumps in a heart-rate curve.
#include <vector>

namespace tvn {

// Replaces every bump of the curve by a straight line between the values beside it. A bump is a
// maximum of the absolute z-score with a prominence of 4 or more, measured within window_points / 2
// points on either side; it reaches from its left to before its right base, and never includes the
// first value. rates: evenly spaced, in place. Curves whose population standard deviation is 0, not
// a number or above `largest_sd` stay as they are, and so do empty ones. Linear.
void bridge_bumps(std::vector<double>& rates, double window_points, double largest_sd);

}  // namespace tvn
