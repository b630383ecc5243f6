// The two halves of the soak test. Each prints its figures and returns whether they are within the
// limits.
#pragma once

namespace tvn::soak {

inline constexpr double k_steepest_slope = 1.0;  // MB per hour after warm-up
inline constexpr double k_longest_pass = 0.050;  // seconds

// The real program replays recordings at 100 times real time in a loop for this long, drawing the
// pictures and exporting each, with 8 pages at its event stream. Its memory is looked at when
// nothing goes on between two recordings.
bool soak_replays(double minutes);

// A live run of 12 hours in this process on a clock that runs so fast that it takes this long: the
// run's own worker and journal, a strap that sends as much as one does, and 8 pages. Of the memory
// the recording and what a run keeps for each of its seconds are left out.
bool soak_live_run(double minutes);

}  // namespace tvn::soak
