#include "analysis/rhythm/tvn_series.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>

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

struct BeatIntervals {
  std::vector<double> times, intervals;  // seconds, milliseconds
};

BeatIntervals beat_intervals(std::span<const double> rr_seconds) {
  BeatIntervals beats{std::vector<double>(rr_seconds.size()),
                      std::vector<double>(rr_seconds.size())};
  double elapsed = 0;
  for (std::size_t i = 0; i < rr_seconds.size(); ++i) {
    beats.intervals[i] = rr_seconds[i] * k_milliseconds;
    elapsed += beats.intervals[i];
    beats.times[i] = elapsed / k_milliseconds;
  }
  return beats;
}

// The intervals at the grid points from `from` on, NaN outside the beats.
void draw(const BeatIntervals& beats, std::span<const double> grid, std::size_t from,
          std::vector<double>& curve) {
  KnotSearch search(beats.times);
  for (std::size_t i = from; i < grid.size(); ++i) {
    const double x = grid[i];
    const bool inside = x >= beats.times.front() && x <= beats.times.back();
    curve[i] =
        inside ? interpolate_at(x, search.interval_at(x), beats.times, beats.intervals) : k_nan;
  }
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
  // The curve has its first interval at the point `first`.
  Windows(const std::vector<double>& curve, std::size_t first, std::size_t length,
          BreathingReference& reference)
      : curve_(curve),
        first_(first),
        length_(length),
        reference_(reference),
        suffixes_(length + 1) {}

  // The values of all points from `from` on, which needs the blocks from that point's on alone.
  void run(std::size_t from, std::vector<double>& values) {
    const std::size_t block = (std::max(from, first_) - first_) / length_;
    std::size_t start = first_ + block * length_;
    look_back(start);
    for (; start < curve_.size(); start += length_) run_block(start, values);
  }

 private:
  // What a run over all points before `start` would have found.
  void look_back(std::size_t start) {
    std::size_t k = start;
    while (k > first_ && std::isnan(curve_[k - 1])) --k;
    present_to_ = k > first_ ? k : 0;
    constant_from_ = start;
    while (constant_from_ > first_ && !changes_at(constant_from_ - 1)) --constant_from_;
    constant_from_ = constant_from_ > first_ ? constant_from_ - 1 : 0;
  }

  bool changes_at(std::size_t k) const { return k > 0 && curve_[k] != curve_[k - 1]; }

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
      if (changes_at(k)) constant_from_ = k;
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

  const std::vector<double>& curve_;
  const std::size_t first_, length_;
  BreathingReference& reference_;
  std::vector<Sums> suffixes_;  // [j]: sums over the last j points before the block
  double centre_ = 0;
  std::size_t constant_from_ = 0;  // the curve does not change from this point on
  std::size_t present_to_ = 0;     // no interval from this point on
};

// The window's length in points, limited to `points`; 0 when it is not a positive number.
std::size_t window_length(const TvnWindow& window, std::size_t points) {
  const double length = std::trunc(window.cycle_seconds / window.step_seconds) * window.cycles;
  if (!(length > 0)) return 0;
  return static_cast<std::size_t>(std::min(length, static_cast<double>(points)));
}

}  // namespace

std::vector<double> compute_tvn_series(std::span<const double> rr_seconds, int32_t n_ecg_samples,
                                       int32_t cycles_per_window, double cycle_seconds, double fs,
                                       double step_seconds) {
  return RunningTvn(fs).series(rr_seconds, n_ecg_samples,
                               {cycles_per_window, cycle_seconds, step_seconds});
}

RunningTvn::RunningTvn(double fs) : fs_(fs), grid_(fs), reference_(k_nan) {}

const std::vector<double>& RunningTvn::series(std::span<const double> rr_seconds,
                                              int32_t n_ecg_samples, const TvnWindow& window) {
  if (window != window_) {
    *this = RunningTvn(fs_);
    window_ = window;
    reference_ = BreathingReference(1 / window.cycle_seconds * k_two_pi);
  }
  try {
    update(rr_seconds, static_cast<std::size_t>(std::max(n_ecg_samples, 0)));
  } catch (...) {  // what is kept may be half of an old call's and half of this one's
    *this = RunningTvn(fs_);
    throw;
  }
  return values_;
}

void RunningTvn::update(std::span<const double> rr_seconds, std::size_t n_samples) {
  const std::vector<double>& grid = grid_.extend(n_samples);
  if (grid.empty() || grid.back() < window_.cycles * window_.cycle_seconds || rr_seconds.empty()) {
    values_.clear();
    return;
  }
  const std::size_t from = draw_curve(grid, rr_seconds);
  update_values(grid, from);
}

// Returns the first point that may have changed.
std::size_t RunningTvn::draw_curve(std::span<const double> grid,
                                   std::span<const double> rr_seconds) {
  const BeatIntervals beats = beat_intervals(rr_seconds);
  const std::size_t from =
      std::min(knots_.changed_from(beats.times, beats.intervals, grid), curve_.size());
  curve_.resize(grid.size());
  draw(beats, grid, from, curve_);
  return from;
}

void RunningTvn::update_values(std::span<const double> grid, std::size_t from) {
  const auto valid = std::ranges::find_if_not(curve_, [](double v) { return std::isnan(v); });
  const auto first = static_cast<std::size_t>(valid - curve_.begin());
  if (first != first_) values_.clear();
  first_ = first;
  if (valid == curve_.end()) return values_.clear();
  from = std::min(from, values_.size());
  values_.resize(grid.size(), k_nan);
  const std::size_t length = window_length(window_, grid.size());
  if (length == 0) return;
  reference_.extend(grid);
  Windows(curve_, first, length, reference_).run(from, values_);
}

}  // namespace tvn
