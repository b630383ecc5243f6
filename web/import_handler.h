// Importing one file that the user picked: a raw ECG becomes a recording of its own and replays at
// once.
#pragma once

#include "web/router.h"

namespace tvn {

// The body is the file's content, "fname" its name, "fs" its sampling rate (default 130 Hz). The
// samples are brought to 130 Hz and kept as recordings/imported_<name>_<local time>.csv. Refused
// with a "note": an empty body, fewer than 390 samples (3 s), and RR exports of Kubios, which a
// batch turns into a report.
Reply handle_import(const Request& request, Site& site);

}  // namespace tvn
