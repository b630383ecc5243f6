// The zero-phase filter of a recording that grows: with every call only its end is filtered anew.
//
// Forward, a result depends on earlier samples alone and never changes. Backward, every result
// depends on all later samples, but their influence dies away: two backward passes that began in
// different states agree, some 500 samples on, in every bit of their states, and from there on they
// are the same computation. That this has happened is not assumed but seen, each time, by comparing
// the state in which this call's pass arrives at a place with that of the call before; results
// before that place then stay as they are.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "analysis/beats/filter_stretches.h"

namespace tvn {

class RunningFilter {
 public:
  // Filters `ecg`, which begins with what the call before was given and goes on from there; 28
  // samples at the first call. False when the results of the call before do not stand (exactly
  // constant or periodic signals, samples that are not finite): this object is of no use then.
  // Cost: the new samples and a few thousand before them.
  [[nodiscard]] bool advance(std::span<const double> ecg);

  // bandpass_filtfilt(ecg) from sample `from` on, to the bit.
  std::span<const double> samples() const { return filtered_; }
  std::size_t from() const { return from_; }
  // How many samples it was given.
  std::size_t count() const { return count_; }
  // Values before this sample stay, unless a later `advance` returns false.
  std::size_t settled() const { return settled_; }

  // Values before this sample, which is settled, are no longer wanted.
  void forget_before(std::size_t sample);

 private:
  std::size_t count_ = 0;                   // samples given
  std::size_t from_ = 0;                    // the first one kept
  std::vector<double> forward_, filtered_;  // from there on
  CascadeState forward_state_;              // after the last sample
  std::size_t settled_ = 0;
  CascadeState settled_state_;  // in which the backward pass meets sample settled_ - 1
};

}  // namespace tvn
