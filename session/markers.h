// Markers: moments that the user marks with the keys 1 to 9, and the marker list that lies beside
// a saved recording.
#pragma once

#include <string>
#include <vector>

#include "session/engine.h"

namespace tvn {

// Sets a marker at the run's present sample. False, with nothing added, when `key` is not 1 to 9,
// when nothing runs, or when the last marker sits on the same sample (a bouncing or held key).
bool add_marker(Engine& engine, int key);

// The path of the marker list beside the recording at `path`: "_markers.csv" in place of the
// extension, x/abc.csv and x/abc both giving x/abc_markers.csv.
std::string markers_path(const std::string& path);

// The marker list as text: the line "marker,sample_index,seconds", then one line per marker with
// the time in seconds to 3 decimals, for people and other tools.
std::string marker_file_text(const std::vector<Marker>& markers);

// The markers beside the recording at `path`, in file order; none when there is no list. A line
// counts when it begins with a key from 1 to 9, a comma and a sample index of at least 0; what
// follows is not read, so that lists edited elsewhere (CR LF, more columns) still serve.
std::vector<Marker> read_markers(const std::string& path);

}  // namespace tvn
