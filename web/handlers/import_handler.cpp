#include "web/handlers/import_handler.h"

#include <ctime>
#include <utility>

#include "analysis/tfr/rows.h"
#include "base/clock.h"
#include "base/files.h"
#include "base/json.h"
#include "base/names.h"
#include "batch/batch_job.h"
#include "recording/raw_ecg.h"
#include "recording/resampling.h"
#include "recording/rr_export.h"
#include "session/run_params.h"
#include "session/runs.h"
#include "web/handlers/job_handlers.h"
#include "web/handlers/upload_handlers.h"

namespace tvn {
namespace {

constexpr std::string_view k_prefix = "imported_";
constexpr std::string_view k_recording_extension = ".csv";

Reply refusal(const std::string& note) {
  return json_reply(R"({"ok":false,"note":)" + json_quote(note) + "}");
}

std::string picked_file_name(const QueryParams& query) {
  return text_param(query, "fname", text_param(query, "name", "import.txt"));
}

std::string base_name(const std::string& file_name) {
  return sanitise_name(file_name.substr(0, file_name.rfind('.')));
}

// A Kubios export has no ECG to play: it becomes a report of its own by way of a batch.
Reply import_kubios(const Request& request, Site& site) {
  Engine& engine = site.engine;
  const std::size_t beats = parse_kubios_rr(request.body).size();
  if (beats < k_tfr_min_intervals) {
    return refusal("This looks like a Kubios file but no RR-interval column was found.");
  }
  const MutexLock<Mutex> uploads(site.upload_control);
  if (engine.batch_running) return refusal(k_batch_already_running);
  const std::string name =
      fit_base_name(base_name(picked_file_name(request.query)), k_recording_extension.size());
  renew_upload_dir(engine);
  write_file(upload_dir(engine) + "/" + name + std::string(k_recording_extension), request.body);
  {
    const SessionLock hold(engine.lock);
    apply_params(engine, request.query);
  }
  if (!start_batch(engine, upload_dir(engine), true, name)) {
    return refusal(k_batch_already_running);
  }
  return json_reply(R"({"ok":true,"kubios":true,"beats":)" + std::to_string(beats) + "}");
}

std::string samples_text(const std::vector<double>& samples) {
  std::string text;
  text.reserve(samples.size() * 8);
  for (const double sample : samples) {
    append_json_number(text, sample);
    text += '\n';
  }
  return text;
}

Reply import_raw_ecg(const Request& request, Site& site) {
  const std::string file_name = picked_file_name(request.query);
  const double rate = number_param(request.query, "fs", k_ecg_rate);
  const std::vector<double> samples = resample_to_130(parse_raw_ecg(request.body), rate);
  if (samples.size() < k_fewest_analysed_samples) {
    return refusal(
        "That file did not look like a raw ECG (.txt/.csv with one sample per line) or a Kubios "
        "export.");
  }
  const std::string rest = "_" + local_time_text(std::time(nullptr), "%Y%m%d-%H%M%S") +
                           std::string(k_recording_extension);
  const std::string base = fit_base_name(base_name(file_name), k_prefix.size() + rest.size());
  const std::string stored_name = std::string(k_prefix) + base + rest;
  const std::string path = recordings_dir(site.engine) + "/" + stored_name;
  const bool written{write_file(path, samples_text(samples), Durability::at_once)};
  QueryParams query = request.query;
  query["label"] = "Imported — " + file_name;
  // What could not be written is not in the list; an empty replay is what the page then shows.
  if (!written || !start_replay(site.engine, path, query)) {
    play(site.engine, path, {}, query);
  }
  return json_reply(R"({"ok":true,"file":)" + json_quote(stored_name) + "}");
}

}  // namespace

Reply handle_import(const Request& request, Site& site) {
  if (request.body.empty()) return refusal("No file received.");
  return looks_like_kubios(request.body) ? import_kubios(request, site)
                                         : import_raw_ecg(request, site);
}

}  // namespace tvn
