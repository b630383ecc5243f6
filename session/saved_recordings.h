// Saving the run's ECG, with its markers beside it, into the recordings folder.
#pragma once

#include <string>

#include "session/engine.h"

namespace tvn {

// Saves what has been played or received so far as
// <base>_on<in>_off<out>_<sex><age>_<local time>.csv, one whole number of microvolts per line,
// and the markers (if any) as its marker list. The base is the participant's name, or the source
// label when there is none. Returns the reply text: {"ok":true,"file":...,"count":...}, or "ok"
// false with an "error" when less than one second was recorded or the file could not be written.
// The session lock is held only to copy the settings and to note the file name.
std::string save_recording(Engine& engine);

}  // namespace tvn
