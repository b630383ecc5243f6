// Live and replay runs: starting, pacing, seeking and stopping. A run fills the session with ECG;
// one worker thread per run paces a replay and begins an analysis pass at most once a second. A
// live run is also written to a journal; what of it was not saved outlasts the start of another
// run.
#pragma once

#include <string>
#include <vector>

#include "base/query_params.h"
#include "session/engine.h"

namespace tvn {

// Plays the recording file at `path` as if it were arriving live, at `speed` times real time
// (default 2), after ending the current run. False, with the current run going on, when the file
// cannot be read. `label` is shown as the source when present and not empty, else the file's name.
// Markers beside the recording come back. Throws std::system_error when no thread can be had;
// nothing runs then.
bool start_replay(Engine& engine, const std::string& path, const QueryParams& query)
    TVN_EXCLUDES(engine.run_control);

// The same with these samples for the file's.
void play(Engine& engine, const std::string& path, std::vector<double> samples,
          const QueryParams& query) TVN_EXCLUDES(engine.run_control);

// Records from the sensor with this identifier, after ending the current run; `device` is its
// display name. Without a sensor driver the run starts all the same and receives no samples. May
// wait 2 s for the Bluetooth adapter. Throws like start_replay.
void start_live(Engine& engine, const std::string& address, const QueryParams& query)
    TVN_EXCLUDES(engine.run_control);

// Ends the current run and waits for its worker and, 2 s at most, for a pass under way. Mode, ECG,
// results and markers stay. Harmless when nothing runs. Never called with the session lock held.
void stop(Engine& engine) TVN_EXCLUDES(engine.run_control);

// Moves a replay to the fraction `frac` (limited to [0, 1]; NaN counts as 0) of its length and
// goes on from there; an ended replay stays ended. Does nothing in other modes.
void seek(Engine& engine, double frac);

}  // namespace tvn
