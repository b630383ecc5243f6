// What a piece of work adds to the process's memory at its peak.
#pragma once

#include <functional>

namespace tvn::bench {

// Runs `work` in a child process and compares the most memory that the child ever held with that of
// a child that does nothing. In megabytes (1e6 bytes); NaN where no process is to be had. Call it
// from a process of one thread.
double peak_memory_growth(const std::function<void()>& work);

}  // namespace tvn::bench
