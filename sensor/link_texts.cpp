#include "sensor/link_texts.h"

namespace tvn {

std::string connection_failed_text(const std::string& reason) {
  return "Connection failed: " + (reason.empty() ? "unknown" : reason);
}

std::string connect_failed_text(const std::string& reason) {
  return "Connect failed: " + reason;
}

std::string scan_failed_text(const std::string& reason) {
  return "Bluetooth scan failed: " + reason;
}

std::string scan_done_line(std::size_t devices) {
  return "MacBle::scan() done, " + std::to_string(devices) + " device(s)";
}

std::string scan_exception_line(const std::string& reason) {
  return "MacBle::scan() EXCEPTION: " + reason;
}

std::string start_scan_line(bool powered_on, bool is_scanning) {
  return "startScan (poweredOn=" + std::to_string(powered_on) +
         ", isScanning=" + std::to_string(is_scanning) + ")";
}

std::string start_scan_exception_line(const std::string& reason) {
  return "startScan EXCEPTION: " + reason;
}

std::string connect_line(const std::string& identifier) {
  return "connectToAddress: " + identifier;
}

std::string adapter_state_line(long state, bool powered_on) {
  return "centralManagerDidUpdateState: " + std::to_string(state) +
         " poweredOn=" + std::to_string(powered_on);
}

std::string write_refused_line(const std::string& reason) {
  return "write refused: " + reason;
}

std::string notify_refused_line(const std::string& reason) {
  return "notifications refused: " + reason;
}

}  // namespace tvn
