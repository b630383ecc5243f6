#include "benchmarks/soak/fast_clock.h"

#include "base/clock.h"
#include "base/mutex.h"

// Mangled names, as the linker's option --wrap takes and makes them.
double shown_seconds() asm("__wrap__ZN3tvn17monotonic_secondsEv");
double system_seconds() asm("__real__ZN3tvn17monotonic_secondsEv");

namespace tvn::soak {
namespace {

struct FastClock {
  Mutex mutex;
  double factor TVN_GUARDED_BY(mutex) = 1;
  double shown_at_change TVN_GUARDED_BY(mutex) = 0;
  double real_at_change TVN_GUARDED_BY(mutex) = 0;
} clock_of_all;

double shown(double real) TVN_REQUIRES(clock_of_all.mutex) {
  return clock_of_all.shown_at_change + clock_of_all.factor * (real - clock_of_all.real_at_change);
}

}  // namespace

void set_clock_speed(double factor) {
  const double real = real_seconds();
  const MutexLock<Mutex> hold(clock_of_all.mutex);
  clock_of_all.shown_at_change = shown(real);
  clock_of_all.real_at_change = real;
  clock_of_all.factor = factor;
}

double real_seconds() {
  return system_seconds();
}

}  // namespace tvn::soak

double shown_seconds() {
  using tvn::soak::clock_of_all;
  const double real = system_seconds();
  const tvn::MutexLock<tvn::Mutex> hold(clock_of_all.mutex);
  return tvn::soak::shown(real);
}
