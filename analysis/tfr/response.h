// The spectrum of a Morlet wavelet by formula.
//
// A wavelet centred on its middle point, w[m] = c g(m / fs) (exp(i w0 m / fs) - C), m = -M .. M, is
// conjugate-symmetric, so its spectrum is real: W(w) = c (G(w - w0) - C G(w)) with
// G(d) = sum over m of g(m / fs) cos(d m / fs), the spectrum of the Gaussian cut off at M.
// With h = 1 / (sigma fs), the sampling step in standard deviations, and v = d sigma, the sum over
// all m is sqrt(2 pi) exp(-v^2 / 2) / h; the sampling itself adds less than the double's rounding.
// What the cut takes away is twice the real part of the sum over m > M of exp(-(m h)^2 / 2 + i v m
// h), see analysis/tfr/mills.h.
// The taken away part is a millionth of the whole, but it does not fade with the distance from w0
// as the Gaussian does: it lets the mean heart rate and strong oscillations elsewhere through.
#pragma once

#include <cstddef>
#include <span>

#include "analysis/tfr/fft.h"

namespace tvn {

struct MorletShape {
  double angular_frequency;  // w0, rad/s
  double sigma;              // seconds
  double correction;         // C
  double scale;              // c
  double last_point;         // M, samples
};

// Of the wavelet that make_morlet (analysis/tfr/definition.h) gives for the same arguments.
MorletShape morlet_shape(double fs, double freq, double n_cycles);

// The response W, times `factor`, at the angular frequencies first + i * step (rad/s) for i = 0, 1,
// ..., response.size() - 1, an even number, within 5e-13 of its maximum, for frequencies up to
// a few hertz. behind, of the same size: the spectrum of the part that is cut off behind M, times
// `factor`. Linear.
void morlet_response(const MorletShape& shape, double fs, double first, double step, double factor,
                     std::span<double> response, SplitComplex& behind);

}  // namespace tvn
