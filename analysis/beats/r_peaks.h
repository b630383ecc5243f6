// From the raw ECG to the beat-to-beat (RR) intervals.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace tvn {

// The R peaks of one polarity of a band-passed ECG, as ascending sample indices.
// signal: filtered samples; fs: samples per second; min_distance_samples: peaks nearer than this
// (rounded up) to a higher one are dropped.
// Of the remaining local maxima those stay whose prominence (within an eighth of a second on either
// side) is above mean + 4 standard deviations of the signal, if that makes one per 3 s at least;
// otherwise those whose robust prominence score lies strictly between 3 and 7. Of these, the ones
// whose height has a z-score in [-7, 7). Peaks without any spread in height, a single one
// included, have no z-score: the result is empty then. A signal without maxima, or with NaN
// everywhere, gives an empty result. Linear for a given fs of at least 8 Hz.
std::vector<int32_t> find_r_peaks(std::span<const double> signal, double fs,
                                  double min_distance_samples);

// RR intervals in seconds of a whole recording: band-pass, R peaks of the filtered signal and of
// its negation, the polarity with more intervals in [0.33, 1.5] s (the positive one when equal),
// differences of successive peaks, artefact correction (analysis/beats/rr_artifacts.h).
// ecg: samples in any unit; max_heart_rate_bpm sets the smallest distance between peaks, floor(60
// fs / max_heart_rate_bpm) samples (0 leaves one peak at most, hence nothing; negative: no limit);
// fs: samples per second. The filter is that for 130 Hz whatever fs is. One value fewer than peaks;
// empty for fewer than two peaks. A sample that is not finite gives an empty result. Recordings
// beyond 2^31 - 1 samples have none. Linear.
std::vector<double> detect_rr_intervals(std::span<const double> ecg, int32_t max_heart_rate_bpm,
                                        double fs);

}  // namespace tvn
