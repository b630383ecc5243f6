#include "host/platform.h"

#include <fcntl.h>
#include <sys/socket.h>

#include "sensor/macos/mac_ble.h"

namespace tvn {

const char* browser_command() {
  return "open";
}

int accept_connection(int listener) {
  const int fd = ::accept(listener, nullptr, nullptr);
  if (fd >= 0) ::fcntl(fd, F_SETFD, FD_CLOEXEC);
  return fd;
}

std::unique_ptr<BleDriver> make_sensor_driver() {
  return std::make_unique<MacBle>();
}

}  // namespace tvn
