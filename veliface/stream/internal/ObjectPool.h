#pragma once
// Recycled memory for the small objects that every decoded frame makes (message, payload,
// event key, data chunk). A steady stream then asks the heap for nothing.
//
// Hosts may release messages on another thread than the one that decodes them, so a freed
// block goes back onto a lock-free process-wide list; the decoding thread takes that whole
// list at once into its own cache when its cache runs dry. Taking the whole list (exchange)
// rather than one node at a time (compare-and-swap on the head) is what keeps the list free
// of the ABA problem with any number of threads on either side.

#include <cstddef>
#include <memory>
#include <new>

namespace veliface::stream {

/// Fixed size classes, 64 bytes apart; larger requests go straight to the heap.
inline constexpr std::size_t kPoolGranule = 64;
inline constexpr std::size_t kPoolClasses = 4;

/// A block of at least `bytes` bytes, aligned for any fundamental type.
void* poolAllocate(std::size_t bytes);
/// Returns a block from `poolAllocate(bytes)`; any thread may call this.
void poolDeallocate(void* p, std::size_t bytes) noexcept;

/// Standard allocator over the pool, for `std::allocate_shared`.
template <typename T>
struct PoolAllocator {
  using value_type = T;
  static_assert(alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__, "pool blocks have new's alignment");

  PoolAllocator() = default;
  template <typename U>
  PoolAllocator(const PoolAllocator<U>& /*other*/) noexcept {}  // NOLINT: rebinding

  T* allocate(std::size_t n) { return static_cast<T*>(poolAllocate(n * sizeof(T))); }
  void deallocate(T* p, std::size_t n) noexcept { poolDeallocate(p, n * sizeof(T)); }

  template <typename U>
  bool operator==(const PoolAllocator<U>& /*other*/) const noexcept {
    return true;
  }
  template <typename U>
  bool operator!=(const PoolAllocator<U>& /*other*/) const noexcept {
    return false;
  }
};

/// `std::make_shared` with the object and its reference count in one pooled block.
template <typename T, typename... Args>
std::shared_ptr<T> makePooled(Args&&... args) {
  return std::allocate_shared<T>(PoolAllocator<T>(), std::forward<Args>(args)...);
}

}  // namespace veliface::stream
