// Oracles: each function of the signal analysis written down as its definition reads, one point
// after another, without any regard for speed. The fast functions of analysis/ are compared with
// these, and so are the benchmarks. Nothing here calls into analysis/ except for constants.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tvn::plain {

struct PeakProminence {
  double prominence;
  int32_t left_base, right_base;
};

std::vector<double> bandpass_filtfilt(std::span<const double> ecg);

std::vector<int32_t> local_maxima(std::span<const double> signal);

// Highest first, by a full sort; of two equal heights the later one is visited first.
std::vector<int32_t> suppress_close_peaks(std::span<const double> signal,
                                          std::span<const int32_t> peaks, double min_distance);

// window_samples <= 0: no window.
std::vector<PeakProminence> peak_prominences(std::span<const double> signal,
                                             std::span<const int32_t> peaks, double window_samples);

std::vector<int32_t> find_r_peaks(std::span<const double> signal, double fs, double min_distance);

std::vector<double> correct_rr_artifacts(std::span<const double> rr);

std::vector<double> detect_rr_intervals(std::span<const double> ecg, int32_t max_heart_rate_bpm,
                                        double fs);

std::vector<double> time_grid(std::size_t n_samples, double fs);

void fill_nan_gaps(std::span<double> values);

std::vector<double> build_hr_series(std::size_t n_samples, std::span<const double> rr, double fs);

std::vector<double> compute_tvn_series(std::span<const double> rr, int32_t n_ecg_samples,
                                       int32_t cycles_per_window, double cycle_seconds, double fs,
                                       double step_seconds);

}  // namespace tvn::plain
