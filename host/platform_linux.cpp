#include "host/platform.h"

#include <sys/socket.h>

#include <system_error>

#include "sensor/linux/linux_ble.h"

namespace tvn {

const char* browser_command() {
  return "xdg-open";
}

int accept_connection(int listener) {
  return ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
}

std::unique_ptr<BleDriver> make_sensor_driver() {
  try {
    return std::make_unique<LinuxBle>();
  } catch (const std::system_error&) {
    return nullptr;
  }
}

}  // namespace tvn
