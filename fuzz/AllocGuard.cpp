// The global allocation functions of every fuzz program, counting what is asked for while
// a watch is armed (see AllocWatch in FuzzSupport.h). They hand out and take back blocks
// with malloc and free, so the address sanitizer still checks every block; new and delete
// are replaced together so that no block crosses from one allocator to the other.

#include "FuzzSupport.h"

#include <cstdlib>
#include <new>

namespace veliface::fuzz {

AllocCounts& allocCounts() {
  static AllocCounts counts;
  return counts;
}

}  // namespace veliface::fuzz

namespace {

void* allocate(std::size_t n) noexcept {
  auto& c = veliface::fuzz::allocCounts();
  if (c.armed) {
    ++c.blocks;
    c.bytes += n;
    if (n > c.largest) c.largest = n;
  }
  return std::malloc(n == 0 ? 1 : n);
}

void* allocateOrThrow(std::size_t n) {
  if (void* p = allocate(n)) return p;
  throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t n) { return allocateOrThrow(n); }
void* operator new[](std::size_t n) { return allocateOrThrow(n); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
