// One analysis pass: R-peaks, heart-rate series and TVN series of everything recorded so far,
// computed without the session lock and published under it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "session/engine.h"

namespace tvn {

// What a pass works on. The view shares the run's samples, so taking it copies none.
struct PassInput {
  EcgView ecg;
  std::shared_ptr<PassMemory> memory;  // of the run
  double cycle_seconds;
  std::uint64_t run_number;
  std::uint64_t pass_number;  // passes count up, so that a late one can be told from a later one
};

// What a pass found; the members are those of Engine with the same names.
struct PassResult {
  double hr;
  double tvn;
  int rr_count;
  std::vector<SeriesPoint> hr_series;
  std::vector<SeriesPoint> tvn_series;
  std::string hr_series_json;
  std::string tvn_series_json;
  std::vector<double> ecg_window;
};

PassInput take_pass_input(Engine& engine);

// None when there are fewer than 390 samples (3 s) or no beat is found: earlier results then
// stay. The chart series are thinned to 600 to 1,199 points. analysis: that of the recording so
// far. Cost: what is new, and some 80 ns for each second before it.
std::optional<PassResult> compute_pass(const EcgView& ecg, double cycle_seconds,
                                       RunningAnalysis& analysis);

// Puts the result into the session, unless its run is over and another began, or a pass begun
// later has already published. Returns whether it did.
bool publish_pass(Engine& engine, const PassInput& input, PassResult result);

// The three of them. Never throws: a pass that fails, for want of memory say, publishes nothing.
void analyse_once(Engine& engine) noexcept;

}  // namespace tvn
