#include "tests/faulty_sync.h"

#include <dlfcn.h>

#include <cerrno>
#include <filesystem>
#include <mutex>
#include <utility>

namespace tvn {
namespace {

std::mutex g_mutex;
FaultySync::Watch g_before, g_folder;
int g_error = 0;

std::string path_of(int fd) {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), error).string();
}

// The system's function of the name, after `watch` has been told; or only the error.
int watched(const char* name, const FaultySync::Watch& watch, const int& failure, int fd) {
  FaultySync::Watch tell;
  int error = 0;
  {
    const std::lock_guard hold(g_mutex);
    tell = watch;
    error = failure;
  }
  if (tell) tell(path_of(fd));
  if (error != 0) {
    errno = error;
    return -1;
  }
  return reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, name))(fd);
}

}  // namespace

FaultySync::FaultySync(Watch before, Watch folder, int error) {
  const std::lock_guard hold(g_mutex);
  g_before = std::move(before);
  g_folder = std::move(folder);
  g_error = error;
}

FaultySync::~FaultySync() {
  const std::lock_guard hold(g_mutex);
  g_before = g_folder = nullptr;
  g_error = 0;
}

}  // namespace tvn

extern "C" int fdatasync(int fd) {
  return tvn::watched("fdatasync", tvn::g_before, tvn::g_error, fd);
}

extern "C" int fsync(int fd) {
  return tvn::watched("fsync", tvn::g_folder, 0, fd);
}
