// What a jump of the signal makes of the wavelet's cut end, exactly.
//
// The prolonged heart rate jumps where the recording begins (analysis/tfr/signal.h), and down to
// nothing where its copies end; a wavelet ends at M with a value of some millionths instead of
// nothing. Where the wavelet's end passes a jump its response has a bend, which a band of a few
// hertz rounds off by some millionths of the jump: too much for places where the power goes through
// zero. For a step of height 1 at sample 0 the response at t samples is the sum of w[m] over m <=
// t. Of the wavelet without an end, w', this is smooth, and a band is enough for it. What is taken
// away behind M, b(t) = sum over m = M + 1 .. t of w'[m] for t > M and else nothing, has the bend.
// It is left out of the spectrum (PieceSpectrum::step_bins times the spectrum behind the wavelet,
// added again) and taken away here. A jump behind the recording meets the wavelet's other end. That
// is the same thing seen from there: with time reversed, a level that ends becomes one that begins,
// and the wavelet its conjugate.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "analysis/tfr/fft.h"
#include "analysis/tfr/response.h"

namespace tvn {

// A level that begins at a sample, or one that ends with it.
struct Jump {
  std::int64_t at = 0;  // samples from the heart rate's first one
  double height = 0;    // of the level, bpm
  bool ends = false;
};

// What the response's frequencies are counted from.
struct Carrier {
  double frequency;      // rad/sample
  double phase_at_zero;  // at sample 0, rad
};

// Whether the wavelet's end passes the jump while its middle is in a recording of n_signal samples
// or so many samples beside it.
bool wavelet_end_passes(const MorletShape& shape, const Jump& jump, std::size_t n_signal,
                        std::size_t beside);

// Adds -height * b(d) * exp(-i (frequency t + phase_at_zero)) to the same places of `taken` for the
// columns t (ascending samples) whose distance d = t - at from the jump is above M; for a level
// that ends, d = at - t and b's conjugate. Returns the first of these places, or columns.size(). As
// many columns as `taken` has values. About 100 operations for columns that the end of w' still
// reaches, 10 for those further on.
std::size_t add_jump_behind_wavelet(const MorletShape& shape, double fs, const Jump& jump,
                                    const Carrier& carrier, std::span<const uint32_t> columns,
                                    SplitComplex& taken);

}  // namespace tvn
