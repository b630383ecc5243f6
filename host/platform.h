// What serving needs from the operating system, one file per platform.
#pragma once

#include <memory>

#include "sensor/ble_driver.h"

namespace tvn {

// The name of the command that opens an address in the default browser.
const char* browser_command();

// Accepts a connection whose socket no child process inherits; -1 on failure.
int accept_connection(int listener);

// The link to the chest strap; null when the system gives it no thread.
std::unique_ptr<BleDriver> make_sensor_driver();

}  // namespace tvn
