// How the two passes of the zero-phase filter begin: the signal's odd reflection at either end, and
// the state that it brings the cascade into.
#pragma once

#include <span>

#include "analysis/beats/filter_stretches.h"

namespace tvn {

// The state in which the forward pass meets the first sample of `ecg`, which has one at least. It
// looks at the first 28 samples only.
CascadeState state_before_first(std::span<const double> ecg);

// The state in which the backward pass meets the last sample. forward: the state of the forward
// pass after that sample; forward_last: its result there. It looks at the last 30 samples only
// (and at the first, in a recording of fewer).
CascadeState state_behind_last(std::span<const double> ecg, CascadeState forward,
                               double forward_last);

}  // namespace tvn
