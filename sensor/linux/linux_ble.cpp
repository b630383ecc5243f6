#include "sensor/linux/linux_ble.h"

#include <memory>

#include "sensor/linux/bluez_central.h"

namespace tvn {

LinuxBle::LinuxBle(const DriverWaits& waits) : BleDriver(std::make_unique<BluezCentral>(), waits) {}

}  // namespace tvn
