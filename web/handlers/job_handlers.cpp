#include "web/handlers/job_handlers.h"

#include <atomic>

#include "base/json.h"
#include "base/names.h"
#include "batch/batch_job.h"
#include "export/export_job.h"
#include "session/run_params.h"
#include "session/tfr_job.h"
#include "web/handlers/folder_chooser.h"
#include "web/handlers/upload_handlers.h"

namespace tvn {
namespace {

Reply batch_refusal(std::string_view reason) {
  return json_reply(R"({"ok":false,"reason":)" + json_quote(reason) + "}");
}

Reply batch_reply(bool started) {
  return started ? json_reply(R"({"ok":true})") : batch_refusal(k_batch_already_running);
}

std::string batch_name(const QueryParams& query) {
  for (const char* key : {"batchname", "patient"}) {
    if (has_param(query, key)) return sanitise_name(text_param(query, key));
  }
  return "import";
}

std::string error_member(const std::string& error) {
  return error.empty() ? "" : R"(,"error":)" + json_quote(error);
}

struct TfrState {
  std::string status;
  bool ready;
  SharedText image_high_time, image_high_frequency;
};

// Half a megabyte of pictures is not copied under the lock.
TfrState tfr_state(Engine& engine) {
  const SessionLock hold(engine.lock);
  return {engine.tfr_status, engine.tfr_ready, engine.tfr_image_high_time,
          engine.tfr_image_high_frequency};
}

// The turn to show a dialog, unless somebody has it already; given back at the end.
class DialogTurn {
 public:
  explicit DialogTurn(std::atomic<bool>& open) : open_(open), mine_(!open.exchange(true)) {}
  DialogTurn(const DialogTurn&) = delete;
  DialogTurn& operator=(const DialogTurn&) = delete;
  ~DialogTurn() {
    if (mine_) open_ = false;
  }
  bool is_mine() const { return mine_; }

 private:
  std::atomic<bool>& open_;
  bool mine_;
};

}  // namespace

Reply handle_tfr(const Request&, Site& site) {
  start_tfr_job(site.engine);
  return json_reply(R"({"ok":true,"status":"computing"})");
}

Reply handle_tfr_status(const Request&, Site& site) {
  Engine& engine = site.engine;
  const SessionLock hold(engine.lock);
  return json_reply(R"({"status":)" + json_quote(engine.tfr_status) +
                    error_member(engine.tfr_error) + "}");
}

Reply handle_tfr_images(const Request&, Site& site) {
  const TfrState tfr = tfr_state(site.engine);
  std::string images = "null";
  if (tfr.ready) {
    images = R"({"tfr3":)" + json_quote(tfr.image_high_time.get()) + R"(,"tfr10":)" +
             json_quote(tfr.image_high_frequency.get()) + "}";
  }
  return json_reply(R"({"status":)" + json_quote(tfr.status) + R"(,"images":)" + images + "}");
}

Reply handle_export(const Request&, Site& site) {
  start_export(site.engine);
  return json_reply(R"({"ok":true,"status":"exporting"})");
}

Reply handle_export_status(const Request&, Site& site) {
  Engine& engine = site.engine;
  const SessionLock hold(engine.lock);
  const std::string result =
      engine.export_result.empty() ? "" : R"(,"result":)" + engine.export_result;
  return json_reply(R"({"status":)" + json_quote(engine.export_status) + result +
                    error_member(engine.export_error) + "}");
}

Reply handle_batch_start(const Request& request, Site& site) {
  if (site.engine.batch_running) return batch_reply(false);
  std::string root = text_param(request.query, "root");
  if (!has_param(request.query, "root")) {
    const DialogTurn turn(site.dialog_open);
    if (!turn.is_mine()) return batch_refusal("A folder dialog is already open.");
    root = choose_folder();
  }
  if (root.empty()) return batch_refusal("No folder selected.");
  return batch_reply(start_batch(site.engine, root, false, ""));
}

Reply handle_batch_run(const Request& request, Site& site) {
  Engine& engine = site.engine;
  const MutexLock<Mutex> uploads(site.upload_control);
  if (engine.batch_running) return batch_reply(false);
  {
    const SessionLock hold(engine.lock);
    apply_params(engine, request.query);
  }
  const bool single = text_param(request.query, "mode") == "single";
  return batch_reply(start_batch(engine, upload_dir(engine), single, batch_name(request.query)));
}

Reply handle_batch_status(const Request&, Site& site) {
  Engine& engine = site.engine;
  const SessionLock hold(engine.lock);
  const std::string result =
      engine.batch_result.empty() ? "" : R"(,"result":)" + engine.batch_result;
  return json_reply(R"({"status":)" + json_quote(engine.batch_status) + R"(,"total":)" +
                    std::to_string(engine.batch_total) + R"(,"done":)" +
                    std::to_string(engine.batch_done) + R"(,"msg":)" +
                    json_quote(engine.batch_msg) + result + "}");
}

}  // namespace tvn
