// Artefacts among beat-to-beat intervals: ectopic and missed beats.
#pragma once

#include <span>
#include <vector>

namespace tvn {

// Replaces outlying beat-to-beat intervals (ectopic or missed beats) by interpolation.
// rr: intervals in seconds, any values. Returns a sequence of the same length.
// An interval is an outlier when its robust score |0.6745 (rr - m) / MAD| exceeds 3, or 5 when the
// intervals vary little; m, MAD and the variance are those of the plausible intervals (above 0.2
// and below 2 s). Outliers are replaced by linear interpolation over the index between the nearest
// accepted intervals, at the ends by the nearest one. The input comes back unchanged when nothing
// is plausible, when MAD is 0, and when no or every interval is an outlier. A NaN is no outlier.
// Robust score: Iglewicz and Hoaglin, "How to Detect and Handle Outliers", 1993.
// Linear on average.
std::vector<double> correct_rr_artifacts(std::span<const double> rr);

}  // namespace tvn
