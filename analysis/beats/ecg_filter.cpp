#include "analysis/beats/ecg_filter.h"

#include "analysis/beats/filter_ends.h"
#include "analysis/beats/filter_stretches.h"

namespace tvn {

std::vector<double> sos_filter(std::span<const double> x, SectionStates& zi1, SectionStates& zi2) {
  CascadeState state;
  for (std::size_t k = 0; k < k_filter_sections; ++k) state.n1[k] = -zi1[k], state.n2[k] = -zi2[k];
  std::vector<double> y(x.size());
  run_serial(x.data(), y.data(), x.size(), Direction::forward, state);
  for (std::size_t k = 0; k < k_filter_sections; ++k) zi1[k] = -state.n1[k], zi2[k] = -state.n2[k];
  return y;
}

// The extended signal is never built: its ends only bring the two passes into their states, and
// the long middle is filtered from the input to the output and then within the output.
void bandpass_filtfilt_into(std::span<const double> ecg, double* filtered) {
  if (ecg.empty()) return;
  const std::size_t n = ecg.size();
  CascadeState state = state_before_first(ecg);
  const CascadeState first = state;
  run_fast(ecg.data(), filtered, n, Direction::forward, state);
  state = state_behind_last(ecg, state, filtered[n - 1]);
  const CascadeState last = state;
  if (!run_stretches(filtered, filtered, n, Direction::backward, state, widest_lanes())) {
    // The forward result has been overwritten.
    state = first;
    run_fast(ecg.data(), filtered, n, Direction::forward, state);
    state = last;
    run_serial(filtered, filtered, n, Direction::backward, state);
  }
}

std::vector<double> bandpass_filtfilt(std::span<const double> ecg) {
  std::vector<double> filtered(ecg.size());
  bandpass_filtfilt_into(ecg, filtered.data());
  return filtered;
}

}  // namespace tvn
