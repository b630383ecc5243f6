#include "session/engine.h"

#include <algorithm>

namespace tvn {

std::string recordings_dir(const Engine& engine) {
  return engine.data_dir + "/recordings";
}

std::string sample_data_dir(const Engine& engine) {
  return engine.data_dir + "/sample_data";
}

std::int64_t elapsed_samples(const Engine& engine) {
  if (engine.mode == "replay") return engine.replay_pos;
  if (engine.mode == "live") return static_cast<std::int64_t>(engine.live_ecg.size());
  return 0;
}

EcgView recorded_ecg(const Engine& engine) {
  const auto count = static_cast<std::size_t>(std::max<std::int64_t>(elapsed_samples(engine), 0));
  if (engine.mode == "replay") return engine.replay_ecg.view(count);
  return engine.live_ecg.view(count);
}

void reset_for_run(Engine& engine) {
  ++engine.run_number;
  engine.pass_memory = std::make_shared<PassMemory>();
  engine.hr = std::numeric_limits<double>::quiet_NaN();
  engine.tvn = std::numeric_limits<double>::quiet_NaN();
  engine.rr_count = 0;
  engine.hr_series.clear();
  engine.tvn_series.clear();
  engine.hr_series_json = {};
  engine.tvn_series_json = {};
  engine.ecg_window.clear();
  engine.markers.clear();
  engine.saved_samples = 0;
  engine.run_started_at = std::time(nullptr);
  engine.tfr_status = "idle";
  engine.tfr_error.clear();
  engine.tfr_image_high_time = {};
  engine.tfr_image_high_frequency = {};
  engine.tfr_cycle_log_power.clear();
  engine.tfr_ready = false;
  engine.saved_as.clear();
  engine.export_status = "idle";
  engine.export_result.clear();
  engine.export_error.clear();
}

}  // namespace tvn
