#include <unistd.h>

#include <array>

#include "host/setup/executable_path.h"

namespace tvn {

std::string executable_path() {
  std::array<char, 4096> path;
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  return length > 0 ? std::string(path.data(), static_cast<std::size_t>(length)) : "";
}

}  // namespace tvn
