// The person's and the breathing settings that come with every start request.
#pragma once

#include "base/query_params.h"
#include "session/engine.h"

namespace tvn {

// Takes over "name", "indur", "outdur", "sex", "age" and "fs" into the session. A parameter that
// is absent or unreadable gets its default: empty, 5 s, 11 s, "M", 40 years, 130 Hz. Only "fs"
// keeps the session's value when it is absent, or a number outside 20 to 20000 Hz. Durations are at
// least 0.05 s and whole hundredths; cycle_seconds is their sum.
void apply_params(Engine& engine, const QueryParams& query) TVN_REQUIRES(engine.lock);

}  // namespace tvn
