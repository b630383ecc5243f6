// The driver behind the session: what scanning, starting and stopping mean, on any platform's
// central. Holds no Bluetooth code.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "sensor/central.h"
#include "sensor/sensor_driver.h"

namespace tvn {

// How long the driver waits. Only tests use others than these.
struct DriverWaits {
  int adapter_checks = 20;  // an adapter wakes within 2 s or is off
  double between_checks_seconds = 0.1;
  double scan_seconds = 10.0;  // straps advertise about once a second, not all of it is heard
};

class BleDriver : public SensorDriver {
 public:
  explicit BleDriver(std::unique_ptr<Central> central, const DriverWaits& waits = {});
  ~BleDriver() override;

  // Always: that there is a driver means that the platform has Bluetooth support.
  bool available() override;
  // Devices in the central's order. One scan at a time; a second caller waits for the first.
  ScanResult scan() override TVN_EXCLUDES(scan_mutex_);
  // Starting and stopping are serialised: a stop during the wait for the adapter comes after it.
  void start(const std::string& identifier, SamplesCallback samples, StatusCallback status) override
      TVN_EXCLUDES(run_mutex_);
  void stop() override TVN_EXCLUDES(run_mutex_);
  // For the end of the program, after stop(): sees to it that the strap is left properly.
  void leave();

 private:
  bool wait_for_adapter();
  Refusal look_around(std::vector<SensorDevice>& devices);

  const std::unique_ptr<Central> central_;
  const DriverWaits waits_;
  Mutex scan_mutex_;
  Mutex run_mutex_;
};

}  // namespace tvn
