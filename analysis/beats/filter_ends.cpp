#include "analysis/beats/filter_ends.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace tvn {
namespace {

// Samples of extension at either end: three times the filter's order plus one (8 poles).
constexpr std::size_t k_longest_padding = 3 * (2 * k_filter_sections + 1);

std::size_t padding_of(std::span<const double> ecg) {
  return std::min(k_longest_padding, ecg.size() - 1);
}

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

}  // namespace

CascadeState state_before_first(std::span<const double> ecg) {
  std::vector<double> head;
  for (std::size_t k = padding_of(ecg); k >= 1; --k) head.push_back(2 * ecg[0] - ecg[k]);
  CascadeState state = steady_state(head.empty() ? ecg[0] : head[0]);
  run_serial(head.data(), head.data(), head.size(), Direction::forward, state);
  return state;
}

CascadeState state_behind_last(std::span<const double> ecg, CascadeState forward,
                               double forward_last) {
  const std::size_t n = ecg.size();
  std::vector<double> tail;
  for (std::size_t k = 1; k <= padding_of(ecg); ++k) {
    const std::size_t mirrored = k + 2 <= n ? n - 2 - k : 0;
    tail.push_back(2 * ecg[n - 1] - ecg[mirrored]);
  }
  run_serial(tail.data(), tail.data(), tail.size(), Direction::forward, forward);
  CascadeState state = steady_state(tail.empty() ? forward_last : tail.back());
  run_serial(tail.data(), tail.data(), tail.size(), Direction::backward, state);
  return state;
}

}  // namespace tvn
