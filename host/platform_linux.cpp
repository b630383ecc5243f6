#include "host/platform.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <system_error>

#include "sensor/linux/linux_ble.h"

namespace tvn {

std::string executable_path() {
  std::array<char, 4096> path;
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  return length > 0 ? std::string(path.data(), static_cast<std::size_t>(length)) : "";
}

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
