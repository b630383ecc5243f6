// The background jobs as the page sees them: time-frequency pictures, export and batch. Their
// state is told as it is.
#pragma once

#include <string_view>

#include "web/handlers/router.h"

namespace tvn {

inline constexpr const char* k_batch_already_running = "A batch is already running.";

// Starts the job unless it computes already; "computing" in every case, its status tells the rest.
Reply handle_tfr(const Request& request, Site& site);
Reply handle_tfr_status(const Request& request, Site& site);
Reply handle_tfr_images(const Request& request, Site& site);
// "exporting" in every case, too.
Reply handle_export(const Request& request, Site& site);
Reply handle_export_status(const Request& request, Site& site);
// "root" names the folder; without it the platform's folder chooser is shown, one at a time.
Reply handle_batch_start(const Request& request, Site& site);
// Over the uploaded files, with the person and breathing of the request.
Reply handle_batch_run(const Request& request, Site& site);
Reply handle_batch_status(const Request& request, Site& site);

}  // namespace tvn
