#include "zol/pmr/counting_resource.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <vector>

namespace {

using zol::pmr::CountingResource;
using zol::pmr::get_default_resource;
using zol::pmr::new_delete_resource;
using zol::pmr::ScopedDefaultResource;

TEST(CountingResource, StartsWithAllCountsZero) {
  const CountingResource counting;
  EXPECT_EQ(counting.allocation_count(), 0U);
  EXPECT_EQ(counting.deallocation_count(), 0U);
  EXPECT_EQ(counting.bytes_allocated(), 0U);
  EXPECT_EQ(counting.bytes_deallocated(), 0U);
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.outstanding_bytes(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
  EXPECT_EQ(counting.upstream(), new_delete_resource());
}

TEST(CountingResource, CountsAllocationsDeallocationsAndBytes) {
  CountingResource counting;
  void* a = counting.allocate(10, 8);
  void* b = counting.allocate(32, 16);
  EXPECT_EQ(counting.allocation_count(), 2U);
  EXPECT_EQ(counting.bytes_allocated(), 42U);
  EXPECT_EQ(counting.outstanding_allocations(), 2U);
  EXPECT_EQ(counting.outstanding_bytes(), 42U);
  counting.deallocate(a, 10, 8);
  EXPECT_EQ(counting.deallocation_count(), 1U);
  EXPECT_EQ(counting.bytes_deallocated(), 10U);
  EXPECT_EQ(counting.outstanding_allocations(), 1U);
  EXPECT_EQ(counting.outstanding_bytes(), 32U);
  counting.deallocate(b, 32, 16);
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.outstanding_bytes(), 0U);
  EXPECT_EQ(counting.bytes_allocated(), 42U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST(CountingResource, ForwardsSizeAndAlignmentToTheUpstream) {
  CountingResource upstream;
  CountingResource counting(&upstream);
  void* p = counting.allocate(100, 128);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 128, 0U);
  EXPECT_EQ(upstream.allocation_count(), 1U);
  EXPECT_EQ(upstream.bytes_allocated(), 100U);
  counting.deallocate(p, 100, 128);
  EXPECT_EQ(upstream.deallocation_count(), 1U);
  EXPECT_EQ(upstream.mismatched_deallocations(), 0U);
}

TEST(CountingResource, AWrongSizeIsAMismatchAndIsNotForwarded) {
  CountingResource upstream;
  CountingResource counting(&upstream);
  void* p = counting.allocate(24, 8);
  counting.deallocate(p, 16, 8);
  EXPECT_EQ(counting.mismatched_deallocations(), 1U);
  EXPECT_EQ(counting.deallocation_count(), 0U);
  EXPECT_EQ(counting.outstanding_allocations(), 1U);
  EXPECT_EQ(upstream.deallocation_count(), 0U);
  counting.deallocate(p, 24, 8);  // the allocation stayed live and can still be returned properly
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(upstream.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 1U);
}

TEST(CountingResource, AWrongAlignmentIsAMismatch) {
  CountingResource counting;
  void* p = counting.allocate(64, 64);
  counting.deallocate(p, 64, 16);
  EXPECT_EQ(counting.mismatched_deallocations(), 1U);
  EXPECT_EQ(counting.outstanding_allocations(), 1U);
  counting.deallocate(p, 64, 64);
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
}

TEST(CountingResource, AnAddressItNeverGaveOutIsAMismatch) {
  CountingResource upstream;
  CountingResource counting(&upstream);
  alignas(16) unsigned char foreign[16];
  counting.deallocate(foreign, sizeof(foreign), 16);
  EXPECT_EQ(counting.mismatched_deallocations(), 1U);
  EXPECT_EQ(upstream.deallocation_count(), 0U);
  EXPECT_EQ(upstream.mismatched_deallocations(), 0U);
}

TEST(CountingResource, ASecondDeallocationOfTheSameBlockIsAMismatch) {
  CountingResource upstream;
  CountingResource counting(&upstream);
  void* p = counting.allocate(8, 8);
  counting.deallocate(p, 8, 8);
  counting.deallocate(p, 8, 8);
  EXPECT_EQ(counting.deallocation_count(), 1U);
  EXPECT_EQ(counting.mismatched_deallocations(), 1U);
  EXPECT_EQ(upstream.deallocation_count(), 1U);
}

TEST(CountingResource, ResetCountsZeroesTheTotalsButKeepsTrackingLiveBlocks) {
  CountingResource counting;
  void* p = counting.allocate(8, 8);
  counting.deallocate(p, 4, 8);
  counting.ResetCounts();
  EXPECT_EQ(counting.allocation_count(), 0U);
  EXPECT_EQ(counting.bytes_allocated(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
  EXPECT_EQ(counting.outstanding_allocations(), 1U);
  EXPECT_EQ(counting.outstanding_bytes(), 8U);
  counting.deallocate(p, 8, 8);
  EXPECT_EQ(counting.deallocation_count(), 1U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
}

TEST(CountingResource, IsEqualOnlyToItself) {
  CountingResource a;
  CountingResource b;
  EXPECT_TRUE(a.is_equal(a));
  EXPECT_FALSE(a.is_equal(b));
}

TEST(CountingResource, CountsExactlyUnderConcurrentUse) {
  CountingResource counting;
  constexpr int kThreads = 4;
  constexpr int kRounds = 1000;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&counting] {
      for (int i = 0; i < kRounds; ++i) {
        void* p = counting.allocate(16, 8);
        counting.deallocate(p, 16, 8);
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(counting.allocation_count(), static_cast<std::size_t>(kThreads * kRounds));
  EXPECT_EQ(counting.deallocation_count(), static_cast<std::size_t>(kThreads * kRounds));
  EXPECT_EQ(counting.bytes_allocated(), static_cast<std::size_t>(16 * kThreads * kRounds));
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST(ScopedDefaultResource, InstallsTheResourceAndRestoresThePreviousOne) {
  zol::pmr::memory_resource* before = get_default_resource();
  CountingResource outer;
  CountingResource inner;
  {
    ScopedDefaultResource scoped_outer(&outer);
    EXPECT_EQ(get_default_resource(), &outer);
    EXPECT_EQ(scoped_outer.previous(), before);
    {
      ScopedDefaultResource scoped_inner(&inner);
      EXPECT_EQ(get_default_resource(), &inner);
      EXPECT_EQ(scoped_inner.previous(), &outer);
    }
    EXPECT_EQ(get_default_resource(), &outer);
  }
  EXPECT_EQ(get_default_resource(), before);
}

TEST(ScopedDefaultResource, CanServeAsTheDefaultForOrdinaryAllocations) {
  CountingResource counting;
  ScopedDefaultResource scoped(&counting);
  void* p = get_default_resource()->allocate(12, 4);
  get_default_resource()->deallocate(p, 12, 4);
  EXPECT_EQ(counting.allocation_count(), 1U);
  EXPECT_EQ(counting.deallocation_count(), 1U);
}

}  // namespace
