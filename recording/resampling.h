// Recordings of other sampling rates, brought to the program's own.
#pragma once

#include <vector>

namespace tvn {

// `samples` taken at `rate` Hz, brought to 130 samples per second by linear interpolation. They
// come back unchanged when the rate is not above 0 or within 0.5 Hz of 130, when there are fewer
// than 2, or when the result would have fewer than 2 samples or be longer than 48 h. Linear.
std::vector<double> resample_to_130(std::vector<double> samples, double rate);

}  // namespace tvn
