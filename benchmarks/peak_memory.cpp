#include "benchmarks/peak_memory.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <limits>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace tvn::bench {
namespace {

#ifdef __APPLE__
constexpr double k_megabytes_per_unit = 1e-6;  // ru_maxrss is in bytes
#else
constexpr double k_megabytes_per_unit = 1024e-6;  // and elsewhere in units of 1024
#endif

double peak_memory(const std::function<void()>& work) {
  const pid_t child = fork();
  if (child == 0) {
    work();
    _exit(0);
  }
  rusage usage{};
  if (child < 0 || wait4(child, nullptr, 0, &usage) < 0) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  return static_cast<double>(usage.ru_maxrss) * k_megabytes_per_unit;
}

}  // namespace

double peak_memory_growth(const std::function<void()>& work) {
#ifdef __GLIBC__
  malloc_trim(0);  // what earlier work left behind would serve this one unseen
#endif
  const double idle = peak_memory([] {});
  return peak_memory(work) - idle;
}

}  // namespace tvn::bench
