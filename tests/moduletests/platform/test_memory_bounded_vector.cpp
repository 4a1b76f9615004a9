#include "zol/memory/bounded_vector.h"

#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "zol/pmr/counting_resource.h"
#include "zol/pmr/polymorphic_allocator.h"

namespace {

using zol::memory::BoundedVector;
using zol::pmr::CountingResource;
using zol::pmr::polymorphic_allocator;

static_assert(!std::is_copy_constructible<BoundedVector<int>>::value, "not copyable");
static_assert(!std::is_copy_assignable<BoundedVector<int>>::value, "not copy-assignable");
static_assert(std::is_nothrow_move_constructible<BoundedVector<int>>::value, "moves without throwing");
static_assert(std::is_nothrow_move_assignable<BoundedVector<int>>::value, "move-assigns without throwing");

// Counts live instances and can be told to fail its next construction.
struct Element {
  static int live;
  static bool throw_on_construct;
  int value;
  explicit Element(int v) : value(v) {
    if (throw_on_construct) {
      throw std::runtime_error("construction failed");
    }
    ++live;
  }
  Element(const Element& other) : value(other.value) { ++live; }
  ~Element() { --live; }
};
int Element::live = 0;
bool Element::throw_on_construct = false;

class BoundedVectorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Element::live = 0;
    Element::throw_on_construct = false;
  }
  CountingResource resource_;
};

TEST_F(BoundedVectorTest, DefaultConstructedHasNoStorageAndRefusesElements) {
  BoundedVector<int> v{polymorphic_allocator<int>(&resource_)};
  EXPECT_TRUE(v.empty());
  EXPECT_TRUE(v.full());
  EXPECT_EQ(v.capacity(), 0U);
  EXPECT_EQ(v.data(), nullptr);
  EXPECT_FALSE(v.push_back(1));
  EXPECT_EQ(v.size(), 0U);
  EXPECT_EQ(resource_.allocation_count(), 0U);
}

TEST_F(BoundedVectorTest, CapacityConstructorAllocatesOnceWithTheElementLayout) {
  BoundedVector<double> v(8, polymorphic_allocator<double>(&resource_));
  EXPECT_EQ(v.capacity(), 8U);
  EXPECT_TRUE(v.empty());
  EXPECT_FALSE(v.full());
  EXPECT_EQ(resource_.allocation_count(), 1U);
  EXPECT_EQ(resource_.bytes_allocated(), 8 * sizeof(double));
}

TEST_F(BoundedVectorTest, ReserveWorksOnceWhileThereIsNoStorage) {
  BoundedVector<int> v{polymorphic_allocator<int>(&resource_)};
  EXPECT_TRUE(v.reserve(4));
  EXPECT_EQ(v.capacity(), 4U);
  EXPECT_FALSE(v.reserve(16));
  EXPECT_EQ(v.capacity(), 4U);
  EXPECT_EQ(resource_.allocation_count(), 1U);
}

TEST_F(BoundedVectorTest, ReserveOfZeroAllocatesNothingAndLeavesReserveOpen) {
  BoundedVector<int> v{polymorphic_allocator<int>(&resource_)};
  EXPECT_TRUE(v.reserve(0));
  EXPECT_EQ(resource_.allocation_count(), 0U);
  EXPECT_TRUE(v.reserve(2));
  EXPECT_EQ(v.capacity(), 2U);
}

TEST_F(BoundedVectorTest, UsesTheDefaultResourceWhenNoAllocatorIsGiven) {
  zol::pmr::ScopedDefaultResource scoped(&resource_);
  BoundedVector<int> v(3);
  EXPECT_EQ(resource_.allocation_count(), 1U);
  EXPECT_EQ(v.get_allocator().resource(), &resource_);
}

TEST_F(BoundedVectorTest, PushesAndEmplacesInOrderUntilFull) {
  BoundedVector<std::string> v(3, polymorphic_allocator<std::string>(&resource_));
  const std::string first = "one";
  EXPECT_TRUE(v.push_back(first));
  EXPECT_TRUE(v.push_back(std::string("two")));
  EXPECT_TRUE(v.emplace_back(3, 'x'));
  EXPECT_TRUE(v.full());
  EXPECT_EQ(v.size(), 3U);
  EXPECT_EQ(v[0], "one");
  EXPECT_EQ(v[1], "two");
  EXPECT_EQ(v[2], "xxx");
  EXPECT_EQ(v.front(), "one");
  EXPECT_EQ(v.back(), "xxx");
}

TEST_F(BoundedVectorTest, PushBeyondCapacityFailsAndChangesNothing) {
  BoundedVector<std::string> v(2, polymorphic_allocator<std::string>(&resource_));
  ASSERT_TRUE(v.push_back("a"));
  ASSERT_TRUE(v.push_back("b"));
  const std::string* data_before = v.data();
  std::string movable = "kept";
  const std::string copyable = "c";

  EXPECT_FALSE(v.push_back(copyable));
  EXPECT_FALSE(v.push_back(std::move(movable)));
  EXPECT_FALSE(v.emplace_back("d"));

  EXPECT_EQ(movable, "kept");  // NOLINT(bugprone-use-after-move): a refused push must not move from it
  EXPECT_EQ(v.size(), 2U);
  EXPECT_EQ(v.capacity(), 2U);
  EXPECT_EQ(v.data(), data_before);
  EXPECT_EQ(v[0], "a");
  EXPECT_EQ(v[1], "b");
  EXPECT_EQ(resource_.allocation_count(), 1U);
}

TEST_F(BoundedVectorTest, AThrowingConstructorLeavesTheVectorUnchanged) {
  BoundedVector<Element> v(2, polymorphic_allocator<Element>(&resource_));
  ASSERT_TRUE(v.emplace_back(1));
  Element::throw_on_construct = true;
  EXPECT_THROW(v.emplace_back(2), std::runtime_error);
  Element::throw_on_construct = false;
  EXPECT_EQ(v.size(), 1U);
  EXPECT_EQ(Element::live, 1);
  EXPECT_TRUE(v.emplace_back(3));
  EXPECT_EQ(v.back().value, 3);
}

TEST_F(BoundedVectorTest, ElementAddressesStayValidAsElementsAreAdded) {
  BoundedVector<int> v(100, polymorphic_allocator<int>(&resource_));
  ASSERT_TRUE(v.push_back(0));
  const int* first = &v.front();
  for (int i = 1; i < 100; ++i) {
    ASSERT_TRUE(v.push_back(i));
  }
  EXPECT_EQ(&v.front(), first);
  EXPECT_EQ(std::accumulate(v.begin(), v.end(), 0), 4950);
  EXPECT_EQ(resource_.allocation_count(), 1U);
}

TEST_F(BoundedVectorTest, PopBackDestroysOnlyTheLastElement) {
  BoundedVector<Element> v(3, polymorphic_allocator<Element>(&resource_));
  v.emplace_back(1);
  v.emplace_back(2);
  v.pop_back();
  EXPECT_EQ(v.size(), 1U);
  EXPECT_EQ(Element::live, 1);
  EXPECT_EQ(v.back().value, 1);
}

TEST_F(BoundedVectorTest, ClearDestroysTheElementsButKeepsTheStorage) {
  BoundedVector<Element> v(3, polymorphic_allocator<Element>(&resource_));
  v.emplace_back(1);
  v.emplace_back(2);
  const Element* data = v.data();
  v.clear();
  EXPECT_TRUE(v.empty());
  EXPECT_EQ(Element::live, 0);
  EXPECT_EQ(v.capacity(), 3U);
  EXPECT_EQ(v.data(), data);
  EXPECT_EQ(resource_.outstanding_allocations(), 1U);
  EXPECT_FALSE(v.reserve(10));
}

TEST_F(BoundedVectorTest, DestructionDestroysTheElementsAndReturnsTheExactStorage) {
  {
    BoundedVector<Element> v(4, polymorphic_allocator<Element>(&resource_));
    v.emplace_back(1);
    v.emplace_back(2);
  }
  EXPECT_EQ(Element::live, 0);
  EXPECT_EQ(resource_.outstanding_allocations(), 0U);
  EXPECT_EQ(resource_.mismatched_deallocations(), 0U);
  EXPECT_EQ(resource_.bytes_deallocated(), 4 * sizeof(Element));
}

TEST_F(BoundedVectorTest, MoveConstructionHandsTheStorageOver) {
  BoundedVector<int> source(4, polymorphic_allocator<int>(&resource_));
  source.push_back(7);
  const int* data = source.data();
  BoundedVector<int> target(std::move(source));
  EXPECT_EQ(target.data(), data);
  EXPECT_EQ(target.size(), 1U);
  EXPECT_EQ(target.capacity(), 4U);
  EXPECT_EQ(target[0], 7);
  EXPECT_EQ(target.get_allocator().resource(), &resource_);
  EXPECT_TRUE(source.empty());  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(source.capacity(), 0U);
  EXPECT_EQ(source.data(), nullptr);
  EXPECT_EQ(resource_.allocation_count(), 1U);
}

TEST_F(BoundedVectorTest, MoveAssignmentReleasesTheOldStorageAndTakesTheOthers) {
  CountingResource other_resource;
  BoundedVector<Element> target(2, polymorphic_allocator<Element>(&resource_));
  target.emplace_back(1);
  BoundedVector<Element> source(5, polymorphic_allocator<Element>(&other_resource));
  source.emplace_back(2);
  source.emplace_back(3);
  const Element* data = source.data();

  target = std::move(source);

  EXPECT_EQ(resource_.outstanding_allocations(), 0U);
  EXPECT_EQ(resource_.mismatched_deallocations(), 0U);
  EXPECT_EQ(Element::live, 2);
  EXPECT_EQ(target.data(), data);
  EXPECT_EQ(target.size(), 2U);
  EXPECT_EQ(target.capacity(), 5U);
  EXPECT_EQ(target[1].value, 3);
  EXPECT_EQ(target.get_allocator().resource(), &other_resource);
  EXPECT_EQ(source.capacity(), 0U);  // NOLINT(bugprone-use-after-move)
}

TEST_F(BoundedVectorTest, MovedFromVectorCanReserveAgain) {
  BoundedVector<int> source(2, polymorphic_allocator<int>(&resource_));
  BoundedVector<int> target(std::move(source));
  EXPECT_TRUE(source.reserve(3));  // NOLINT(bugprone-use-after-move)
  EXPECT_TRUE(source.push_back(1));
  EXPECT_EQ(resource_.outstanding_allocations(), 2U);
}

TEST_F(BoundedVectorTest, ElementsThatUseAnAllocatorGetTheVectorsResource) {
  BoundedVector<zol::pmr::string> v(1, polymorphic_allocator<zol::pmr::string>(&resource_));
  v.emplace_back("a string that is too long for the small string buffer");
  EXPECT_EQ(v[0].get_allocator().resource(), &resource_);
  EXPECT_EQ(resource_.allocation_count(), 2U);
}

TEST(BoundedVectorDeathTest, PopBackOnAnEmptyVectorAborts) {
  BoundedVector<int> v(1);
  EXPECT_DEATH(v.pop_back(), "pop_back on an empty vector");
}

TEST(BoundedVectorDeathTest, BackOnAnEmptyVectorAborts) {
  BoundedVector<int> v(1);
  EXPECT_DEATH((void)v.back(), "back on an empty vector");
}

}  // namespace
