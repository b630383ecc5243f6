#include "tests/session/scarce_memory.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace tvn {
namespace {

std::atomic<std::size_t> largest_allowed = std::numeric_limits<std::size_t>::max();

}  // namespace

ScarceMemory::ScarceMemory(std::size_t largest) {
  largest_allowed = largest;
}

ScarceMemory::~ScarceMemory() {
  largest_allowed = std::numeric_limits<std::size_t>::max();
}

void* allocate_or_throw(std::size_t size) {
  void* memory = size > largest_allowed ? nullptr : std::malloc(size > 0 ? size : 1);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace tvn

void* operator new(std::size_t size) {
  return tvn::allocate_or_throw(size);
}
void* operator new[](std::size_t size) {
  return tvn::allocate_or_throw(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}
