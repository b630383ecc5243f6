// What a time-frequency representation (analysis/tfr/definition.h) consists of: its wavelets, the
// frequencies of its rows, and the recordings that have one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tvn {

inline constexpr double k_tfr_short_cycles = 3;
inline constexpr double k_tfr_long_cycles = 10;
// Fewer RR intervals than this have no course worth showing.
inline constexpr std::size_t k_tfr_min_intervals = 3;

// The frequencies of the rows in Hz: 0.02 to 0.1795 in steps of 0.0005, 320 in all.
std::vector<double> tfr_frequencies();

// The row nearest to the breathing frequency, 1 / cycle_seconds rounded to four decimals in Hz; the
// lower one of two equally near.
int32_t tfr_expected_row(std::span<const double> frequencies, double cycle_seconds);

// True when a recording of n_samples at fs can be analysed at all: at least trunc(cycle_seconds *
// fs) samples, at least three RR intervals, an fs that is positive and finite, a cycle of a sample
// or more, and a column count that fits the result.
bool tfr_possible(std::size_t n_samples, std::size_t n_intervals, double cycle_seconds, double fs);

}  // namespace tvn
