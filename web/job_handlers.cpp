#include "web/job_handlers.h"

#include "base/json.h"
#include "session/tfr_job.h"
#include "web/folder_chooser.h"

namespace tvn {
namespace {

constexpr std::string_view k_export_not_available = "Export is not available in this version.";

Reply batch_refusal(std::string_view reason) {
  return json_reply(R"({"ok":false,"reason":)" + json_quote(reason) + "}");
}

std::string error_member(const std::string& error) {
  return error.empty() ? "" : R"(,"error":)" + json_quote(error);
}

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
  Engine& engine = site.engine;
  const SessionLock hold(engine.lock);
  std::string images = "null";
  if (engine.tfr_ready) {
    images = R"({"tfr3":)" + json_quote(engine.tfr_image_high_time) + R"(,"tfr10":)" +
             json_quote(engine.tfr_image_high_frequency) + "}";
  }
  return json_reply(R"({"status":)" + json_quote(engine.tfr_status) + R"(,"images":)" + images +
                    "}");
}

Reply handle_export(const Request&, Site& site) {
  Engine& engine = site.engine;
  const SessionLock hold(engine.lock);
  engine.export_status = "error";
  engine.export_error = k_export_not_available;
  return json_reply(R"({"ok":false,"error":)" + json_quote(engine.export_error) + "}");
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
  if (site.engine.batch_running) return batch_refusal(k_batch_already_running);
  const bool named = has_param(request.query, "root");
  const std::string root = named ? text_param(request.query, "root") : choose_folder();
  if (root.empty()) return batch_refusal("No folder selected.");
  return batch_refusal(k_batch_not_available);
}

Reply handle_batch_run(const Request&, Site& site) {
  return batch_refusal(site.engine.batch_running ? k_batch_already_running : k_batch_not_available);
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
