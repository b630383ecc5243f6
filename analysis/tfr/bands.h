// The signal's side of the fast TFR (analysis/tfr/fast.h): the heart rate on a coarse grid, and the
// spectra of its pieces.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "analysis/tfr/fft.h"
#include "analysis/tfr/jump.h"

namespace tvn {

struct CoarseJump {
  Jump jump;
  std::vector<double> step_values;  // of a level of height 1 that begins or ends there
};

// The prolonged heart rate less its mean, at one value per `step` samples.
struct CoarseSignal {
  std::size_t step = 1;      // samples
  std::size_t n_signal = 0;  // samples of the heart rate itself
  std::size_t flat = 0;      // samples on either side of it that any wavelet reaches
  std::size_t origin = 0;    // index of the value at the heart rate's first sample
  double mean = 0;           // bpm
  std::vector<double> values;
  // Where the recording begins, and where the copies begin and end if a wavelet reaches so far.
  std::vector<CoarseJump> jumps;
};

// signal: heart rate at fs; boundaries: its cycles (analysis/tfr/signal.h); reach: samples that the
// longest wavelet covers on either side. Linear.
CoarseSignal make_coarse_signal(std::span<const double> signal,
                                std::span<const std::size_t> boundaries, std::size_t reach,
                                double fs);

// Spectrum of a piece that repeats with a period of n grid steps.
struct PieceSpectrum {
  std::size_t n = 0;       // grid steps: values of the spectrum
  std::size_t period = 0;  // samples
  std::size_t offset = 0;  // samples from the piece's start to the heart rate's first
  // Bins -n / 2 .. n / 2 - 1, in this order: the sums over the samples of one period of
  // signal * exp(-2 pi i k t / period).
  SplitComplex bins;
  std::vector<SplitComplex> step_bins;  // the same for each of the signal's jumps alone
};

// The least period, a power of two or three times one of grid steps, in which wavelets of this
// reach (samples) about the heart rate see nothing of the next period.
std::size_t piece_length(const CoarseSignal& signal, std::size_t reach);

// n log n.
PieceSpectrum make_piece_spectrum(const CoarseSignal& signal, std::size_t n);

}  // namespace tvn
