#include "export/recording_analysis.h"

#include <cmath>
#include <exception>
#include <utility>

#include "analysis/beats/running_beats.h"
#include "analysis/statistics.h"
#include "analysis/tfr/image.h"
#include "session/engine.h"

namespace tvn {

char sex_letter(std::string_view sex) {
  return static_cast<char>(sex_code_of(sex));
}

std::vector<double> rr_intervals_of(std::span<const double> ecg) {
  try {
    // Which takes no memory for the filtered samples of a long recording.
    return RunningBeats(k_max_heart_rate, k_ecg_rate).rr_intervals(ecg);
  } catch (const std::exception&) {
    return {};
  }
}

std::optional<RhythmAnalysis> analyse_rhythm(std::size_t n_samples,
                                             std::span<const double> rr_seconds,
                                             double cycle_seconds, unsigned threads) {
  if (static_cast<double>(n_samples) < cycle_seconds * k_ecg_rate) return std::nullopt;
  RhythmAnalysis rhythm{
      compute_tfr_pictures(n_samples, rr_seconds, cycle_seconds, k_ecg_rate, threads), 0};
  if (!rhythm.tfr.valid) return std::nullopt;
  rhythm.mean_log_power = mean_of_known(rhythm.tfr.cycle_log_power);
  return rhythm;
}

RhythmImages draw_rhythm(const TfrPictures& tfr, const AnalysisSettings& person) {
  TfrImageSettings settings;
  settings.sex_code = static_cast<unsigned char>(person.sex);
  settings.age = person.age;
  settings.cycle_seconds = person.cycle_seconds;
  settings.fs = k_ecg_rate;
  return {render_tfr_picture(tfr.tfr3, tfr.cols, high_time_settings(settings, tfr)),
          render_tfr_picture(tfr.tfr10, tfr.cols, high_frequency_settings(settings, tfr))};
}

double mean_of_known(std::span<const double> values) {
  std::vector<double> known(values.begin(), values.end());
  std::erase_if(known, [](double value) { return std::isnan(value); });
  return mean(known);
}

}  // namespace tvn
