#include "tests/faulty_sync.h"

#include <dlfcn.h>

#include <filesystem>
#include <mutex>
#include <utility>

namespace tvn {
namespace {

std::mutex g_mutex;
FaultySync::Watch g_before, g_folder;

std::string path_of(int fd) {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), error).string();
}

// The system's function of the name, after `watch` has been told.
int watched(const char* name, const FaultySync::Watch& watch, int fd) {
  FaultySync::Watch tell;
  {
    const std::lock_guard hold(g_mutex);
    tell = watch;
  }
  if (tell) tell(path_of(fd));
  return reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, name))(fd);
}

}  // namespace

FaultySync::FaultySync(Watch before, Watch folder) {
  const std::lock_guard hold(g_mutex);
  g_before = std::move(before);
  g_folder = std::move(folder);
}

FaultySync::~FaultySync() {
  const std::lock_guard hold(g_mutex);
  g_before = g_folder = nullptr;
}

}  // namespace tvn

extern "C" int fdatasync(int fd) {
  return tvn::watched("fdatasync", tvn::g_before, fd);
}

extern "C" int fsync(int fd) {
  return tvn::watched("fsync", tvn::g_folder, fd);
}
