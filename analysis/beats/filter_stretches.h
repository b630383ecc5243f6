// The band-pass cascade over a long signal: the same samples, bit for bit, as one serial pass,
// computed on several stretches of the signal at once.
#pragma once

#include <cstddef>

#include "analysis/beats/ecg_filter.h"

namespace tvn {

// State of the cascade in the form that costs the fewest operations: n1 = -s1, n2 = -s2.
struct CascadeState {
  SectionStates n1{}, n2{};
};

// Whether the two are the same to the last bit: from there on they give the same results.
bool same_bits(const CascadeState& a, const CascadeState& b);

// Which end of the signal a pass starts from.
enum class Direction { forward, backward };

// Filters `count` samples from `in` to `out` (which may be the same) one after the other: forward
// starts with in[0], backward with in[count - 1]; each result stands at its sample's place. `state`
// is that before the first sample on entry and that after the last one on return. Linear.
void run_serial(const double* in, double* out, std::size_t count, Direction direction,
                CascadeState& state);

// How many stretches this processor filters best at once: 2 or 4.
std::size_t widest_lanes();

// The same as run_serial, on `lanes` stretches (2, or widest_lanes()) at once when the signal is
// long enough to gain by it. Returns false when the stretches do not join bit for bit (see the
// .cpp; seen only in signals that are exactly constant for minutes, and where samples are not
// finite): then `out` and `state` are of no use, and the caller takes run_serial instead.
[[nodiscard]] bool run_stretches(const double* in, double* out, std::size_t count,
                                 Direction direction, CascadeState& state, std::size_t lanes);

// The same as run_serial, from `in` to another place, as fast as the signal allows.
void run_fast(const double* in, double* out, std::size_t count, Direction direction,
              CascadeState& state);

}  // namespace tvn
