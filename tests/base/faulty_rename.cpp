#include "tests/base/faulty_rename.h"

#include <dlfcn.h>
#include <errno.h>

namespace tvn {
namespace {

int g_error = 0;

bool fails() {
  if (g_error != 0) errno = g_error;
  return g_error != 0;
}

}  // namespace

FaultyRename::FaultyRename(int error) {
  g_error = error;
}

FaultyRename::~FaultyRename() {
  g_error = 0;
}

}  // namespace tvn

#ifdef __APPLE__
extern "C" int renamex_np(const char* from, const char* to, unsigned flags) {
  using Rename = int (*)(const char*, const char*, unsigned);
  static const auto system_rename = reinterpret_cast<Rename>(dlsym(RTLD_NEXT, "renamex_np"));
  return tvn::fails() ? -1 : system_rename(from, to, flags);
}
#else
extern "C" int renameat2(int from_folder, const char* from, int to_folder, const char* to,
                         unsigned flags) {
  using Rename = int (*)(int, const char*, int, const char*, unsigned);
  static const auto system_rename = reinterpret_cast<Rename>(dlsym(RTLD_NEXT, "renameat2"));
  return tvn::fails() ? -1 : system_rename(from_folder, from, to_folder, to, flags);
}
#endif
