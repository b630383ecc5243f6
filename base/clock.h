// The two clocks: one that only goes forward, for pacing, and the calendar's, for names and dates.
#pragma once

#include <ctime>
#include <string>

namespace tvn {

// Seconds of the monotonic clock; only differences mean anything.
double monotonic_seconds();

// `when` as local time in strftime's `format`, such as "%Y%m%d-%H%M%S". Empty when the result does
// not fit 256 bytes. The program sets no locale, so that names of days and months are English.
std::string local_time_text(std::time_t when, const char* format);

}  // namespace tvn
