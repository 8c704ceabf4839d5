#include <veliface/stream/internal/ObjectPool.h>

#include <array>
#include <atomic>

namespace veliface::stream {
namespace {

struct Node {
  Node* next;
};

std::size_t classOf(std::size_t bytes) { return (bytes + kPoolGranule - 1) / kPoolGranule - 1; }

// Blocks freed by any thread, one list per size class.
std::array<std::atomic<Node*>, kPoolClasses> gReturned{};

void pushList(std::size_t cls, Node* first, Node* last) noexcept {
  Node* head = gReturned[cls].load(std::memory_order_relaxed);
  do {
    last->next = head;
  } while (!gReturned[cls].compare_exchange_weak(head, first, std::memory_order_release,
                                                 std::memory_order_relaxed));
}

// The blocks this thread may hand out without touching the shared lists.
struct ThreadCache {
  std::array<Node*, kPoolClasses> head{};
  std::array<std::size_t, kPoolClasses> count{};

  ThreadCache() = default;
  ThreadCache(const ThreadCache&) = delete;
  ThreadCache& operator=(const ThreadCache&) = delete;
  // A thread that ends hands its blocks back, so another thread can use them.
  ~ThreadCache() {
    for (std::size_t cls = 0; cls < kPoolClasses; ++cls) {
      Node* first = head[cls];
      if (!first) continue;
      Node* last = first;
      while (last->next) last = last->next;
      pushList(cls, first, last);
      head[cls] = nullptr;
      count[cls] = 0;
    }
  }
};

// A thread keeps at most this many freed blocks per class for itself; the rest go to the
// shared lists, so a thread that only releases messages cannot hoard memory.
constexpr std::size_t kThreadCacheMax = 64;

// Initial-exec: the cache is reached with one load off the thread pointer instead of a call
// into the dynamic loader on every allocation (the library is loaded at start-up, and this
// one small block fits the static TLS space that the loader reserves for late loads too).
#if defined(__GNUC__)
__attribute__((tls_model("initial-exec")))
#endif
thread_local ThreadCache tCache;

}  // namespace

void* poolAllocate(std::size_t bytes) {
  const std::size_t cls = classOf(bytes);
  if (bytes == 0 || cls >= kPoolClasses) return ::operator new(bytes);
  ThreadCache& cache = tCache;
  Node*& head = cache.head[cls];
  if (!head) {
    // The shared list may be long; its blocks count as ours from now on, but only the
    // blocks freed on this thread are counted against the cap.
    head = gReturned[cls].exchange(nullptr, std::memory_order_acquire);
  }
  if (Node* n = head) {
    head = n->next;
    if (cache.count[cls] > 0) --cache.count[cls];
    return n;
  }
  return ::operator new((cls + 1) * kPoolGranule);
}

void poolDeallocate(void* p, std::size_t bytes) noexcept {
  if (!p) return;
  const std::size_t cls = classOf(bytes);
  if (bytes == 0 || cls >= kPoolClasses) {
    ::operator delete(p);
    return;
  }
  Node* n = static_cast<Node*>(p);
  ThreadCache& cache = tCache;
  if (cache.count[cls] < kThreadCacheMax) {
    n->next = cache.head[cls];
    cache.head[cls] = n;
    ++cache.count[cls];
    return;
  }
  pushList(cls, n, n);
}

}  // namespace veliface::stream
