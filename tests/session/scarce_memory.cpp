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

void* allocate_or_null(std::size_t size) noexcept {
  return size > largest_allowed ? nullptr : std::malloc(size > 0 ? size : 1);
}

void* allocate_or_throw(std::size_t size) {
  void* memory = allocate_or_null(size);
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
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return tvn::allocate_or_null(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return tvn::allocate_or_null(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}
