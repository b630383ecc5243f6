#include "sensor/ble_driver.h"

#include <chrono>
#include <thread>
#include <utility>

#include "sensor/callback_slot.h"
#include "sensor/link_texts.h"
#include "sensor/sensor_log.h"

namespace tvn {
namespace {

void sleep_seconds(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

}  // namespace

BleDriver::BleDriver(std::unique_ptr<Central> central, const DriverWaits& waits)
    : central_(std::move(central)), waits_(waits) {}

BleDriver::~BleDriver() = default;

bool BleDriver::available() {
  return true;
}

void BleDriver::leave() {
  central_->leave();
}

bool BleDriver::wait_for_adapter() {
  for (int i = 0; i < waits_.adapter_checks; ++i) {
    if (central_->powered_on()) return true;
    sleep_seconds(waits_.between_checks_seconds);
  }
  return central_->powered_on();
}

Refusal BleDriver::look_around(std::vector<SensorDevice>& devices) {
  if (Refusal refusal = central_->stop_scan()) return refusal;
  if (Refusal refusal = central_->start_scan()) return refusal;
  sleep_seconds(waits_.scan_seconds);
  if (Refusal refusal = central_->stop_scan()) return refusal;
  return central_->discovered(devices);
}

ScanResult BleDriver::scan() {
  sensor_log(k_log_scan_enter);
  const MutexLock<Mutex> one_at_a_time(scan_mutex_);
  if (!wait_for_adapter()) {
    sensor_log(k_log_scan_not_powered);
    return {{}, k_scan_not_powered};
  }
  ScanResult result;
  if (const Refusal refusal = look_around(result.devices)) {
    sensor_log(scan_exception_line(*refusal));
    return {{}, scan_failed_text(*refusal)};
  }
  sensor_log(scan_done_line(result.devices.size()));
  return result;
}

void BleDriver::start(const std::string& identifier, SamplesCallback samples,
                      StatusCallback status) {
  const MutexLock<Mutex> whole(run_mutex_);
  install_callbacks(std::move(samples), std::move(status));
  const bool usable = wait_for_adapter();
  const Refusal refusal = central_->connect_to(identifier);
  if (refusal) report_status(connect_failed_text(*refusal));
  if (!usable) central_->explain_adapter();
}

void BleDriver::stop() {
  const MutexLock<Mutex> whole(run_mutex_);
  sensor_log(k_log_stop_enter);
  // A refusal changes nothing: the run ends, and the callbacks go.
  central_->stop_scan();
  central_->disconnect();
  remove_callbacks();
}

}  // namespace tvn
