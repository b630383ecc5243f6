// The sensor driver on a Mac.
#pragma once

#include "sensor/ble_driver.h"

namespace tvn {

// The driver over CoreBluetooth. The program needs NSBluetoothAlwaysUsageDescription in its
// Info.plist: without it the system ends the process when the driver is made.
class MacBle : public BleDriver {
 public:
  explicit MacBle(const DriverWaits& waits = {});
};

}  // namespace tvn
