// Recordings as files: what they are called, and how they come to the disk with their markers.
#pragma once

#include <ctime>
#include <span>
#include <string>
#include <vector>

#include "session/engine.h"

namespace tvn {

// What the name of a run's recording tells of it.
struct RecordingSettings {
  std::string base_name;  // sanitised
  double indur = 5.0;     // seconds
  double outdur = 11.0;   // seconds
  std::string sex = "M";
  std::int32_t age = 40;
  bool operator==(const RecordingSettings&) const = default;
};

RecordingSettings recording_settings(const Engine& engine) TVN_REQUIRES(engine.lock);

// The sanitised name of the participant, or of the source where there is none.
std::string recording_base_name(const Engine& engine) TVN_REQUIRES(engine.lock);

// `prefix` and <base>_on<in>_off<out>_<sex><age>_<local time>.csv; the base is cut where the name,
// or that of the marker list beside the recording, would be too long for the file system.
std::string recording_file_name(const RecordingSettings& settings, std::time_t when,
                                const std::string& prefix = "");

// ECG as text: one whole number of microvolts per line, halves away from zero.
std::string ecg_text(std::span<const double> samples);

// Writes the recording at `path` and, when there are any, the markers beside it, so that both
// outlast a power cut. Returns the names of the files that could not be written: none, the
// recording's (the markers are then not tried), or the marker list's.
std::vector<std::string> write_recording(const std::string& path, std::span<const double> ecg,
                                         const std::vector<Marker>& markers);

// The markers' part of that: true when there are none.
bool write_marker_list(const std::string& path, const std::vector<Marker>& markers);

}  // namespace tvn
