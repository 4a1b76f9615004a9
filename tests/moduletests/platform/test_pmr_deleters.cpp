#include "zol/pmr/deleters.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "zol/pmr/counting_resource.h"
#include "zol/pmr/polymorphic_allocator.h"

namespace {

using zol::pmr::AllocationDeleter;
using zol::pmr::CountingResource;
using zol::pmr::MakeUniqueAllocated;
using zol::pmr::MakeUniqueSized;
using zol::pmr::polymorphic_allocator;
using zol::pmr::SizedAllocatorDeleter;

int g_base_destroyed = 0;
int g_derived_destroyed = 0;

struct Base {
  virtual ~Base() { ++g_base_destroyed; }
  virtual int Id() const { return 1; }
  std::uint32_t base_value = 0;
};

// Larger and more strictly aligned than Base, so a deallocation with Base's layout would be noticed.
struct alignas(64) Derived : Base {
  explicit Derived(int v) : value(v) {}
  ~Derived() override { ++g_derived_destroyed; }
  int Id() const override { return 2; }
  int value;
  std::uint8_t payload[100] = {};
};

// Multiple inheritance: a pointer to the second base does not point at the start of the object.
struct Other {
  virtual ~Other() = default;
  std::uint64_t other_value = 0;
};
struct Both : Base, Other {
  std::uint64_t extra[4] = {};
};

struct Throwing {
  Throwing() { throw std::runtime_error("no"); }
};

template <typename T>
using SizedPtr = std::unique_ptr<T, SizedAllocatorDeleter<polymorphic_allocator<T>>>;

static_assert(std::is_convertible<SizedPtr<Derived>, SizedPtr<Base>>::value, "derived converts to base");
static_assert(!std::is_convertible<SizedPtr<Base>, SizedPtr<Derived>>::value, "base does not convert to derived");
static_assert(std::is_default_constructible<AllocationDeleter<polymorphic_allocator<int>>>::value,
              "AllocationDeleter is default-constructible");

class DeletersTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_base_destroyed = 0;
    g_derived_destroyed = 0;
  }
  CountingResource resource_;
};

TEST_F(DeletersTest, SizedDeleterOverABaseReturnsTheDerivedSizeAndAlignment) {
  {
    SizedPtr<Base> base = MakeUniqueSized<Derived>(&resource_, 5);
    EXPECT_EQ(base->Id(), 2);
    EXPECT_EQ(base.get_deleter().size(), sizeof(Derived));
    EXPECT_EQ(base.get_deleter().alignment(), alignof(Derived));
    EXPECT_EQ(base.get_deleter().resource(), &resource_);
    EXPECT_EQ(resource_.bytes_allocated(), sizeof(Derived));
  }
  EXPECT_EQ(g_derived_destroyed, 1);
  EXPECT_EQ(g_base_destroyed, 1);
  EXPECT_EQ(resource_.deallocation_count(), 1U);
  EXPECT_EQ(resource_.bytes_deallocated(), sizeof(Derived));
  EXPECT_EQ(resource_.mismatched_deallocations(), 0U);
  EXPECT_EQ(resource_.outstanding_allocations(), 0U);
}

TEST_F(DeletersTest, SizedDeleterFindsTheWholeObjectThroughASecondBase) {
  {
    SizedPtr<Both> both = MakeUniqueSized<Both>(&resource_);
    SizedPtr<Other> other = std::move(both);
    ASSERT_NE(static_cast<void*>(other.get()), nullptr);
  }
  EXPECT_EQ(resource_.mismatched_deallocations(), 0U);
  EXPECT_EQ(resource_.outstanding_allocations(), 0U);
  EXPECT_EQ(resource_.bytes_deallocated(), sizeof(Both));
}

TEST_F(DeletersTest, SizedDeleterIgnoresNull) {
  const SizedAllocatorDeleter<polymorphic_allocator<Base>> deleter(&resource_, sizeof(Base), alignof(Base));
  deleter(nullptr);
  EXPECT_EQ(resource_.deallocation_count(), 0U);
  EXPECT_EQ(resource_.mismatched_deallocations(), 0U);
}

TEST_F(DeletersTest, MakeUniqueSizedReturnsTheStorageWhenTheConstructorThrows) {
  EXPECT_THROW(MakeUniqueSized<Throwing>(&resource_), std::runtime_error);
  EXPECT_EQ(resource_.allocation_count(), 1U);
  EXPECT_EQ(resource_.outstanding_allocations(), 0U);
  EXPECT_EQ(resource_.mismatched_deallocations(), 0U);
}

TEST_F(DeletersTest, AllocationDeleterDestroysAndDeallocatesOneObject) {
  {
    auto p = MakeUniqueAllocated<Derived>(&resource_, 9);
    EXPECT_EQ(p->value, 9);
    EXPECT_EQ(p.get_deleter().get_allocator().resource(), &resource_);
    EXPECT_EQ(resource_.bytes_allocated(), sizeof(Derived));
  }
  EXPECT_EQ(g_derived_destroyed, 1);
  EXPECT_EQ(resource_.bytes_deallocated(), sizeof(Derived));
  EXPECT_EQ(resource_.mismatched_deallocations(), 0U);
  EXPECT_EQ(resource_.outstanding_allocations(), 0U);
}

TEST_F(DeletersTest, AllocationDeleterIgnoresNull) {
  const AllocationDeleter<polymorphic_allocator<int>> deleter{polymorphic_allocator<int>(&resource_)};
  deleter(nullptr);
  EXPECT_EQ(resource_.deallocation_count(), 0U);
}

TEST_F(DeletersTest, DefaultConstructedAllocationDeleterUsesTheDefaultResource) {
  zol::pmr::ScopedDefaultResource scoped(&resource_);
  const AllocationDeleter<polymorphic_allocator<int>> deleter;
  EXPECT_EQ(deleter.get_allocator().resource(), &resource_);
  polymorphic_allocator<int> allocator(&resource_);
  int* p = allocator.allocate(1);
  ::new (static_cast<void*>(p)) int(3);
  deleter(p);
  EXPECT_EQ(resource_.outstanding_allocations(), 0U);
  EXPECT_EQ(resource_.mismatched_deallocations(), 0U);
}

TEST_F(DeletersTest, MakeUniqueAllocatedReturnsTheStorageWhenTheConstructorThrows) {
  EXPECT_THROW(MakeUniqueAllocated<Throwing>(&resource_), std::runtime_error);
  EXPECT_EQ(resource_.outstanding_allocations(), 0U);
  EXPECT_EQ(resource_.mismatched_deallocations(), 0U);
}

TEST_F(DeletersTest, DeletingADerivedObjectWithTheBaseLayoutIsCaughtAsAMismatch) {
  // Why the sized deleter exists: an allocation deleter of the base type frees the wrong size.
  polymorphic_allocator<Derived> allocator(&resource_);
  Derived* derived = allocator.allocate(1);
  ::new (static_cast<void*>(derived)) Derived(1);
  const AllocationDeleter<polymorphic_allocator<Base>> wrong{polymorphic_allocator<Base>(&resource_)};
  wrong(derived);
  EXPECT_EQ(resource_.mismatched_deallocations(), 1U);
  EXPECT_EQ(resource_.outstanding_allocations(), 1U);
  allocator.deallocate(derived, 1);  // the object is already destroyed; give the memory back properly
  EXPECT_EQ(resource_.outstanding_allocations(), 0U);
}

TEST(DeletersDeathTest, DeletingThroughADeleterWithoutResourceAborts) {
  Base object;
  const SizedAllocatorDeleter<polymorphic_allocator<Base>> deleter;
  EXPECT_DEATH(deleter(&object), "without a memory resource");
}

}  // namespace
