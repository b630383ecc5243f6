#include "base/free_memory.h"

#include <cstdlib>  // tells which library it is

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace tvn {

void keep_memory_in_one_place() {
#ifdef __GLIBC__
  ::mallopt(M_ARENA_MAX, 1);  // NOLINT(concurrency-mt-unsafe): start-up has one thread
#endif
}

void return_free_memory() {
#ifdef __GLIBC__
  ::malloc_trim(0);
#endif
}

}  // namespace tvn
