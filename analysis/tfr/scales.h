// What is read from the row of the breathing frequency (analysis/tfr/definition.h) beside the
// picture.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace tvn {

// Colour scale of a picture: its middle, and the distance to either end.
struct TfrScale {
  double centre, half_range;
};

// For the 3-cycle matrix 2 mean and 2 sd, for the 10-cycle matrix mean and 1.5 sd of the expected
// row (population standard deviation). NaN for an empty row. Linear.
TfrScale tfr3_scale(std::span<const float> expected_row);
TfrScale tfr10_scale(std::span<const float> expected_row);

// The mean of ln(max(power, 1e-30)) over the columns of each complete cycle, NaN values left out;
// NaN for a cycle without any other. boundaries: of cycle_boundaries (analysis/tfr/signal.h), none
// beyond the row. One value fewer than boundaries. Linear.
std::vector<double> tfr_cycle_log_power(std::span<const float> expected_row,
                                        std::span<const std::size_t> boundaries);

}  // namespace tvn
