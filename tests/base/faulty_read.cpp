#include "tests/base/faulty_read.h"

#include <dlfcn.h>
#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace tvn {
namespace {

std::function<int()> g_before;

// The system's function of the name, called as the fault that is set says.
template <typename Read, typename... Place>
ssize_t faulty(const char* name, int fd, void* buffer, std::size_t size, Place... place) {
  const auto system_read = reinterpret_cast<Read>(dlsym(RTLD_NEXT, name));
  if (!g_before) return system_read(fd, buffer, size, place...);
  const int error = g_before();
  if (error == 0) return system_read(fd, buffer, std::min<std::size_t>(size, 1000), place...);
  errno = error;  // and so it stays: a read that succeeds does not touch it
  return -1;
}

}  // namespace

FaultyRead::FaultyRead(std::function<int()> before) {
  g_before = std::move(before);
}

FaultyRead::~FaultyRead() {
  g_before = nullptr;
}

}  // namespace tvn

extern "C" ssize_t read(int fd, void* buffer, std::size_t size) {
  return tvn::faulty<ssize_t (*)(int, void*, std::size_t)>("read", fd, buffer, size);
}

extern "C" ssize_t pread(int fd, void* buffer, std::size_t size, off_t offset) {
  using Read = ssize_t (*)(int, void*, std::size_t, off_t);
  return tvn::faulty<Read>("pread", fd, buffer, size, offset);
}
