#include "zol/pmr/memory_resource.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "zol/pmr/counting_resource.h"

namespace {

using zol::pmr::CountingResource;
using zol::pmr::get_default_resource;
using zol::pmr::memory_resource;
using zol::pmr::new_delete_resource;
using zol::pmr::set_default_resource;

bool IsAligned(const void* p, std::size_t alignment) { return reinterpret_cast<std::uintptr_t>(p) % alignment == 0; }

// Restores whatever default resource a test leaves behind.
class DefaultResourceTest : public ::testing::Test {
 protected:
  void SetUp() override { saved_ = get_default_resource(); }
  void TearDown() override { set_default_resource(saved_); }

 private:
  memory_resource* saved_ = nullptr;
};

TEST(NewDeleteResource, IsOneProcessWideInstance) {
  EXPECT_NE(new_delete_resource(), nullptr);
  EXPECT_EQ(new_delete_resource(), new_delete_resource());
  EXPECT_TRUE(new_delete_resource()->is_equal(*new_delete_resource()));
}

TEST(NewDeleteResource, ReturnsWritableMemoryAlignedAsRequested) {
  memory_resource* r = new_delete_resource();
  for (std::size_t alignment : {1U, 2U, 4U, 8U, 16U, 32U, 64U, 256U, 4096U}) {
    SCOPED_TRACE(alignment);
    void* p = r->allocate(100, alignment);
    ASSERT_NE(p, nullptr);
    EXPECT_TRUE(IsAligned(p, alignment));
    std::memset(p, 0xA5, 100);
    r->deallocate(p, 100, alignment);
  }
}

TEST(NewDeleteResource, DefaultAlignmentIsThatOfMaxAlignT) {
  memory_resource* r = new_delete_resource();
  void* p = r->allocate(1);
  EXPECT_TRUE(IsAligned(p, alignof(std::max_align_t)));
  r->deallocate(p, 1);
}

TEST(NewDeleteResource, ZeroBytesGiveADistinctPointer) {
  memory_resource* r = new_delete_resource();
  void* a = r->allocate(0, 64);
  void* b = r->allocate(0, 64);
  EXPECT_NE(a, nullptr);
  EXPECT_NE(a, b);
  r->deallocate(a, 0, 64);
  r->deallocate(b, 0, 64);
}

TEST(NewDeleteResourceDeathTest, AnAlignmentThatIsNoPowerOfTwoAborts) {
  EXPECT_DEATH(new_delete_resource()->allocate(8, 24), "alignment is not a power of two");
}

TEST(MemoryResource, DistinctCountingResourcesAreNotEqual) {
  CountingResource a;
  CountingResource b;
  EXPECT_TRUE(a.is_equal(a));
  EXPECT_FALSE(a.is_equal(b));
  EXPECT_TRUE(a == a);
  EXPECT_TRUE(a != b);
  EXPECT_FALSE(a.is_equal(*new_delete_resource()));
}

TEST_F(DefaultResourceTest, InitiallyTheDefaultIsTheNewDeleteResource) {
  // Other tests restore the default they found, so the process start state is still visible here.
  EXPECT_EQ(get_default_resource(), new_delete_resource());
}

TEST_F(DefaultResourceTest, SetInstallsTheResourceAndReturnsThePreviousOne) {
  CountingResource first;
  CountingResource second;
  EXPECT_EQ(set_default_resource(&first), new_delete_resource());
  EXPECT_EQ(get_default_resource(), &first);
  EXPECT_EQ(set_default_resource(&second), &first);
  EXPECT_EQ(get_default_resource(), &second);
}

TEST_F(DefaultResourceTest, SettingNullRestoresTheNewDeleteResource) {
  CountingResource counting;
  set_default_resource(&counting);
  EXPECT_EQ(set_default_resource(nullptr), &counting);
  EXPECT_EQ(get_default_resource(), new_delete_resource());
}

TEST_F(DefaultResourceTest, ReplacingAndRestoringWorksConcurrently) {
  CountingResource resources[4];
  std::atomic<bool> foreign_seen{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&resources, &foreign_seen, t] {
      for (int i = 0; i < 2000; ++i) {
        memory_resource* previous = set_default_resource(&resources[t]);
        memory_resource* current = get_default_resource();
        bool known = current == new_delete_resource();
        for (auto& r : resources) {
          known = known || current == &r;
        }
        if (!known) {
          foreign_seen = true;
        }
        set_default_resource(previous);
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_FALSE(foreign_seen);
  set_default_resource(nullptr);
  EXPECT_EQ(get_default_resource(), new_delete_resource());
}

}  // namespace
