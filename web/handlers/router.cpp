#include "web/handlers/router.h"

#include <array>
#include <string_view>

#include "base/query_params.h"
#include "base/rounding.h"
#include "session/markers.h"
#include "session/runs.h"
#include "session/saved_recordings.h"
#include "session/status.h"
#include "web/handlers/import_handler.h"
#include "web/handlers/job_handlers.h"
#include "web/handlers/recording_list.h"
#include "web/handlers/run_handlers.h"
#include "web/handlers/upload_handlers.h"

namespace tvn {
namespace {

using Handler = Reply (*)(const Request&, Site&);

struct Route {
  std::string_view path;
  Handler handler;
};

Reply handle_page(const Request&, Site& site) {
  return file_reply(site.web_dir + "/index.html");
}

Reply handle_site_file(const Request& request, Site& site) {
  return file_reply(site.web_dir + request.path);
}

Reply handle_mark(const Request& request, Site& site) {
  const int key = truncate_to<int>(number_param(request.query, "key", 0.0));
  return json_reply(add_marker(site.engine, key) ? R"({"ok":true})" : R"({"ok":false})");
}

Reply handle_status(const Request&, Site& site) {
  return json_reply(status_json(site.engine));
}

Reply handle_seek(const Request& request, Site& site) {
  seek(site.engine, number_param(request.query, "frac", 0.0));
  return json_reply(R"({"ok":true})");
}

Reply handle_stop(const Request&, Site& site) {
  stop(site.engine);
  return json_reply(R"({"ok":true})");
}

Reply handle_save(const Request&, Site& site) {
  return json_reply(save_recording(site.engine));
}

Reply handle_stream(const Request&, Site& site) {
  return event_stream_reply([&engine = site.engine] { return event_text(status_json(engine)); });
}

constexpr std::array k_routes = {
    Route{"/", handle_page},
    Route{"/index.html", handle_page},
    Route{"/logo.png", handle_site_file},
    Route{"/ball.png", handle_site_file},
    Route{"/piano.wav", handle_site_file},
    Route{"/mark", handle_mark},
    Route{"/bt_available", handle_bt_available},
    Route{"/recordings", handle_recordings},
    Route{"/scan", handle_scan},
    Route{"/status", handle_status},
    Route{"/seek", handle_seek},
    Route{"/start_replay", handle_start_replay},
    Route{"/start_live", handle_start_live},
    Route{"/stop", handle_stop},
    Route{"/save", handle_save},
    Route{"/export", handle_export},
    Route{"/export_status", handle_export_status},
    Route{"/tfr", handle_tfr},
    Route{"/tfr_status", handle_tfr_status},
    Route{"/tfr_images", handle_tfr_images},
    Route{"/batch_start", handle_batch_start},
    Route{"/batch_status", handle_batch_status},
    Route{"/batch_new", handle_batch_new},
    Route{"/batch_upload", handle_batch_upload},
    Route{"/batch_run", handle_batch_run},
    Route{"/import", handle_import},
    Route{"/stream", handle_stream},
};

}  // namespace

Reply route(const Request& request, Site& site) {
  for (const Route& candidate : k_routes) {
    if (candidate.path == request.path) return candidate.handler(request, site);
  }
  return not_found_reply();
}

}  // namespace tvn
