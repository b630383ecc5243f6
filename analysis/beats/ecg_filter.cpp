#include "analysis/beats/ecg_filter.h"

#include <algorithm>

#include "analysis/beats/filter_stretches.h"

namespace tvn {
namespace {

// Samples of extension at either end: three times the filter's order plus one (8 poles).
constexpr std::size_t k_longest_padding = 3 * (2 * k_filter_sections + 1);

// The state in which the cascade answers a constant input of `level` with a constant output.
CascadeState steady_state(double level) {
  CascadeState state;
  double gain_before = 1;  // at zero frequency, of all earlier sections
  for (std::size_t k = 0; k < k_filter_sections; ++k) {
    const FilterSection& s = ecg_bandpass_sos[k];
    const double gain = (s.b0 + s.b1 + s.b2) / (1 + s.a1 + s.a2);
    state.n1[k] = -((gain - s.b0) * gain_before * level);
    state.n2[k] = -((s.b2 - s.a2 * gain) * gain_before * level);
    gain_before *= gain;
  }
  return state;
}

// The reflections of a signal of at least one sample.
struct Extension {
  std::vector<double> head, tail;
};

Extension odd_extension(std::span<const double> x) {
  const std::size_t n = x.size();
  const std::size_t padding = std::min(k_longest_padding, n - 1);
  Extension extension;
  for (std::size_t k = padding; k >= 1; --k) extension.head.push_back(2 * x[0] - x[k]);
  for (std::size_t k = 1; k <= padding; ++k) {
    const std::size_t mirrored = k + 2 <= n ? n - 2 - k : 0;
    extension.tail.push_back(2 * x[n - 1] - x[mirrored]);
  }
  return extension;
}

}  // namespace

std::vector<double> sos_filter(std::span<const double> x, SectionStates& zi1, SectionStates& zi2) {
  CascadeState state;
  for (std::size_t k = 0; k < k_filter_sections; ++k) state.n1[k] = -zi1[k], state.n2[k] = -zi2[k];
  std::vector<double> y(x.size());
  run_serial(x.data(), y.data(), x.size(), Direction::forward, state);
  for (std::size_t k = 0; k < k_filter_sections; ++k) zi1[k] = -state.n1[k], zi2[k] = -state.n2[k];
  return y;
}

// The extended signal is never built: its head only brings the forward pass into its state (and
// the backward pass may stop before it), its tail is filtered apart, and the long middle is
// filtered from the input to the output and then within the output.
void bandpass_filtfilt_into(std::span<const double> ecg, double* filtered) {
  if (ecg.empty()) return;
  const std::size_t n = ecg.size();
  const Extension extension = odd_extension(ecg);
  std::vector<double> head(extension.head.size()), tail(extension.tail.size());
  const double first = head.empty() ? ecg[0] : extension.head[0];

  const auto forward = [&] {
    CascadeState state = steady_state(first);
    run_serial(extension.head.data(), head.data(), head.size(), Direction::forward, state);
    CascadeState after = state;
    if (!run_stretches(ecg.data(), filtered, n, Direction::forward, after, widest_lanes())) {
      after = state;
      run_serial(ecg.data(), filtered, n, Direction::forward, after);
    }
    run_serial(extension.tail.data(), tail.data(), tail.size(), Direction::forward, after);
  };
  forward();

  CascadeState state = steady_state(tail.empty() ? filtered[n - 1] : tail.back());
  run_serial(tail.data(), tail.data(), tail.size(), Direction::backward, state);
  const CascadeState before = state;
  if (!run_stretches(filtered, filtered, n, Direction::backward, state, widest_lanes())) {
    // The forward result has been overwritten.
    forward();
    state = before;
    run_serial(filtered, filtered, n, Direction::backward, state);
  }
}

std::vector<double> bandpass_filtfilt(std::span<const double> ecg) {
  std::vector<double> filtered(ecg.size());
  bandpass_filtfilt_into(ecg, filtered.data());
  return filtered;
}

}  // namespace tvn
