// Ending in an orderly way when the user or the system asks for it.
#pragma once

namespace tvn {

// From now on the first SIGINT, SIGTERM or SIGHUP is only noted, with a line on standard error; a
// second one ends the process at once. Signals that were being ignored, as under nohup, stay so.
void note_stop_requests();

// The number of the signal that was noted; 0 while there was none. Any thread.
int stop_signal();

}  // namespace tvn
