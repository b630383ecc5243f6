// The sensor link's own log: what happened between the program and the strap, for whoever has to
// find out why there is no ECG.
#pragma once

#include <string>

namespace tvn {

// Writes "[TVN-BLE] " and the message to the system log, and a line "HH:mm:ss.SSS  message" (local
// time) to the end of Documents/TVN-Live/tvn_log.txt in the user's home folder, wherever the
// recordings are kept; the folder is made when it is missing. Failures are ignored: a full disk
// must not end a run. Any thread; lines never mix. One file is opened and closed per line.
void sensor_log(const std::string& message);

}  // namespace tvn
