// The heart-rate curve: beats per minute every 0.1 s from the first ECG sample on, smoothed, with
// artefact bumps bridged.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "analysis/rhythm/interpolation.h"
#include "analysis/rhythm/time_grid.h"

namespace tvn {

// 10-point Hann window, 1 s on the 0.1 s grid, and the divisor used with it (its sum).
inline constexpr std::array<double, 10> hr_smoothing_window = {0.0,
                                                               0.116977778440511,
                                                               0.4131759111665348,
                                                               0.7499999999999999,
                                                               0.9698463103929542,
                                                               0.9698463103929542,
                                                               0.7500000000000002,
                                                               0.413175911166535,
                                                               0.1169777784405111,
                                                               0.0};
inline constexpr double k_hr_smoothing_divisor = 4.500000000000001;

// ecg_samples: the recording, of which only the length is used; rr_seconds: its RR intervals
// (analysis/beats/r_peaks.h); fs: samples per second.
// Returns one rate in beats per minute per point of `time_grid`. Each interval's rate stands at the
// beat that opens it, the first beat at time 0; behind the last beat the last two rates are
// continued by one linear step and held, and between the beats the rate is linear. The curve is
// then smoothed by hr_smoothing_window (ends reflected), and bumps of 4 standard deviations or more
// of prominence are replaced by straight lines. Empty for no intervals or an empty grid. A grid of
// fewer than 11 points is not smoothed, since its reflection would reach outside. Intervals of 0 or
// NaN give infinite or NaN rates. Linear in the grid and the intervals.
std::vector<double> build_hr_series(std::span<const double> ecg_samples,
                                    std::span<const double> rr_seconds, double fs);

// The same for a recording of n_samples, of which there need be no ECG.
std::vector<double> build_hr_series(std::size_t n_samples, std::span<const double> rr_seconds,
                                    double fs);

// The same for a recording that grows.
class RunningHr {
 public:
  explicit RunningHr(double fs) : fs_(fs), grid_(fs) {}

  // build_hr_series(n_samples, rr_seconds, fs), to the bit; the result is valid until the next
  // call. Quick where most intervals are those of the call before: the bumps alone look at the
  // whole curve, less than a nanosecond a point in most recordings. Memory: 24 bytes a point, 32
  // where there were bumps, and as long as it grows up to twice that.
  const std::vector<double>& series(std::size_t n_samples, std::span<const double> rr_seconds);

 private:
  void update(std::size_t n_samples, std::span<const double> rr_seconds);

  double fs_;
  GrowingGrid grid_;
  KnotMemory knots_;
  std::vector<double> rates_, smoothed_;
  std::vector<double> bridged_;  // empty without bumps
};

}  // namespace tvn
