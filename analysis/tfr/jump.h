// What a jump of the signal makes of the wavelet's cut end, exactly.
//
// The prolonged heart rate jumps where the recording begins (analysis/tfr/signal.h), and a wavelet
// ends at M with a value of some millionths instead of nothing. Where the wavelet's end passes the
// jump its response has a bend, which a band of a few hertz rounds off by some millionths of the
// jump: too much for places where the power goes through zero. For a step of height 1 at sample 0
// the response at t samples is the sum of w[m] over m <= t. Of the wavelet without an end, w', this
// is smooth, and a band is enough for it. What is taken away behind M, b(t) = sum over m = M + 1 ..
// t of w'[m] for t > M and else nothing, has the bend. It is left out of the spectrum
// (PieceSpectrum::step_bins times the spectrum behind the wavelet, added again) and taken away
// here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "analysis/tfr/fft.h"
#include "analysis/tfr/response.h"

namespace tvn {

struct Jump {
  double height;         // of the signal, at sample 0
  double frequency;      // rad/sample, that the response's frequencies are counted from
  double phase_at_zero;  // of that frequency at sample 0, rad
};

// Writes -height * b(t) * exp(-i (frequency t + phase_at_zero)) for the columns t (ascending
// samples) behind M into the same places of `taken`, and returns the first of these places. As many
// columns as `taken` has values. About 100 operations for columns that the end of w' still reaches,
// 10 for those further on.
std::size_t jump_behind_wavelet(const MorletShape& shape, double fs, const Jump& jump,
                                std::span<const uint32_t> columns, SplitComplex& taken);

}  // namespace tvn
