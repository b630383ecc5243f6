#include "session/recording_files.h"

#include <array>
#include <charconv>

#include "base/clock.h"
#include "base/files.h"
#include "base/json.h"
#include "base/names.h"
#include "base/rounding.h"
#include "session/markers.h"

namespace tvn {

RecordingSettings recording_settings(const Engine& engine) {
  return {recording_base_name(engine), engine.indur, engine.outdur, engine.sex, engine.age};
}

std::string recording_base_name(const Engine& engine) {
  return sanitise_name(engine.name_id.empty() ? engine.source_label : engine.name_id);
}

std::string recording_file_name(const RecordingSettings& settings, std::time_t when,
                                const std::string& prefix) {
  const std::string rest =
      "_on" + json_number(settings.indur) + "_off" + json_number(settings.outdur) + "_" +
      settings.sex + std::to_string(settings.age) + "_" + local_time_text(when, "%Y%m%d-%H%M%S");
  const std::size_t others = prefix.size() + rest.size() + markers_path("").size();
  return prefix + fit_base_name(settings.base_name, others) + rest + ".csv";
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

std::vector<std::string> write_recording(const std::string& path, std::span<const double> ecg,
                                         const std::vector<Marker>& markers) {
  if (!write_file(path, ecg_text(ecg), Durability::at_once)) {
    return {std::string(file_name_of(path))};
  }
  if (write_marker_list(path, markers)) return {};
  return {std::string(file_name_of(markers_path(path)))};
}

bool write_marker_list(const std::string& path, const std::vector<Marker>& markers) {
  if (markers.empty()) return true;
  return !write_file(markers_path(path), marker_file_text(markers), Durability::at_once).error;
}

}  // namespace tvn
