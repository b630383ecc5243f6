// What the program does before it ends by a signal: a closed terminal window, Ctrl-C, a shutdown.
#pragma once

#include <functional>

namespace tvn {

// From now on `task` runs once, on a thread of its own, when the process is told to end by SIGHUP,
// SIGINT or SIGTERM; then, or after `longest` seconds, the process ends by that signal. Call it
// once. Without a thread to be had at the call the signals keep their usual effect; without one for
// the task when a signal comes, the process ends without it. Ignored signals stay ignored; programs
// started by this one are not affected.
void before_end_by_signal(std::function<void()> task, double longest);

}  // namespace tvn
