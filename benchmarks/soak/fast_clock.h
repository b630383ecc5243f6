// The clock of the soak test's live run. The linker puts it in the place of monotonic_seconds()
// (base/clock.h) in the whole program, see benchmarks/CMakeLists.txt.
#pragma once

namespace tvn::soak {

// From now on the clock goes `factor` times as fast. 1 at the start.
void set_clock_speed(double factor);

// What monotonic_seconds() would say without this.
double real_seconds();

}  // namespace tvn::soak
