// Requests that begin a run or look for what could be run.
#pragma once

#include "web/handlers/router.h"

namespace tvn {

// Whether there is a sensor driver and Bluetooth.
Reply handle_bt_available(const Request& request, Site& site);

// Looks for sensors; blocks this connection for as long as the scan takes.
Reply handle_scan(const Request& request, Site& site);

// Replays "file" from the folder "dir" ("saved", else the samples). A file that cannot be read is
// answered 404 and leaves the current run alone.
Reply handle_start_replay(const Request& request, Site& site);

// Records from the sensor "address"; 400 without one.
Reply handle_start_live(const Request& request, Site& site);

}  // namespace tvn
