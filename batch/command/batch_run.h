// A run: every person of a plan, on as many threads as there are jobs.
#pragma once

#include <string>
#include <vector>

#include "batch/command/person_plan.h"

namespace tvn {

struct RunOptions {
  std::string output;  // made when it is missing
  unsigned jobs = 1;
  bool resume = false;
  bool json = false;    // lines on standard output
  bool quiet = false;   // no progress on standard error
  bool tables = false;  // written at the end, when the run was not ended before
};

inline constexpr int k_exit_done = 0;
inline constexpr int k_exit_some_gave_nothing = 1;
inline constexpr int k_exit_wrong_use = 2;    // or nothing could be written
inline constexpr int k_exit_by_signal = 128;  // plus its number, as shells have it

// Does what is to be done and tells on standard error what gave nothing and why. Files, lines and
// their order depend on the plan alone. Ends after the recordings under way once stop_signal() is
// set: then persons whose recordings were not all done have no folder, and there are no tables.
// Returns the exit status. Memory: a recording per job (10 MB for 5 minutes), some 200 bytes per
// recording of the plan and 8 MB at most for the pages of one person.
int run_batch_command(const std::vector<PersonPlan>& plans, const RunOptions& options);

}  // namespace tvn
