#include "analysis/tfr/bands.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "analysis/tfr/kernel.h"
#include "analysis/tfr/signal.h"

namespace tvn {
namespace {

// An hour of it, which is more than is worked on at a time: a wave of 100 steps stays one.
TEST(CoarseSignal, AWaveStaysOneThroughout) {
  constexpr std::size_t k_steps = 36'000, k_wave = 100, k_step = 13, k_beside = 1000;
  std::vector<double> rate(k_steps * k_step);
  for (std::size_t i = 0; i < rate.size(); ++i) {
    rate[i] = 70 + 5 * std::sin(2 * std::numbers::pi * static_cast<double>(i) / (k_wave * k_step));
  }
  const std::vector<std::size_t> boundaries = cycle_boundaries(rate.size(), 10, 130);
  const CoarseSignal signal = make_coarse_signal(rate, boundaries, 26000, 130);
  ASSERT_EQ(signal.step, k_step);
  const std::size_t first = signal.origin + k_beside, last = signal.origin + k_steps - k_beside;
  double highest = 0;
  for (std::size_t j = first; j + k_wave < last; ++j) {
    ASSERT_NEAR(signal.values[j + k_wave], signal.values[j], 1e-9) << j;
    highest = std::max(highest, signal.values[j]);
  }
  EXPECT_GT(highest, 1);
}

// Back in time the jump's spectrum is a step that stands while the recording lasts and is gone
// before the period ends: a wavelet would see it round the period otherwise.
TEST(PieceSpectrum, HoldsTheJumpAsAStepOfTheRecordingsLength) {
  const std::size_t n_samples = 130 * 60;
  std::vector<double> rate(n_samples, 70);
  for (std::size_t i = 1000; i < n_samples; ++i) rate[i] = 64;
  const std::vector<std::size_t> boundaries = cycle_boundaries(n_samples, 10, 130);
  const CoarseSignal signal = make_coarse_signal(rate, boundaries, 26000, 130);
  ASSERT_EQ(signal.jumps.size(), 1u);
  EXPECT_EQ(signal.jumps[0].jump.height, 6);  // from the end of the first cycle to its beginning
  const PieceSpectrum piece = make_piece_spectrum(signal, piece_length(signal, 26000));
  const std::vector<double> inverse_kernel = tfr_inverse_kernel(piece.n);
  SplitComplex values{std::vector<double>(piece.n), std::vector<double>(piece.n)};
  for (std::size_t k = 0; k < piece.n; ++k) {
    const std::size_t bin = (k + piece.n / 2) % piece.n;
    const double factor = 1 / (inverse_kernel[bin] * static_cast<double>(piece.n));
    values.re[k] = piece.step_bins[0].re[bin] * factor;
    values.im[k] = piece.step_bins[0].im[bin] * factor;
  }
  Fft(piece.n).backward(values);
  const std::size_t start = piece.offset / signal.step, end = start + n_samples / signal.step;
  const double height = values.re[(start + end) / 2];
  EXPECT_GT(height, 0);
  for (std::size_t j = 0; j < piece.n; ++j) {
    const bool inside = j > start + 6 && j < end, outside = j + 6 < start || j > end + 100;
    if (inside || outside) {
      ASSERT_NEAR(values.re[j], inside ? height : 0, 1e-9 * height) << j;
    }
  }
}

// 100 steps stand beside what the wavelets reach, on either side.
TEST(PieceLength, IsTheLeastThatHoldsTheReach) {
  CoarseSignal signal;
  signal.step = 13;
  struct Case {
    std::size_t n_signal, reach, length;
  };
  for (const auto& [n_signal, reach, length] :
       {Case{1300, 130, 512}, Case{13 * 312, 0, 512}, Case{13 * 313, 0, 768},
        Case{13 * 168, 13 * 200, 768}, Case{13 * 169, 13 * 200, 1024}, Case{13 * 824, 0, 1024},
        Case{13 * 825, 0, 1536}, Case{130 * 3600, 51740, 49152}}) {
    signal.n_signal = n_signal;
    EXPECT_EQ(piece_length(signal, reach), length) << n_signal << ' ' << reach;
  }
}

}  // namespace
}  // namespace tvn
