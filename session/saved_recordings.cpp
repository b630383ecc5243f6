#include "session/saved_recordings.h"

#include <array>
#include <charconv>
#include <span>

#include "base/clock.h"
#include "base/files.h"
#include "base/json.h"
#include "base/names.h"
#include "base/rounding.h"

namespace tvn {
namespace {

constexpr std::size_t k_fewest_samples = 130;  // one second

std::string recording_file_name(const Engine& engine) TVN_REQUIRES(engine.lock) {
  return recording_base_name(engine) + "_on" + json_number(engine.indur) + "_off" +
         json_number(engine.outdur) + "_" + engine.sex + std::to_string(engine.age) + "_" +
         local_time_text(std::time(nullptr), "%Y%m%d-%H%M%S") + ".csv";
}

}  // namespace

std::string recording_base_name(const Engine& engine) {
  return sanitise_name(engine.name_id.empty() ? engine.source_label : engine.name_id);
}

RecordingToSave take_recording(const Engine& engine) {
  return {recorded_ecg(engine), engine.markers, recording_file_name(engine), engine.run_number};
}

// The integer conversion also turns -0.4 into 0, never -0.
std::string ecg_text(std::span<const double> samples) {
  std::string text;
  text.reserve(samples.size() * 5);
  std::array<char, 24> digits;
  for (const double sample : samples) {
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(),
                                   round_to_integer<std::int64_t>(sample))
                         .ptr;
    text.append(digits.data(), end);
    text += '\n';
  }
  return text;
}

std::string save_recording(Engine& engine) {
  const auto recording = [&] {
    const SessionLock hold(engine.lock);
    return take_recording(engine);
  }();
  return save_recording(engine, recording);
}

std::string save_recording(Engine& engine, const RecordingToSave& recording) {
  if (recording.ecg.size() < k_fewest_samples) {
    return R"({"ok":false,"error":"Nothing recorded to save yet."})";
  }
  const std::string path = recordings_dir(engine) + "/" + recording.file_name;
  if (!write_whole_file(path, ecg_text(recording.ecg.samples()))) {
    return R"({"ok":false,"error":"write failed"})";
  }
  if (!recording.markers.empty()) {
    write_file(markers_path(path), marker_file_text(recording.markers));
  }
  {
    const SessionLock hold(engine.lock);
    if (engine.run_number == recording.run_number) engine.saved_as = recording.file_name;
  }
  return R"({"ok":true,"file":)" + json_quote(recording.file_name) + R"(,"count":)" +
         std::to_string(recording.ecg.size()) + "}";
}

}  // namespace tvn
