#include "tests/base/faulty_read.h"

#include <dlfcn.h>
#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace tvn {
namespace {

std::function<int()> g_before;

}  // namespace

FaultyRead::FaultyRead(std::function<int()> before) {
  g_before = std::move(before);
}

FaultyRead::~FaultyRead() {
  g_before = nullptr;
}

}  // namespace tvn

extern "C" ssize_t read(int fd, void* buffer, std::size_t size) {
  using Read = ssize_t (*)(int, void*, std::size_t);
  static const auto system_read = reinterpret_cast<Read>(dlsym(RTLD_NEXT, "read"));
  if (!tvn::g_before) return system_read(fd, buffer, size);
  errno = tvn::g_before();
  return errno != 0 ? -1 : system_read(fd, buffer, std::min<std::size_t>(size, 1000));
}
