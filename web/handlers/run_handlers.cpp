#include "web/handlers/run_handlers.h"

#include "base/json.h"
#include "session/runs.h"

namespace tvn {

Reply handle_bt_available(const Request&, Site& site) {
  SensorDriver* sensor = site.engine.sensor;
  const bool available = sensor != nullptr && sensor->available();
  return json_reply(available ? R"({"available":true})" : R"({"available":false})");
}

Reply handle_scan(const Request&, Site& site) {
  ScanResult found;
  if (site.engine.sensor != nullptr) found = site.engine.sensor->scan();
  if (!found.error.empty()) {
    return json_reply(R"({"success":false,"reason":)" + json_quote(found.error) + "}");
  }
  std::string devices;
  for (const SensorDevice& device : found.devices) {
    if (!devices.empty()) devices += ',';
    devices += R"({"name":)" + json_quote(device.name) + R"(,"address":)" +
               json_quote(device.identifier) + "}";
  }
  return json_reply(R"({"success":true,"devices":[)" + devices + "]}");
}

Reply handle_start_replay(const Request& request, Site& site) {
  const bool saved = text_param(request.query, "dir", "samples") == "saved";
  const std::string folder = saved ? recordings_dir(site.engine) : sample_data_dir(site.engine);
  const std::string path = folder + "/" + text_param(request.query, "file");
  if (!start_replay(site.engine, path, request.query)) {
    return json_reply(R"({"error":"file not found"})", 404);
  }
  return json_reply(R"({"ok":true})");
}

Reply handle_start_live(const Request& request, Site& site) {
  const std::string address = text_param(request.query, "address");
  if (address.empty()) return json_reply(R"({"error":"no address"})", 400);
  start_live(site.engine, address, request.query);
  return json_reply(R"({"ok":true})");
}

}  // namespace tvn
