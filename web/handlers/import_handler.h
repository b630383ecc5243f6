// Importing one file that the user picked: a raw ECG becomes a recording of its own and replays at
// once, RR intervals become a report.
#pragma once

#include "web/handlers/router.h"

namespace tvn {

// The body is the file's content, "fname" its name, "fs" its sampling rate (default 130 Hz). The
// samples are brought to 130 Hz and kept as recordings/imported_<name>_<local time>.csv. An RR
// export of Kubios takes the place of all that the upload folder holds, and a batch over it is
// started. Refused with a "note": an empty body, fewer than 390 samples (3 s), and an RR export
// with fewer than 3 intervals or while a batch runs.
Reply handle_import(const Request& request, Site& site);

}  // namespace tvn
