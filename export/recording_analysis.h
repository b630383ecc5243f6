// What exports and batches compute of a recording, each step once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "analysis/tfr/fast.h"
#include "picture/rgb_image.h"

namespace tvn {

// The person and the breathing that a recording is looked at with.
struct AnalysisSettings {
  char sex = 'M';             // 'F' or 'M'
  std::int32_t age = 40;      // years
  double cycle_seconds = 16;  // breathing in and out
};

// 'F' for exactly "F", 'M' for everything else.
char sex_letter(std::string_view sex);

// The RR intervals of an ECG at 130 samples per second, in seconds; none where their detection
// fails for want of memory: the recording itself can be exported all the same. Linear.
std::vector<double> rr_intervals_of(std::span<const double> ecg);

struct RhythmAnalysis {
  TfrPictures tfr;
  double mean_log_power = 0;  // over the cycles that have a value; NaN when none has
};

// The time-frequency part, on up to two threads; none for fewer than 3 intervals or less than a
// breathing cycle.
std::optional<RhythmAnalysis> analyse_rhythm(std::size_t n_samples,
                                             std::span<const double> rr_seconds,
                                             double cycle_seconds, unsigned threads = 2);

struct RhythmImages {
  RgbImage high_time, high_frequency;
};

// The two pictures as a report shows them.
RhythmImages draw_rhythm(const TfrPictures& tfr, const AnalysisSettings& settings);

// Mean of the values that are not NaN; NaN when there are none.
double mean_of_known(std::span<const double> values);

}  // namespace tvn
