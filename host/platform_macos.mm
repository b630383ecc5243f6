#include "host/platform.h"

#include <fcntl.h>
#include <mach-o/dyld.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>

#include "sensor/macos/mac_ble.h"

namespace tvn {

std::string executable_path() {
  std::array<char, 4096> path;
  auto size = static_cast<std::uint32_t>(path.size());
  return _NSGetExecutablePath(path.data(), &size) == 0 ? std::string(path.data()) : "";
}

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
