#include "session/saved_recordings.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <span>

#include "base/clock.h"
#include "base/files.h"
#include "base/json.h"
#include "base/names.h"
#include "base/rounding.h"
#include "session/markers.h"

namespace tvn {
namespace {

constexpr std::size_t k_fewest_samples = 130;  // one second

struct RecordingToSave {
  EcgView ecg;
  std::string file_name;
};

std::string recording_file_name(const Engine& engine) TVN_REQUIRES(engine.lock) {
  const std::string& title = engine.name_id.empty() ? engine.source_label : engine.name_id;
  return sanitise_name(title) + "_on" + json_number(engine.indur) + "_off" +
         json_number(engine.outdur) + "_" + engine.sex + std::to_string(engine.age) + "_" +
         local_time_text(std::time(nullptr), "%Y%m%d-%H%M%S") + ".csv";
}

RecordingToSave take_recording(Engine& engine) {
  const SessionLock hold(engine.lock);
  return {recorded_ecg(engine), recording_file_name(engine)};
}

// One sample per line. The integer conversion also turns -0.4 into 0, never -0.
std::string recording_text(std::span<const double> samples) {
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

std::vector<Marker> copy_markers(Engine& engine) {
  const SessionLock hold(engine.lock);
  return engine.markers;
}

}  // namespace

std::string save_recording(Engine& engine) {
  const RecordingToSave recording = take_recording(engine);
  if (recording.ecg.size() < k_fewest_samples) {
    return R"({"ok":false,"error":"Nothing recorded to save yet."})";
  }
  const std::string path = recordings_dir(engine) + "/" + recording.file_name;
  if (!write_file(path, recording_text(recording.ecg.samples()))) {
    std::remove(path.c_str());  // half a recording, on a full disk, would pass for a whole one
    return R"({"ok":false,"error":"write failed"})";
  }
  const std::vector<Marker> markers = copy_markers(engine);
  if (!markers.empty()) write_file(markers_path(path), marker_file_text(markers));
  {
    const SessionLock hold(engine.lock);
    engine.saved_as = recording.file_name;
  }
  return R"({"ok":true,"file":)" + json_quote(recording.file_name) + R"(,"count":)" +
         std::to_string(recording.ecg.size()) + "}";
}

}  // namespace tvn
