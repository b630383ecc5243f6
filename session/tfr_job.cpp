#include "session/tfr_job.h"

#include <exception>
#include <future>
#include <thread>
#include <utility>

#include "analysis/beats/r_peaks.h"
#include "analysis/tfr/fast.h"
#include "analysis/tfr/image.h"
#include "picture/base64.h"
#include "picture/png.h"

namespace tvn {
namespace {

constexpr double k_vertical_stretch = 1.5;  // of the pictures in the page
constexpr const char* k_too_short = "Could not compute TFR (recording may be too short).";

// What the job is to work on, with the state set to "computing"; none when it may not start.
std::optional<TfrJobInput> begin_job(Engine& engine) {
  const SessionLock hold(engine.lock);
  if (engine.tfr_status == "computing") return std::nullopt;
  if (recorded_ecg(engine).size() < k_fewest_analysed_samples) {
    engine.tfr_status = "error";
    engine.tfr_error = "Not enough data recorded yet.";
    return std::nullopt;
  }
  TfrJobInput input{recorded_ecg(engine), engine.cycle_seconds, sex_code_of(engine.sex),
                    engine.age,           engine.run_number,    k_too_short};
  engine.tfr_status = "computing";
  engine.tfr_error.clear();
  return input;
}

// Allocates nothing: memory may be what the job failed for.
void publish_error(Engine& engine, TfrJobInput& input) noexcept {
  const SessionLock hold(engine.lock);
  if (engine.run_number != input.run_number) return;
  engine.tfr_status = "error";
  engine.tfr_error.swap(input.failure_text);
}

void publish_result(Engine& engine, std::uint64_t run_number, TfrJobResult result) {
  SharedText high_time(std::move(result.image_high_time));
  SharedText high_frequency(std::move(result.image_high_frequency));
  const SessionLock hold(engine.lock);
  if (engine.run_number != run_number) return;
  std::swap(engine.tfr_image_high_time, high_time);
  std::swap(engine.tfr_image_high_frequency, high_frequency);
  engine.tfr_cycle_log_power = std::move(result.cycle_log_power);
  engine.tfr_ready = true;
  engine.tfr_status = "done";
  engine.tfr_error.clear();
}

std::string data_url(const TfrPicture& picture, std::size_t cols,
                     const TfrImageSettings& settings) {
  const std::string png = png_file(render_tfr_picture(picture, cols, settings));
  return "data:image/png;base64," + base64_encode(png);
}

// Both pictures; compressing takes longest, so they are made side by side.
void draw_pictures(const TfrPictures& tfr, const TfrJobInput& input, TfrJobResult& result) {
  TfrImageSettings settings;
  settings.sex_code = input.sex_code;
  settings.age = input.age;
  settings.cycle_seconds = input.cycle_seconds;
  settings.fs = k_ecg_rate;
  settings.vertical_stretch = k_vertical_stretch;
  auto high_time =
      std::async([&] { return data_url(tfr.tfr3, tfr.cols, high_time_settings(settings, tfr)); });
  result.image_high_frequency =
      data_url(tfr.tfr10, tfr.cols, high_frequency_settings(settings, tfr));
  result.image_high_time = high_time.get();
}

}  // namespace

void start_tfr_job(Engine& engine) {
  std::optional<TfrJobInput> input = begin_job(engine);
  if (!input) return;
  try {
    std::thread([&engine, input = *input]() mutable {
      run_tfr_job(engine, std::move(input));
    }).detach();
  } catch (const std::exception&) {  // no thread to be had
    publish_error(engine, *input);
  }
}

std::optional<TfrJobResult> compute_tfr_job(const TfrJobInput& input) {
  const std::vector<double> rr =
      detect_rr_intervals(input.ecg.samples(), k_max_heart_rate, k_ecg_rate);
  TfrPictures tfr = compute_tfr_pictures(input.ecg.size(), rr, input.cycle_seconds, k_ecg_rate);
  if (!tfr.valid) return std::nullopt;
  TfrJobResult result;
  draw_pictures(tfr, input, result);
  result.cycle_log_power = std::move(tfr.cycle_log_power);
  return result;
}

void run_tfr_job(Engine& engine, TfrJobInput input) noexcept {
  try {
    if (auto result = compute_tfr_job(input)) {
      publish_result(engine, input.run_number, std::move(*result));
      return;
    }
  } catch (...) {
    // For want of memory, say; told below like every other failure.
  }
  publish_error(engine, input);
}

}  // namespace tvn
