// What the kernel tells of a process, and the course of it over hours.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <vector>

namespace tvn::soak {

double resident_megabytes(pid_t process);
std::size_t thread_count(pid_t process);

struct Reading {
  double hours, megabytes;
};

// The slope of the straight line nearest to the readings but the first quarter of the time, which
// is warm-up; in MB per hour. 0 for fewer than two.
double slope_after_warm_up(const std::vector<Reading>& readings);

}  // namespace tvn::soak
