// The time-frequency representation (TFR) of the heart rate over the breathing band: the power of
// its convolution with complex Morlet wavelets, one row per frequency, one column per ECG sample,
// once with wavelets of 3 cycles (high time resolution) and once with 10 (high frequency
// resolution). Tallon-Baudry et al., "Stimulus specificity of phase-locked and non-phase-locked
// 40 Hz visual responses in human", J. Neurosci. 16 (1996); the correction for the mean as in
// Torrence and Compo, "A practical guide to wavelet analysis", Bull. Amer. Meteor. Soc. 79 (1998).
//
// This is the definition written down step by step, which tests and benchmarks hold the fast path
// (analysis/tfr/fast.h) against. It takes half a minute for a recording of a few minutes.
#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "analysis/tfr/rows.h"

namespace tvn {

struct TfrResult {
  int32_t rows = 0, cols = 0;      // frequencies; ECG samples
  std::vector<float> tfr3, tfr10;  // wavelet power in bpm squared, rows x cols, row-major
  // Colour scales; for the 10-cycle matrix narrower by design.
  double tfr3_centre = 0, tfr3_half_range = 0;
  double tfr10_centre = 0, tfr10_half_range = 0;
  int32_t expected_row = 0;             // of the paced breathing frequency
  std::vector<double> cycle_log_power;  // one per complete breathing cycle; NaN without values
  bool valid = false;                   // the computation ran to its end
};

// A complex Morlet wavelet of n_cycles at freq Hz, sampled at fs per second, cut off at 5 standard
// deviations of its Gaussian; its squared magnitudes sum to 2. An odd number of points, symmetric
// about the middle one but for the sign of the imaginary part. Empty unless all three are positive
// and finite. Linear in its length.
std::vector<std::complex<double>> make_morlet(double fs, double freq, double n_cycles);

// Discrete Fourier transform in place, forward with exp(-i ...), the inverse divided by the length.
// Iterative radix 2 (Cooley and Tukey, Math. Comp. 19, 1965): n log n. The length is a power of
// two; any other leaves the data as they are.
void fft_in_place(std::span<std::complex<double>> data, bool inverse);

// |signal convolved with wavelet|^2 for the signal's n_signal samples, the wavelet's middle on the
// sample. signal_spectrum: forward transform of the signal, zero-filled to n_fft, a power of two
// not below n_signal + wavelet.size() - 1. Two transforms of n_fft.
std::vector<double> wavelet_power(std::span<const std::complex<double>> signal_spectrum,
                                  std::size_t n_signal,
                                  std::span<const std::complex<double>> wavelet, std::size_t n_fft);

// ecg: the recording, of which only the length is used; rr_seconds: its RR intervals
// (analysis/beats/r_peaks.h); cycle_seconds: breathing in and out; fs: samples per second. The
// heart rate is that of tfr_signal, prolonged by 50 breathing cycles at either end
// (analysis/tfr/signal.h). Not valid, and empty, where tfr_possible is false. Cost: 1280 transforms
// of the power of two above the prolonged signal and the longest wavelet, and 2560 bytes per
// sample.
TfrResult compute_tfr(std::span<const double> ecg, std::span<const double> rr_seconds,
                      double cycle_seconds, double fs);

}  // namespace tvn
