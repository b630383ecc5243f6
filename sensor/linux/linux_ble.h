// The sensor driver on Linux.
#pragma once

#include "sensor/ble_driver.h"

namespace tvn {

// The driver over BlueZ. Needs no root and no configuration; the system bus is the one that
// DBUS_SYSTEM_BUS_ADDRESS names, else the usual one.
class LinuxBle : public BleDriver {
 public:
  // Throws std::system_error when the Bluetooth thread cannot be started.
  explicit LinuxBle(const DriverWaits& waits = {});
};

}  // namespace tvn
