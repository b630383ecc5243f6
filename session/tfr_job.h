// The background job that draws the two time-frequency pictures of the run so far.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "session/engine.h"

namespace tvn {

// What the job works on. The view shares the run's samples, so taking it copies none.
struct TfrJobInput {
  EcgView ecg;
  double cycle_seconds;
  int sex_code;  // 70 for "F", 77 for everything else
  std::int32_t age;
  std::uint64_t run_number;
  // What to tell when the job fails, made beforehand: memory may be what is wanting then.
  std::string failure_text;
};

// Both pictures as PNG data URLs, and the mean log power of each complete breathing cycle.
struct TfrJobResult {
  std::string image_high_time;
  std::string image_high_frequency;
  std::vector<double> cycle_log_power;
};

// Starts the job on a detached thread, unless one computes already. With fewer than 390 samples
// (3 s) so far, or when no thread can be had, the TFR status becomes "error" instead.
void start_tfr_job(Engine& engine);

// None when the recording has fewer than 3 RR intervals or is shorter than a breathing cycle.
std::optional<TfrJobResult> compute_tfr_job(const TfrJobInput& input);

// Computes without the session lock and publishes under it: images, log power and "done", or
// "error" with a text for the user. A job whose run is over publishes nothing. Never throws.
void run_tfr_job(Engine& engine, TfrJobInput input) noexcept;

}  // namespace tvn
