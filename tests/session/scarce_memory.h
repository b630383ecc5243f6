// Makes large allocations of this test program fail, as they do when memory runs out.
#pragma once

#include <cstddef>

namespace tvn {

// While one lives, operator new throws std::bad_alloc for more than `largest` bytes, in every
// thread.
class ScarceMemory {
 public:
  explicit ScarceMemory(std::size_t largest);
  ~ScarceMemory();
  ScarceMemory(const ScarceMemory&) = delete;
  ScarceMemory& operator=(const ScarceMemory&) = delete;
};

}  // namespace tvn
