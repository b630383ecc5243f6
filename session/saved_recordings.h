// Saving the run's ECG, with its markers beside it, into the recordings folder.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "session/engine.h"
#include "session/recording_files.h"

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

// What a save came to.
struct SaveResult {
  std::string reply;                // {"ok":true,"file":...,"count":...}, or "ok" false and "error"
  std::vector<std::string> failed;  // names of the files that could not be written
};

// Saves what has been played or received so far as
// <base>_on<in>_off<out>_<sex><age>_<local time>.csv, one whole number of microvolts per line,
// and the markers (if any) as its marker list. The base is the participant's name, or the source
// label when there is none. Returns the reply text; "ok" is false when less than one second was
// recorded or the recording could not be written. The session lock is held only to copy the
// settings and to note the file name.
std::string save_recording(Engine& engine);

// The same for a recording taken earlier. A run that began since then is not said to be saved.
SaveResult save_recording(Engine& engine, const RecordingToSave& recording);

// Waits, `longest` seconds at most, until no save and no export is under way.
void wait_for_files(const Engine& engine, double longest);

}  // namespace tvn
