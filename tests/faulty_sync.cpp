#include "tests/faulty_sync.h"

#include <dlfcn.h>

#include <filesystem>
#include <mutex>
#include <utility>

namespace tvn {
namespace {

std::mutex g_mutex;
std::function<void(const std::string&)> g_before;

std::string path_of(int fd) {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), error).string();
}

}  // namespace

FaultySync::FaultySync(std::function<void(const std::string&)> before) {
  const std::lock_guard hold(g_mutex);
  g_before = std::move(before);
}

FaultySync::~FaultySync() {
  const std::lock_guard hold(g_mutex);
  g_before = nullptr;
}

}  // namespace tvn

extern "C" int fdatasync(int fd) {
  using Sync = int (*)(int);
  static const auto system_sync = reinterpret_cast<Sync>(dlsym(RTLD_NEXT, "fdatasync"));
  std::function<void(const std::string&)> before;
  {
    const std::lock_guard hold(tvn::g_mutex);
    before = tvn::g_before;
  }
  if (before) before(tvn::path_of(fd));
  return system_sync(fd);
}
