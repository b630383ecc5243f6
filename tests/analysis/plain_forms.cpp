#include "tests/analysis/plain_forms.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace tvn::plain {
namespace {

constexpr double k_nan = std::numeric_limits<double>::quiet_NaN();

// Butterworth band-pass, order 4, 5 to 49 Hz at 130 Hz: b0 b1 b2 a1 a2, repeated here so that a
// slip in the program's own table shows.
constexpr double k_sections[4][5] = {
    {0.2466890928716257, 0.0, -0.2466890928716257, 0.8000796958750661, 0.19522466797987365},
    {1.0, 0.0, -1.0, 1.1379793484327494, 0.6038492898384823},
    {1.0, 0.0, -1.0, -1.5616015099547143, 0.6175958376867865},
    {1.0, 0.0, -1.0, -1.7886122465967813, 0.843498386699437}};

// One causal pass that starts in the steady state of a step of height x[0].
std::vector<double> filter_from_rest(const std::vector<double>& x) {
  double s1[4], s2[4], gain_product = 1;
  for (int k = 0; k < 4; ++k) {
    const auto& [b0, b1, b2, a1, a2] = k_sections[k];
    const double gain = (b0 + b1 + b2) / (1 + a1 + a2);
    s1[k] = (gain - b0) * gain_product * x[0];
    s2[k] = (b2 - a2 * gain) * gain_product * x[0];
    gain_product *= gain;
  }
  std::vector<double> out;
  for (double value : x) {
    for (int k = 0; k < 4; ++k) {
      const auto& [b0, b1, b2, a1, a2] = k_sections[k];
      const double y = b0 * value + s1[k];
      s1[k] = b1 * value - a1 * y + s2[k];
      s2[k] = b2 * value - a2 * y;
      value = y;
    }
    out.push_back(value);
  }
  return out;
}

double mean_of(std::span<const double> v) {
  double sum = 0;
  for (double x : v) sum += x;
  return sum / static_cast<double>(v.size());
}

double population_variance(std::span<const double> v) {
  const double m = mean_of(v);
  double sum = 0;
  for (double x : v) sum += (x - m) * (x - m);
  return sum / static_cast<double>(v.size());
}

double median_of(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  const std::size_t n = v.size();
  return n % 2 == 1 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

std::vector<double> distances_from(std::span<const double> v, double centre) {
  std::vector<double> out;
  for (double x : v) out.push_back(std::fabs(x - centre));
  return out;
}

bool all_equal(std::span<const double> v) {
  return std::all_of(v.begin(), v.end(), [&](double x) { return x == v[0]; });
}

// Linear interpolation between the bracketing knots, found by bisection; x within the knots.
double interpolate(double x, std::span<const double> times, std::span<const double> values) {
  std::size_t lo = 0, hi = times.size() - 1;
  while (hi - lo > 1) {
    const std::size_t mid = (lo + hi) / 2;
    if (times[mid] <= x) {
      lo = mid;
    } else {
      hi = mid;
    }
  }
  if (lo == hi) return values[lo];
  return values[lo] + (values[hi] - values[lo]) * ((x - times[lo]) / (times[hi] - times[lo]));
}

}  // namespace

std::vector<double> bandpass_filtfilt(std::span<const double> ecg) {
  const std::ptrdiff_t n = std::ssize(ecg);
  if (n == 0) return {};
  const auto x = [&](std::ptrdiff_t i) { return ecg[static_cast<std::size_t>(i < 0 ? 0 : i)]; };
  const std::ptrdiff_t pad = std::min<std::ptrdiff_t>(27, n - 1);
  std::vector<double> extended;
  for (std::ptrdiff_t k = pad; k >= 1; --k) extended.push_back(2 * x(0) - x(k));
  for (std::ptrdiff_t i = 0; i < n; ++i) extended.push_back(x(i));
  for (std::ptrdiff_t k = 1; k <= pad; ++k) {
    extended.push_back(2 * x(n - 1) - x(n - 1 - k - 1));
  }
  std::vector<double> y = filter_from_rest(extended);
  std::reverse(y.begin(), y.end());
  y = filter_from_rest(y);
  std::reverse(y.begin(), y.end());
  return {y.begin() + pad, y.begin() + pad + n};
}

std::vector<int32_t> local_maxima(std::span<const double> x) {
  std::vector<int32_t> out;
  const std::size_t n = x.size();
  for (std::size_t i = 1; i + 1 < n; ++i) {
    if (!(x[i - 1] < x[i])) continue;
    std::size_t j = i + 1;
    while (j + 1 < n && x[j] == x[i]) ++j;
    if (x[j] < x[i]) out.push_back(static_cast<int32_t>((i + j - 1) / 2));
  }
  return out;
}

std::vector<int32_t> suppress_close_peaks(std::span<const double> signal,
                                          std::span<const int32_t> peaks, double min_distance) {
  const double distance = std::ceil(min_distance);
  std::vector<std::size_t> order(peaks.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  const auto height = [&](std::size_t i) { return signal[static_cast<std::size_t>(peaks[i])]; };
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return height(a) < height(b); });
  std::vector<bool> kept(peaks.size(), true);
  for (auto it = order.rbegin(); it != order.rend(); ++it) {
    if (!kept[*it]) continue;
    for (std::size_t k = *it; k-- > 0 && peaks[*it] - peaks[k] < distance;) kept[k] = false;
    for (std::size_t k = *it + 1; k < peaks.size() && peaks[k] - peaks[*it] < distance; ++k) {
      kept[k] = false;
    }
  }
  std::vector<int32_t> out;
  for (std::size_t i = 0; i < peaks.size(); ++i) {
    if (kept[i]) out.push_back(peaks[i]);
  }
  return out;
}

std::vector<PeakProminence> peak_prominences(std::span<const double> x,
                                             std::span<const int32_t> peaks,
                                             double window_samples) {
  const int32_t n = static_cast<int32_t>(x.size());
  std::vector<PeakProminence> out;
  for (int32_t peak : peaks) {
    int32_t first = 0, last = n - 1;
    if (window_samples > 0) {
      const int32_t half = static_cast<int32_t>(std::min(window_samples / 2, double(n)));
      first = std::max(first, peak - half);
      last = std::min(last, peak + half);
    }
    const auto at = [&](int32_t i) { return x[static_cast<std::size_t>(i)]; };
    PeakProminence p{0, peak, peak};
    double left_min = at(peak), right_min = at(peak);
    for (int32_t i = peak; i >= first && at(i) <= at(peak); --i) {
      if (at(i) < left_min) left_min = at(i), p.left_base = i;
    }
    for (int32_t i = peak; i <= last && at(i) <= at(peak); ++i) {
      if (at(i) < right_min) right_min = at(i), p.right_base = i;
    }
    p.prominence = at(peak) - std::max(left_min, right_min);
    out.push_back(p);
  }
  return out;
}

std::vector<int32_t> find_r_peaks(std::span<const double> y, double fs, double min_distance) {
  const std::vector<int32_t> peaks = suppress_close_peaks(y, local_maxima(y), min_distance);
  if (peaks.empty()) return {};
  std::vector<double> prominences;
  const double window = 0.25 * fs >= 2 ? std::ceil(0.25 * fs) : 0;
  for (const PeakProminence& p : peak_prominences(y, peaks, window)) {
    prominences.push_back(p.prominence);
  }
  const double threshold = mean_of(y) + 4 * std::sqrt(population_variance(y));
  const auto above = std::count_if(prominences.begin(), prominences.end(),
                                   [&](double p) { return p > threshold; });
  const bool enough =
      static_cast<double>(above) >= std::ceil(static_cast<double>(y.size()) / (3 * fs));
  const double m = median_of(prominences);
  const double mad = median_of(distances_from(prominences, m));

  std::vector<int32_t> selected;
  std::vector<double> heights;
  for (std::size_t i = 0; i < peaks.size(); ++i) {
    const double score = std::fabs(0.6745 * (prominences[i] - m) / mad);
    if (enough ? prominences[i] > threshold : score > 3 && score < 7) {
      selected.push_back(peaks[i]);
      heights.push_back(y[static_cast<std::size_t>(peaks[i])]);
    }
  }
  if (selected.empty() || all_equal(heights)) return {};
  const double mean = mean_of(heights), sd = std::sqrt(population_variance(heights));
  std::vector<int32_t> out;
  for (std::size_t i = 0; i < selected.size(); ++i) {
    const double z = (heights[i] - mean) / sd;
    if (z >= -7 && z < 7) out.push_back(selected[i]);
  }
  return out;
}

std::vector<double> correct_rr_artifacts(std::span<const double> rr) {
  std::vector<double> out(rr.begin(), rr.end()), valid;
  for (double v : rr) {
    if (v > 0.2 && v < 2.0) valid.push_back(v);
  }
  if (valid.empty()) return out;
  const double m = median_of(valid), mad = median_of(distances_from(valid, m));
  if (mad == 0) return out;
  const double limit = population_variance(valid) > 0.01 ? 3 : 5;
  std::vector<std::size_t> good;
  for (std::size_t i = 0; i < rr.size(); ++i) {
    if (!(std::fabs(0.6745 * (rr[i] - m) / mad) > limit)) good.push_back(i);
  }
  if (good.empty() || good.size() == rr.size()) return out;
  for (std::size_t i = 0; i < rr.size(); ++i) {
    const auto next = std::lower_bound(good.begin(), good.end(), i);
    if (next != good.end() && *next == i) continue;
    if (next == good.begin()) {
      out[i] = rr[good.front()];
    } else if (next == good.end()) {
      out[i] = rr[good.back()];
    } else {
      const std::size_t a = *(next - 1), b = *next;
      out[i] = rr[a] + (rr[b] - rr[a]) * (static_cast<double>(i - a) / static_cast<double>(b - a));
    }
  }
  return out;
}

std::vector<double> detect_rr_intervals(std::span<const double> ecg, int32_t max_heart_rate_bpm,
                                        double fs) {
  const std::vector<double> y = bandpass_filtfilt(ecg);
  std::vector<double> negated;
  for (double v : y) negated.push_back(-v);
  const double min_distance = std::floor(fs * 60 / max_heart_rate_bpm);
  const auto plausible = [&](const std::vector<int32_t>& peaks) {
    int count = 0;
    for (std::size_t i = 1; i < peaks.size(); ++i) {
      const double interval = (peaks[i] - peaks[i - 1]) / fs;
      if (interval >= 0.33 && interval <= 1.5) ++count;
    }
    return count;
  };
  std::vector<int32_t> peaks = find_r_peaks(y, fs, min_distance);
  const std::vector<int32_t> inverted = find_r_peaks(negated, fs, min_distance);
  if (plausible(inverted) > plausible(peaks)) peaks = inverted;
  std::vector<double> rr;
  for (std::size_t i = 1; i < peaks.size(); ++i) rr.push_back((peaks[i] - peaks[i - 1]) / fs);
  return correct_rr_artifacts(rr);
}

std::vector<double> time_grid(std::size_t n_samples, double fs) {
  std::vector<double> grid;
  const double end = static_cast<double>(n_samples) / fs - 1e-12;
  for (double g = 0; g < end; g += 0.1) grid.push_back(std::round(g * 10) / 10);
  return grid;
}

void fill_nan_gaps(std::span<double> values) {
  const std::vector<double> before(values.begin(), values.end());
  const std::ptrdiff_t n = std::ssize(values);
  for (std::ptrdiff_t i = 0; i < n; ++i) {
    std::ptrdiff_t a = i, b = i;
    while (a >= 0 && std::isnan(before[static_cast<std::size_t>(a)])) --a;
    while (b < n && std::isnan(before[static_cast<std::size_t>(b)])) ++b;
    double& value = values[static_cast<std::size_t>(i)];
    if (a == i || (a < 0 && b == n)) continue;
    if (a < 0) {
      value = before[static_cast<std::size_t>(b)];
    } else if (b == n) {
      value = before[static_cast<std::size_t>(a)];
    } else {
      const double left = before[static_cast<std::size_t>(a)];
      const double right = before[static_cast<std::size_t>(b)];
      value = left + (right - left) * static_cast<double>(i - a) / static_cast<double>(b - a);
    }
  }
}

std::vector<double> build_hr_series(std::size_t n_samples, std::span<const double> rr, double fs) {
  if (rr.empty()) return {};
  std::vector<double> rates, times{0};
  for (double v : rr) {
    rates.push_back(60 / v);
    times.push_back(times.back() + v);
  }
  const double last = rates.back();
  rates.push_back(rates.size() > 1 ? last + (last - rates[rates.size() - 2]) : last);

  std::vector<double> v;
  for (double x : time_grid(n_samples, fs)) {
    v.push_back(x <= times.front()  ? rates.front()
                : x >= times.back() ? rates.back()
                                    : interpolate(x, times, rates));
  }
  const std::ptrdiff_t n = std::ssize(v);
  if (n >= 11) {
    const double w[10] = {0.0,
                          0.116977778440511,
                          0.4131759111665348,
                          0.7499999999999999,
                          0.9698463103929542,
                          0.9698463103929542,
                          0.7500000000000002,
                          0.413175911166535,
                          0.1169777784405111,
                          0.0};
    std::vector<double> p;
    for (std::ptrdiff_t k = 10; k >= 1; --k) p.push_back(v[static_cast<std::size_t>(k)]);
    p.insert(p.end(), v.begin(), v.end());
    for (std::ptrdiff_t k = n - 2; k >= n - 11; --k) p.push_back(v[static_cast<std::size_t>(k)]);
    for (std::ptrdiff_t i = 10; i < n + 10; ++i) {
      double sum = 0;
      for (std::ptrdiff_t k = 0; k < 10; ++k) sum += w[k] * p[static_cast<std::size_t>(i - 5 + k)];
      v[static_cast<std::size_t>(i - 10)] = sum / 4.500000000000001;
    }
  }
  if (v.empty()) return v;
  const double mean = mean_of(v), sd = std::sqrt(population_variance(v));
  if (!(sd > 0)) return v;
  std::vector<double> z;
  for (double s : v) z.push_back(std::fabs((s - mean) / sd));
  for (const PeakProminence& p : peak_prominences(z, local_maxima(z), 50)) {
    if (!(p.prominence >= 4.0)) continue;
    for (int32_t i = std::max(p.left_base, 1); i < p.right_base; ++i) {
      v[static_cast<std::size_t>(i)] = k_nan;
    }
  }
  fill_nan_gaps(v);
  return v;
}

std::vector<double> compute_tvn_series(std::span<const double> rr, int32_t n_ecg_samples,
                                       int32_t cycles_per_window, double cycle_seconds, double fs,
                                       double step_seconds) {
  const std::vector<double> grid =
      time_grid(static_cast<std::size_t>(std::max(n_ecg_samples, 0)), fs);
  if (grid.empty() || grid.back() < cycles_per_window * cycle_seconds) return {};
  std::vector<double> rr_ms, beat_times;
  double sum_ms = 0;
  for (double v : rr) {
    rr_ms.push_back(v * 1000);
    sum_ms += v * 1000;
    beat_times.push_back(sum_ms / 1000);
  }
  const double w = 1 / cycle_seconds * 6.283185307179586;
  std::vector<double> curve, s, c;
  for (double x : grid) {
    const bool inside = !rr.empty() && x >= beat_times.front() && x <= beat_times.back();
    curve.push_back(inside ? interpolate(x, beat_times, rr_ms) : k_nan);
    s.push_back(std::sin(w * x));
    c.push_back(std::cos(w * x));
  }
  const std::size_t n = grid.size();
  std::size_t first = 0;
  while (first < n && std::isnan(curve[first])) ++first;
  if (first == n) return {};
  const double length = std::trunc(cycle_seconds / step_seconds) * cycles_per_window;

  std::vector<double> out;
  for (std::size_t k = 0; k < n; ++k) {
    out.push_back(k_nan);
    // !(>=) also takes a length that is not a number: then there is no window at all.
    if (!(static_cast<double>(k) >= length) || !(length > 0)) continue;
    const std::size_t a = std::max(k - static_cast<std::size_t>(length), first);
    if (a >= k) continue;
    std::vector<double> present;
    double mean_s = 0, mean_c = 0;
    for (std::size_t i = a; i < k; ++i) {
      if (!std::isnan(curve[i])) present.push_back(curve[i]);
      mean_s += s[i];
      mean_c += c[i];
    }
    if (present.empty() || all_equal(present)) continue;
    const double mean_rr = mean_of(present);
    mean_s /= static_cast<double>(k - a);
    mean_c /= static_cast<double>(k - a);
    double dd = 0, ds = 0, dc = 0, ss = 0, cc = 0;
    for (std::size_t i = a; i < k; ++i) {
      const double d = std::isnan(curve[i]) ? 0 : curve[i] - mean_rr;
      dd += d * d;
      ds += d * (s[i] - mean_s);
      dc += d * (c[i] - mean_c);
      ss += (s[i] - mean_s) * (s[i] - mean_s);
      cc += (c[i] - mean_c) * (c[i] - mean_c);
    }
    const double r_s = ds / std::sqrt(dd * ss), r_c = dc / std::sqrt(dd * cc);
    const double r = std::sqrt(r_s * r_s + r_c * r_c);
    if (std::isnan(r)) continue;
    const double limited = std::min(r, 1.0);
    out.back() = limited <= 0.6 ? limited / 0.6 - 1 : (limited - 0.6) / 0.4;
  }
  return out;
}

}  // namespace tvn::plain
