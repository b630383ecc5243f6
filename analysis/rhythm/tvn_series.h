// The TVN value: how closely the beat-to-beat intervals follow the paced breathing, from -1 to 1.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "analysis/rhythm/breathing_reference.h"
#include "analysis/rhythm/interpolation.h"
#include "analysis/rhythm/time_grid.h"

namespace tvn {

// rr_seconds: RR intervals (analysis/beats/r_peaks.h); n_ecg_samples: length of the recording;
// cycles_per_window: breathing cycles that one value looks back over; cycle_seconds: length of a
// cycle; fs: samples per second; step_seconds: distance of the grid points (0.1), from which the
// window's length trunc(cycle_seconds / step_seconds) * cycles_per_window in points follows.
//
// Returns one value per point of `time_grid`, or nothing when the last grid time lies below
// cycles_per_window * cycle_seconds or no grid time between the first and the last beat. Beat i
// stands at the sum of the first i + 1 intervals; between the beats the intervals are interpolated
// linearly. A value is the multiple correlation R of that curve, over the points of the window
// before the grid point, with sine and cosine at the frequency 1 / cycle_seconds, taken as
// sqrt(r_sin^2 + r_cos^2) and mapped to R / 0.6 - 1 up to R = 0.6 and (R - 0.6) / 0.4 above. R is
// limited to 1, which rounding exceeds, and so do windows of a few points, over which sine and
// cosine are not orthogonal.
// NaN: before the first full window, in a window without any interval, and where R is not defined;
// a window whose intervals are all equal is one of these, whatever rounding leaves of its spread.
// Window lengths that are not positive numbers (from any arguments) give NaN everywhere.
// Linear in grid and intervals, but for windows in ill-conditioned cases (nearly constant
// intervals, missing beats), each of which costs its length. Values within 1e-11 of direct sums.
std::vector<double> compute_tvn_series(std::span<const double> rr_seconds, int32_t n_ecg_samples,
                                       int32_t cycles_per_window, double cycle_seconds, double fs,
                                       double step_seconds);

// What a value looks back over.
struct TvnWindow {
  int32_t cycles = 0;  // breathing cycles
  double cycle_seconds = 0, step_seconds = 0;
  bool operator==(const TvnWindow&) const = default;
};

// The same for a recording that grows. A value depends on the curve before it alone, which reaches
// to the next beat, so that those before the first interval that changed stand.
class RunningTvn {
 public:
  explicit RunningTvn(double fs);

  // compute_tvn_series(rr_seconds, n_ecg_samples, ...), to the bit; it is valid until the next
  // call. Quick where the window and most intervals are those of the call before: some nanoseconds
  // an interval, and the new points. Memory: 48 bytes a point, in ill-conditioned cases 16 more,
  // and as long as it grows up to twice that.
  const std::vector<double>& series(std::span<const double> rr_seconds, int32_t n_ecg_samples,
                                    const TvnWindow& window);

 private:
  void update(std::span<const double> rr_seconds, std::size_t n_samples);
  std::size_t draw_curve(std::span<const double> grid, std::span<const double> rr_seconds);
  void update_values(std::span<const double> grid, std::size_t from);

  double fs_;
  TvnWindow window_;
  GrowingGrid grid_;
  KnotMemory knots_;
  std::vector<double> curve_;  // intervals in milliseconds, NaN outside the beats
  BreathingReference reference_;
  std::size_t first_ = 0;  // the curve's first point for which the values were computed
  std::vector<double> values_;
};

}  // namespace tvn
