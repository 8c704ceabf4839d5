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

// A thread keeps at most this many freed blocks per class for itself; the rest go to the
// shared lists, so a thread that only releases messages cannot hoard memory.
constexpr std::size_t kThreadCacheMax = 64;

enum class CacheState : unsigned char { Unused, Active, Gone };

// The blocks this thread may hand out without touching the shared lists. Plain data, so
// that reaching it needs no initialisation check: the hand-back at thread exit is hooked
// separately, once, by `ensureActive`.
struct ThreadCache {
  std::array<Node*, kPoolClasses> head;
  std::array<std::size_t, kPoolClasses> count;
  CacheState state;
};

// Initial-exec: the cache is reached with one load off the thread pointer instead of a call
// into the dynamic loader on every allocation (the library is loaded at start-up, and this
// one small block fits the static TLS space that the loader reserves for late loads too).
#if defined(__GNUC__)
__attribute__((tls_model("initial-exec")))
#endif
thread_local ThreadCache tCache{};

// A thread that ends hands its blocks back, so another thread can use them; blocks it frees
// after that (from other thread-exit destructors) go straight to the shared lists.
struct ThreadExitHook {
  ThreadExitHook() = default;
  ThreadExitHook(const ThreadExitHook&) = delete;
  ThreadExitHook& operator=(const ThreadExitHook&) = delete;
  ~ThreadExitHook() {
    ThreadCache& cache = tCache;
    for (std::size_t cls = 0; cls < kPoolClasses; ++cls) {
      Node* first = cache.head[cls];
      cache.head[cls] = nullptr;
      cache.count[cls] = 0;
      if (!first) continue;
      Node* last = first;
      while (last->next) last = last->next;
      pushList(cls, first, last);
    }
    cache.state = CacheState::Gone;
  }
};

// True while this thread may use its own cache.
bool ensureActive(ThreadCache& cache) {
  if (cache.state == CacheState::Active) return true;
  if (cache.state == CacheState::Gone) return false;
  static thread_local ThreadExitHook hook;  // constructed here, destroyed at thread exit
  cache.state = CacheState::Active;
  return true;
}

}  // namespace

void* poolAllocate(std::size_t bytes) {
  const std::size_t cls = classOf(bytes);
  if (bytes == 0 || cls >= kPoolClasses) return ::operator new(bytes);
  ThreadCache& cache = tCache;
  if (!ensureActive(cache)) return ::operator new((cls + 1) * kPoolGranule);
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
  if (ensureActive(cache) && cache.count[cls] < kThreadCacheMax) {
    n->next = cache.head[cls];
    cache.head[cls] = n;
    ++cache.count[cls];
    return;
  }
  pushList(cls, n, n);
}

}  // namespace veliface::stream
