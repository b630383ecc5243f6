// Saving the run's ECG, with its markers beside it, into the recordings folder.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "session/engine.h"
#include "session/markers.h"

namespace tvn {

// A run as it is at one moment, to be written without the lock.
struct RecordingToSave {
  EcgView ecg;
  std::vector<Marker> markers;
  std::string file_name;
  std::uint64_t run_number;
};

// What a save at this moment writes. Copies no samples.
RecordingToSave take_recording(const Engine& engine) TVN_REQUIRES(engine.lock);

// The sanitised name of the participant, or of the source where there is none.
std::string recording_base_name(const Engine& engine) TVN_REQUIRES(engine.lock);

// ECG as text: one whole number of microvolts per line, halves away from zero.
std::string ecg_text(std::span<const double> samples);

// Saves what has been played or received so far as
// <base>_on<in>_off<out>_<sex><age>_<local time>.csv, one whole number of microvolts per line,
// and the markers (if any) as its marker list. The base is the participant's name, or the source
// label when there is none. Returns the reply text: {"ok":true,"file":...,"count":...}, or "ok"
// false with an "error" when less than one second was recorded or the file could not be written.
// The session lock is held only to copy the settings and to note the file name.
std::string save_recording(Engine& engine);

// The same for a recording taken earlier. A run that began since then is not said to be saved.
std::string save_recording(Engine& engine, const RecordingToSave& recording);

}  // namespace tvn
