// The signal that a time-frequency representation (analysis/tfr/definition.h) is computed from: the
// heart rate at the sampling rate of the ECG, and the whole breathing cycles that it is prolonged
// by.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tvn {

// Copies of a breathing cycle that stand at either end of the prolonged signal.
inline constexpr std::size_t k_tfr_padding_rounds = 50;

// Heart rate in beats per minute, one value per ECG sample.
// n_samples: length of the recording; rr_seconds: its RR intervals (analysis/beats/r_peaks.h); fs:
// samples per second. Beat j is the sample trunc((rr[0] + ... + rr[j]) * fs), the seconds summed
// from the first interval on: sums of measured intervals fall on whole samples, where another order
// of rounding would move the beat. Sample n has the rate of the first interval whose closing beat
// is not before n, and behind the last beat that of the last interval.
// The steps are smoothed by a Hann window of trunc(2 fs) points with unit sum, the ends reflected
// without repeating the edge. The window is centred, so that a feature of the heart rate stays at
// its sample: the one of odd length has its middle there, the one of even length (260 points at
// 130 Hz) the later of its two middle points, which is 130 samples back to 129 ahead. A signal
// below trunc(2 fs) + 1 samples is not smoothed, nor is any where the window has less than 3
// points. When the result's population standard deviation is at most 12 bpm, bumps whose absolute
// z-score has a prominence of 4 or more (searched within 5 fs samples in all) are replaced by
// straight lines. Empty for no samples, no intervals, or an fs that is not positive and finite.
// Intervals of 0 or NaN give infinite or NaN rates. Linear, with the beats in a window as a factor.
std::vector<double> tfr_signal(std::size_t n_samples, std::span<const double> rr_seconds,
                               double fs);

// The sample indices trunc(cycle_seconds * fs * k) for k = 0 .. K, K = floor(n_samples /
// (cycle_seconds * fs)), but at least 1: where the complete breathing cycles begin, and where the
// last one ends. The last one is at most n_samples if n_samples is at least trunc(cycle_seconds *
// fs). Empty when a cycle is shorter than a sample or not finite. Linear in K.
std::vector<std::size_t> cycle_boundaries(std::size_t n_samples, double cycle_seconds, double fs);

// A stretch of the prolonged signal: `before` samples ahead of the signal, the signal, and `after`
// samples behind it.
// Ahead stand 50 copies of the first cycle, behind it 50 copies of the last complete cycle together
// with the incomplete one that follows. The copies alternate between reversed and forward ones,
// counted from the left at either end. The one behind the signal's end is therefore a mirror image,
// while the one before its start is a forward copy: the 50th counted from the left. The jump that
// it makes is part of the definition. Beyond the copies the stretch is zero.
// boundaries: of cycle_boundaries for this signal. Linear in the result.
std::vector<double> prolong_by_cycles(std::span<const double> signal,
                                      std::span<const std::size_t> boundaries, std::size_t before,
                                      std::size_t after);

// The samples first, first + 1, ... of the prolonged signal, counted from the signal's own first
// one, without the rest of it. Linear in the stretch.
void read_prolonged(std::span<const double> signal, std::span<const std::size_t> boundaries,
                    std::int64_t first, std::span<double> stretch);

// Lengths of the first cycle and of the copied end, of which 50 copies stand before and behind.
std::size_t tfr_head_length(std::size_t n_signal, std::span<const std::size_t> boundaries);
std::size_t tfr_tail_length(std::size_t n_signal, std::span<const std::size_t> boundaries);

}  // namespace tvn
