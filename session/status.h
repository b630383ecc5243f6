// The status snapshot: everything that the page shows, as one JSON object.
#pragma once

#include <string>

#include "session/engine.h"

namespace tvn {

// One consistent snapshot, made under the session lock. Keys stand in a fixed order without
// blanks; times in seconds, the ECG excerpt at most 780 samples (6 s) in microvolts. A live
// excerpt ends 52 samples (0.4 s) behind real time, because a strap sends frames in bursts that
// would jerk at the right edge. Costs tens of microseconds: the long series come as text from the
// last analysis pass.
std::string status_json(Engine& engine);

}  // namespace tvn
