#include <veliface/stream/internal/ObjectPool.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

using veliface::stream::kPoolClasses;
using veliface::stream::kPoolGranule;
using veliface::stream::poolAllocate;
using veliface::stream::poolDeallocate;

TEST(ObjectPool, BlocksFreedOnOneThreadAreHandedOutOnAnother) {
  constexpr std::size_t kCount = 300;  // well over what one thread keeps for itself
  constexpr std::size_t kBytes = 100;
  std::vector<void*> blocks;
  std::thread([&] {
    for (std::size_t i = 0; i < kCount; ++i) {
      void* p = poolAllocate(kBytes);
      ASSERT_EQ(reinterpret_cast<std::uintptr_t>(p) % alignof(std::max_align_t), 0u);
      std::memset(p, 0xA5, kBytes);
      blocks.push_back(p);
    }
  }).join();
  const std::set<void*> freed(blocks.begin(), blocks.end());
  ASSERT_EQ(freed.size(), kCount);
  // Released on a thread of its own, which then ends and hands back what it kept.
  std::thread([&] {
    for (void* p : blocks) poolDeallocate(p, kBytes);
  }).join();

  // A third thread gets every one of them back before the heap is asked for more.
  std::size_t seen = 0;
  std::vector<void*> taken;
  std::thread([&] {
    for (std::size_t i = 0; i < 100000 && seen < kCount; ++i) {
      void* p = poolAllocate(kBytes);
      taken.push_back(p);
      seen += freed.count(p);
    }
    for (void* p : taken) poolDeallocate(p, kBytes);
  }).join();
  EXPECT_EQ(seen, kCount);
}

TEST(ObjectPool, SizeClassesKeepTheirBlocksApartAndLargeRequestsUseTheHeap) {
  // A block freed as one size is never handed out for a larger one.
  for (std::size_t cls = 0; cls + 1 < kPoolClasses; ++cls) {
    const std::size_t small = (cls + 1) * kPoolGranule;
    void* p = poolAllocate(small);
    poolDeallocate(p, small);
    void* q = poolAllocate(small + 1);
    EXPECT_NE(p, q) << small;
    std::memset(q, 0, small + 1);
    poolDeallocate(q, small + 1);
  }
  const std::size_t large = kPoolClasses * kPoolGranule + 1;
  void* big = poolAllocate(large);
  std::memset(big, 0, large);  // the sanitizer build checks the size
  poolDeallocate(big, large);
}

TEST(ObjectPool, ConcurrentAllocateAndReleaseKeepBlocksExclusive) {
  // Two threads pass blocks to each other through a shared slot array and write a pattern
  // into each block they own; a block handed out twice would show a foreign pattern.
  constexpr int kRounds = 20000;
  std::vector<std::atomic<void*>> slots(64);
  std::atomic<int> bad{0};
  auto worker = [&](unsigned char mark, std::size_t bytes) {
    for (int i = 0; i < kRounds; ++i) {
      auto* p = static_cast<unsigned char*>(poolAllocate(bytes));
      std::memset(p, mark, bytes);
      std::this_thread::yield();
      if (p[0] != mark || p[bytes - 1] != mark) ++bad;
      void* other = slots[static_cast<std::size_t>(i) % slots.size()].exchange(p);
      if (other) poolDeallocate(other, bytes);
    }
  };
  std::thread a(worker, static_cast<unsigned char>(1), std::size_t{48});
  std::thread b(worker, static_cast<unsigned char>(2), std::size_t{48});
  a.join();
  b.join();
  for (auto& s : slots) poolDeallocate(s.exchange(nullptr), 48);
  EXPECT_EQ(bad.load(), 0);
}
