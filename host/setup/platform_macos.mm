#include <mach-o/dyld.h>

#include <array>
#include <cstdint>

#include "host/setup/executable_path.h"

namespace tvn {

std::string executable_path() {
  std::array<char, 4096> path;
  auto size = static_cast<std::uint32_t>(path.size());
  return _NSGetExecutablePath(path.data(), &size) == 0 ? std::string(path.data()) : "";
}

}  // namespace tvn
