#include "analysis/rhythm/tvn_series.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <utility>

#include "analysis/rhythm/breathing_reference.h"
#include "analysis/rhythm/interpolation.h"
#include "analysis/rhythm/time_grid.h"

// The sums over a window could be kept by adding the point that enters and subtracting the one that
// leaves, but what rounding leaves behind would grow with the length of the recording. Instead the
// points are cut into blocks of one window's length: every window is then the end of one block
// followed by the beginning of the next, and its sums are a sum from the boundary backwards (all of
// them computed once per block) plus one from the boundary forwards (growing by a point at a time).
// Nothing is ever subtracted.
//
// From such raw sums the centred ones follow by sum((r - mean)^2) = sum(r^2) - sum(r)^2 / n and the
// like, which cancels badly when the spread is small against the values; so the intervals are taken
// relative to a value near by, and where too many digits are lost all the same, or an interval is
// missing, the window is summed directly.
namespace tvn {
namespace {

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();
constexpr double k_two_pi = 6.283185307179586;
constexpr double k_milliseconds = 1000;
// The correlation that counts as neither coupled nor uncoupled.
constexpr double k_neutral_correlation = 0.6;

// What must be left of a raw sum after centring (2 digits lost), of the spread of the intervals
// against their size (the direct sums lose that much themselves), and of the reference's variance.
constexpr double k_least_left_of_squares = 1e-2;
constexpr double k_least_relative_variance = 1e-8;
constexpr double k_least_reference_variance = 1e-2;

double tvn_value(double correlation) {
  if (std::isnan(correlation)) return k_nan;
  const double r = std::min(correlation, 1.0);
  return r <= k_neutral_correlation ? r / k_neutral_correlation - 1
                                    : (r - k_neutral_correlation) / (1 - k_neutral_correlation);
}

// Intervals in milliseconds at the grid times, NaN outside the beats.
std::vector<double> intervals_on_grid(std::span<const double> rr_seconds,
                                      const std::vector<double>& grid) {
  std::vector<double> curve(grid.size(), k_nan);
  if (rr_seconds.empty()) return curve;
  std::vector<double> intervals(rr_seconds.size()), times(rr_seconds.size());
  double elapsed = 0;
  for (std::size_t i = 0; i < rr_seconds.size(); ++i) {
    intervals[i] = rr_seconds[i] * k_milliseconds;
    elapsed += intervals[i];
    times[i] = elapsed / k_milliseconds;
  }
  KnotSearch search(times);
  for (std::size_t i = 0; i < grid.size(); ++i) {
    const double x = grid[i];
    if (!(x >= times.front() && x <= times.back())) continue;
    curve[i] = interpolate_at(x, search.interval_at(x), times, intervals);
  }
  return curve;
}

// Sums over a run of points; r is the interval relative to a centre, s and c the reference.
struct Sums {
  double r, rr, rs, rc, s, c, ss, cc;
};

// Written out member by member, so that the compiler adds them two at a time.
Sums operator+(const Sums& a, const Sums& b) {
  return {a.r + b.r, a.rr + b.rr, a.rs + b.rs, a.rc + b.rc,
          a.s + b.s, a.c + b.c,   a.ss + b.ss, a.cc + b.cc};
}

class Windows {
 public:
  Windows(std::vector<double> curve, std::size_t first, std::size_t length,
          BreathingReference reference)
      : curve_(std::move(curve)),
        first_(first),
        length_(length),
        reference_(std::move(reference)),
        suffixes_(length + 1) {}

  // One value per point.
  std::vector<double> run() {
    std::vector<double> values(curve_.size(), k_nan);
    for (std::size_t start = first_; start < curve_.size(); start += length_) {
      run_block(start, values);
      if (curve_.size() - start <= length_) break;
    }
    return values;
  }

 private:
  Sums point(std::size_t i) const {
    const double r = curve_[i] - centre_;
    const double s = reference_.sines()[i], c = reference_.cosines()[i];
    return {r, r * r, r * s, r * c, s, c, s * s, c * c};
  }

  // Prepares the sums of the block before `start`, back from its end.
  void sum_backwards(std::size_t start) {
    const std::size_t count = start == first_ ? 0 : length_;
    // Any finite value near the window's intervals serves as centre.
    centre_ = count == 0 ? curve_[start] : curve_[start - 1];
    double total = 0;
    for (std::size_t i = start - count; i < start; ++i) total += curve_[i];
    if (count > 0 && std::isfinite(total)) centre_ = total / static_cast<double>(count);
    suffixes_[0] = {};
    for (std::size_t j = 1; j <= count; ++j) {
      suffixes_[j] = suffixes_[j - 1] + point(start - j);
    }
  }

  // The values at the points whose windows end in the block from `start` on: [start, start + W).
  void run_block(std::size_t start, std::vector<double>& values) {
    sum_backwards(start);
    const std::size_t end = std::min(curve_.size(), start + length_);
    Sums prefix{};
    for (std::size_t k = start; k < end; ++k) {
      const std::size_t from = start == first_ ? first_ : k - length_;
      if (k > from && k >= length_) values[k] = value_of_window(from, k, start, prefix);
      prefix = prefix + point(k);
      if (k > 0 && curve_[k] != curve_[k - 1]) constant_from_ = k;
      if (!std::isnan(curve_[k])) present_to_ = k + 1;
    }
  }

  // The window [from, to), whose points from `start` on are summed in `prefix`.
  double value_of_window(std::size_t from, std::size_t to, std::size_t start, const Sums& prefix) {
    if (constant_from_ <= from || present_to_ <= from) return k_nan;
    const Sums sums = suffixes_[start - from] + prefix;
    const auto n = static_cast<double>(to - from);
    const double part = 1 / n;
    const double mean_r = sums.r * part;
    const double rr = sums.rr - sums.r * mean_r;
    const double ss = sums.ss - sums.s * sums.s * part;
    const double cc = sums.cc - sums.c * sums.c * part;
    const double mean_interval = mean_r + centre_;
    const bool well_conditioned =
        rr > k_least_left_of_squares * sums.rr &&
        rr > k_least_relative_variance * n * mean_interval * mean_interval &&
        ss > k_least_reference_variance * n && cc > k_least_reference_variance * n;
    // A missing interval makes the sums NaN, which is not above anything.
    if (!well_conditioned) return direct_value(from, to);
    const double rs = sums.rs - mean_r * sums.s;
    const double rc = sums.rc - mean_r * sums.c;
    return tvn_value(std::sqrt((rs * rs * cc + rc * rc * ss) / (rr * ss * cc)));
  }

  // The definition, point by point.
  double direct_value(std::size_t from, std::size_t to) {
    const std::optional<WindowMeans> means = means_of(from, to);
    if (!means) return k_nan;
    double rr = 0, rs = 0, rc = 0, ss = 0, cc = 0;
    for (std::size_t i = from; i < to; ++i) {
      const auto [sine, cosine] = reference_.exact(i);
      const double r = std::isnan(curve_[i]) ? 0 : curve_[i] - means->interval;
      const double s = sine - means->sine, c = cosine - means->cosine;
      rr += r * r;
      rs += r * s;
      rc += r * c;
      ss += s * s;
      cc += c * c;
    }
    const double r_s = rs / std::sqrt(rr * ss), r_c = rc / std::sqrt(rr * cc);
    return tvn_value(std::sqrt(r_s * r_s + r_c * r_c));
  }

  struct WindowMeans {
    double interval, sine, cosine;
  };

  // The means over a window, that of the intervals without the missing ones; none where the
  // intervals do not vary.
  std::optional<WindowMeans> means_of(std::size_t from, std::size_t to) {
    double sum_r = 0, present = 0, sum_s = 0, sum_c = 0, lowest = k_nan, highest = k_nan;
    for (std::size_t i = from; i < to; ++i) {
      const auto [sine, cosine] = reference_.exact(i);
      sum_s += sine;
      sum_c += cosine;
      if (std::isnan(curve_[i])) continue;
      sum_r += curve_[i];
      present += 1;
      lowest = std::fmin(lowest, curve_[i]);
      highest = std::fmax(highest, curve_[i]);
    }
    if (present == 0 || lowest == highest) return std::nullopt;
    const auto n = static_cast<double>(to - from);
    return WindowMeans{sum_r / present, sum_s / n, sum_c / n};
  }

  const std::vector<double> curve_;
  const std::size_t first_, length_;
  BreathingReference reference_;
  std::vector<Sums> suffixes_;  // [j]: sums over the last j points before the block
  double centre_ = 0;
  std::size_t constant_from_ = 0;  // the curve does not change from this point on
  std::size_t present_to_ = 0;     // no interval from this point on
};

// The window's length in points, limited to `points`; 0 when it is not a positive number.
std::size_t window_length(double cycle_seconds, double step_seconds, int32_t cycles,
                          std::size_t points) {
  const double length = std::trunc(cycle_seconds / step_seconds) * cycles;
  if (!(length > 0)) return 0;
  return static_cast<std::size_t>(std::min(length, static_cast<double>(points)));
}

}  // namespace

std::vector<double> compute_tvn_series(std::span<const double> rr_seconds, int32_t n_ecg_samples,
                                       int32_t cycles_per_window, double cycle_seconds, double fs,
                                       double step_seconds) {
  std::vector<double> grid = time_grid(static_cast<std::size_t>(std::max(n_ecg_samples, 0)), fs);
  if (grid.empty() || grid.back() < cycles_per_window * cycle_seconds) return {};
  std::vector<double> curve = intervals_on_grid(rr_seconds, grid);
  const auto valid =
      std::find_if_not(curve.begin(), curve.end(), [](double v) { return std::isnan(v); });
  if (valid == curve.end()) return {};
  const std::size_t length =
      window_length(cycle_seconds, step_seconds, cycles_per_window, grid.size());
  if (length == 0) return std::vector<double>(grid.size(), k_nan);
  const auto first = static_cast<std::size_t>(valid - curve.begin());
  BreathingReference reference(std::move(grid), 1 / cycle_seconds * k_two_pi);
  return Windows(std::move(curve), first, length, std::move(reference)).run();
}

}  // namespace tvn
