#include "zol/pmr/polymorphic_allocator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "zol/pmr/counting_resource.h"

namespace {

using zol::pmr::CountingResource;
using zol::pmr::polymorphic_allocator;
using zol::pmr::ScopedDefaultResource;

static_assert(std::is_same<polymorphic_allocator<int>::value_type, int>::value, "value_type");
static_assert(std::is_same<std::allocator_traits<polymorphic_allocator<int>>::rebind_alloc<double>,
                           polymorphic_allocator<double>>::value,
              "rebinding gives the allocator of the other type");
static_assert(std::is_same<zol::pmr::string::allocator_type, polymorphic_allocator<char>>::value, "pmr::string");
static_assert(std::is_same<zol::pmr::vector<int>::allocator_type, polymorphic_allocator<int>>::value, "pmr::vector");

struct alignas(32) Wide {
  std::uint8_t bytes[64];
};

TEST(PolymorphicAllocator, DefaultConstructedTakesTheDefaultResourceCurrentAtConstruction) {
  CountingResource first;
  CountingResource second;
  ScopedDefaultResource scoped_first(&first);
  const polymorphic_allocator<int> allocator;
  ScopedDefaultResource scoped_second(&second);
  EXPECT_EQ(allocator.resource(), &first);
  EXPECT_EQ(polymorphic_allocator<int>().resource(), &second);
}

TEST(PolymorphicAllocator, AllocatesTheSizeAndAlignmentOfTheValueType) {
  CountingResource counting;
  polymorphic_allocator<Wide> allocator(&counting);
  Wide* p = allocator.allocate(3);
  EXPECT_EQ(counting.bytes_allocated(), 3 * sizeof(Wide));
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % alignof(Wide), 0U);
  allocator.deallocate(p, 3);
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST(PolymorphicAllocator, AnOversizedRequestThrowsBadAlloc) {
  CountingResource counting;
  polymorphic_allocator<Wide> allocator(&counting);
  EXPECT_THROW(allocator.allocate(std::numeric_limits<std::size_t>::max() / 2), std::bad_alloc);
  EXPECT_EQ(counting.allocation_count(), 0U);
}

TEST(PolymorphicAllocator, ReboundCopiesShareTheResource) {
  CountingResource counting;
  const polymorphic_allocator<int> ints(&counting);
  const polymorphic_allocator<double> doubles(ints);
  EXPECT_EQ(doubles.resource(), &counting);
  EXPECT_TRUE(ints == doubles);
}

TEST(PolymorphicAllocator, EqualityFollowsTheResources) {
  CountingResource a;
  CountingResource b;
  EXPECT_TRUE(polymorphic_allocator<int>(&a) == polymorphic_allocator<char>(&a));
  EXPECT_TRUE(polymorphic_allocator<int>(&a) != polymorphic_allocator<int>(&b));
}

TEST(PolymorphicAllocator, VectorTakesItsElementsFromTheResource) {
  CountingResource counting;
  {
    zol::pmr::vector<int> v{polymorphic_allocator<int>(&counting)};
    for (int i = 0; i < 100; ++i) {
      v.push_back(i);
    }
    EXPECT_GT(counting.allocation_count(), 0U);
    EXPECT_EQ(v[99], 99);
  }
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST(PolymorphicAllocator, StringTakesItsCharactersFromTheResource) {
  CountingResource counting;
  {
    const zol::pmr::string s("a string long enough not to fit the small string buffer", &counting);
    EXPECT_EQ(counting.allocation_count(), 1U);
    EXPECT_EQ(s.get_allocator().resource(), &counting);
  }
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST(PolymorphicAllocator, AllocateSharedPutsObjectAndControlBlockIntoTheResource) {
  CountingResource counting;
  {
    auto p = std::allocate_shared<Wide>(polymorphic_allocator<Wide>(&counting));
    EXPECT_EQ(counting.allocation_count(), 1U);
    EXPECT_GE(counting.bytes_allocated(), sizeof(Wide));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p.get()) % alignof(Wide), 0U);
  }
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST(PolymorphicAllocator, CopyConstructedContainerUsesTheDefaultResource) {
  CountingResource source_resource;
  CountingResource default_resource;
  ScopedDefaultResource scoped(&default_resource);
  const zol::pmr::vector<int> source({1, 2, 3}, polymorphic_allocator<int>(&source_resource));
  const zol::pmr::vector<int> copy(source);
  EXPECT_EQ(copy.get_allocator().resource(), &default_resource);
  EXPECT_EQ(default_resource.allocation_count(), 1U);
}

TEST(PolymorphicAllocator, MoveConstructedContainerKeepsTheResource) {
  CountingResource counting;
  zol::pmr::vector<int> source({1, 2, 3}, polymorphic_allocator<int>(&counting));
  const zol::pmr::vector<int> moved(std::move(source));
  EXPECT_EQ(moved.get_allocator().resource(), &counting);
  EXPECT_EQ(counting.allocation_count(), 1U);
}

TEST(PolymorphicAllocator, AssignedContainerKeepsItsOwnResource) {
  CountingResource a;
  CountingResource b;
  const zol::pmr::vector<int> source({1, 2, 3}, polymorphic_allocator<int>(&a));
  zol::pmr::vector<int> target{polymorphic_allocator<int>(&b)};
  target = source;
  EXPECT_EQ(target.get_allocator().resource(), &b);
  EXPECT_EQ(b.allocation_count(), 1U);
}

TEST(PolymorphicAllocator, ElementsOfAVectorOfStringsUseTheVectorsResource) {
  CountingResource counting;
  CountingResource default_resource;
  ScopedDefaultResource scoped(&default_resource);
  {
    zol::pmr::vector<zol::pmr::string> v{polymorphic_allocator<zol::pmr::string>(&counting)};
    v.reserve(2);
    v.emplace_back("first string, too long for the small string buffer");
    const zol::pmr::string outside("second string, also too long for the small buffer");
    v.push_back(outside);
    EXPECT_EQ(v[0].get_allocator().resource(), &counting);
    EXPECT_EQ(v[1].get_allocator().resource(), &counting);
    EXPECT_EQ(counting.allocation_count(), 3U);
  }
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(default_resource.outstanding_allocations(), 0U);
}

TEST(PolymorphicAllocatorDeathTest, ANullResourceAborts) {
  zol::pmr::memory_resource* none = nullptr;
  EXPECT_DEATH(polymorphic_allocator<int>{none}, "null memory resource");
}

}  // namespace
