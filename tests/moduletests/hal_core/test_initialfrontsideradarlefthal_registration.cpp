// The "Initial" variant as the loaded shared library registers it, and the descriptor's Create.
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "device_activator/device_activator.h"
#include "frontsideradarlefthal.h"
#include "hal_test_platform.h"
#include "initialfrontsideradarlefthal.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "initialfrontsideradarlefthal_p.h"
#include "zol/afw/core/component_descriptor.h"
#include "zol/afw/core/error_code.h"
#include "zol/afw/core/executable.h"
#include "zol/afw/core/transaction.h"
#include "zol/log/logging.h"
#include "zol/mono_clock.h"
#include "zol/pmr/counting_resource.h"
#include "zol/pmr/memory_resource.h"
#include "zol/signalcomm/service.h"

namespace {

using front_side_radar_left_hal::FrontSideRadarLeftHal;
using front_side_radar_left_hal::InitialFrontSideRadarLeftHal;
using zol::afw::core::ComponentDescriptorCollection;
using zol::afw::core::ErrorCode;

// Gives out memory from its upstream until the allocation numbered `fail_at` (1-based), which throws.
class FailingResource : public zol::pmr::memory_resource {
 public:
  FailingResource(zol::pmr::memory_resource* upstream, std::size_t fail_at) : upstream_(upstream), fail_at_(fail_at) {}

 private:
  void* do_allocate(std::size_t bytes, std::size_t alignment) override {
    if (++allocations_ == fail_at_) {
      throw std::bad_alloc();
    }
    return upstream_->allocate(bytes, alignment);
  }
  void do_deallocate(void* p, std::size_t bytes, std::size_t alignment) override {
    upstream_->deallocate(p, bytes, alignment);
  }
  bool do_is_equal(const zol::pmr::memory_resource& other) const noexcept override { return this == &other; }

  zol::pmr::memory_resource* upstream_;
  std::size_t fail_at_;
  std::size_t allocations_ = 0U;
};

class InitialVariantRegistration : public ::testing::Test {
 protected:
  InitialVariantRegistration() { fsrl_test::ResetPlatformForHal(executable_); }

  static const FrontSideRadarLeftHal::Descriptor* InitialDescriptor() {
    return dynamic_cast<const FrontSideRadarLeftHal::Descriptor*>(
        ComponentDescriptorCollection::instance().Find("frontsideradarlefthal", "Initial"));
  }

  zol::ScopedManualClock clock_{zol::MonoClock::time_point(std::chrono::seconds(10))};
  zol::log::CapturingSink sink_;
  zol::log::ScopedSink scoped_sink_{&sink_};
  zol::afw::core::Executable executable_{"exe"};
};

TEST_F(InitialVariantRegistration, TheLoadedLibraryRegistersExactlyTheInstanceIdInitial) {
  const auto instance_ids = ComponentDescriptorCollection::instance().instance_ids("frontsideradarlefthal");

  ASSERT_EQ(instance_ids.size(), 1U);
  EXPECT_EQ(std::string(instance_ids.front().data(), instance_ids.front().size()), "Initial");
}

TEST_F(InitialVariantRegistration, FindingInitialYieldsAFrontSideRadarLeftHalDescriptor) {
  const zol::afw::core::ComponentDescriptor* found =
      ComponentDescriptorCollection::instance().Find("frontsideradarlefthal", "Initial");

  ASSERT_NE(found, nullptr);
  EXPECT_NE(dynamic_cast<const FrontSideRadarLeftHal::Descriptor*>(found), nullptr);
  EXPECT_NE(dynamic_cast<const InitialFrontSideRadarLeftHal::Descriptor*>(found), nullptr);
  EXPECT_EQ(found->component_name(), zol::string_view("frontsideradarlefthal"));
  EXPECT_EQ(found->instance_id(), zol::string_view("Initial"));
}

TEST_F(InitialVariantRegistration, TheVariantsInstanceIdIsInitial) {
  EXPECT_EQ(InitialFrontSideRadarLeftHal::instance_id(), zol::string_view("Initial"));
  EXPECT_EQ(InitialFrontSideRadarLeftHal::instance_id().size(), 7U);
}

TEST_F(InitialVariantRegistration, CreateWithoutInstanceIdPicksTheInitialVariant) {
  auto created = FrontSideRadarLeftHal::Create(&executable_, "NoInstanceId");

  ASSERT_TRUE(created.ok());
  FrontSideRadarLeftHal hal = std::move(created).value();
  const std::size_t reads_before = zol::signalcomm::Service::Instance().CallCount("SignalComm_Signal_GetByteArray");
  zol::afw::core::Transaction::Begin();
  // A working core reads the radar's groups; with nothing received yet the first read finds no data, so the
  // cycle fails.
  EXPECT_EQ(hal.ProcessFsrlInput(), ErrorCode::kFailure);
  EXPECT_GT(zol::signalcomm::Service::Instance().CallCount("SignalComm_Signal_GetByteArray"), reads_before);
  EXPECT_EQ(hal.GetFsrlStatus().status(), ErrorCode::kSuccess);
}

TEST_F(InitialVariantRegistration, TheDescriptorBuildsTheCoreFromTheDefaultResourceAndRecordsSizeAndAlignment8) {
  zol::pmr::CountingResource counting;
  zol::pmr::ScopedDefaultResource scoped_default(&counting);
  const FrontSideRadarLeftHal::Descriptor* descriptor = InitialDescriptor();
  ASSERT_NE(descriptor, nullptr);

  {
    auto created = descriptor->Create(&executable_);

    ASSERT_EQ(created.status(), ErrorCode::kSuccess);
    ASSERT_TRUE(created.has_value());
    const FrontSideRadarLeftHal::ImplPointer& impl = created.value();
    ASSERT_NE(impl, nullptr);
    EXPECT_NE(dynamic_cast<InitialFrontSideRadarLeftHal::Impl*>(impl.get()), nullptr);
    EXPECT_EQ(impl.get_deleter().resource(), &counting);
    EXPECT_EQ(impl.get_deleter().size(), sizeof(InitialFrontSideRadarLeftHal::Impl));
    EXPECT_EQ(impl.get_deleter().alignment(), 8U);
  }

  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST_F(InitialVariantRegistration, AConstructorThatThrowsGetsItsMemoryBackBeforeTheExceptionPassesOn) {
  zol::pmr::CountingResource counting;
  // The first allocation is the core's own memory; the second, made while the core is built, fails.
  FailingResource failing(&counting, 2U);
  const FrontSideRadarLeftHal::Descriptor* descriptor = InitialDescriptor();
  ASSERT_NE(descriptor, nullptr);

  {
    zol::pmr::ScopedDefaultResource scoped_default(&failing);
    // Cast to void: the call throws, so there is no result to look at.
    EXPECT_THROW(static_cast<void>(descriptor->Create(&executable_)), std::bad_alloc);
  }

  EXPECT_GE(counting.allocation_count(), 1U);
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

TEST_F(InitialVariantRegistration, WhicheverAllocationFailsWhileTheCoreIsBuiltNothingIsLeftAllocated) {
  const FrontSideRadarLeftHal::Descriptor* descriptor = InitialDescriptor();
  ASSERT_NE(descriptor, nullptr);
  std::size_t allocations_of_a_whole_core = 0U;
  {
    zol::pmr::CountingResource counting;
    zol::pmr::ScopedDefaultResource scoped_default(&counting);
    ASSERT_TRUE(descriptor->Create(&executable_).ok());
    allocations_of_a_whole_core = counting.allocation_count();
  }

  std::size_t failures_passed_on = 0U;
  for (std::size_t fail_at = 1U; fail_at <= allocations_of_a_whole_core; ++fail_at) {
    zol::pmr::CountingResource counting;
    FailingResource failing(&counting, fail_at);
    {
      zol::pmr::ScopedDefaultResource scoped_default(&failing);
      // Some failures are absorbed below the core (a signal service that cannot set up leaves a core without
      // adapter); the others pass on. Either way everything allocated so far must be back.
      try {
        const auto created = descriptor->Create(&executable_);
      } catch (const std::bad_alloc&) {
        ++failures_passed_on;
      }
    }
    EXPECT_EQ(counting.outstanding_allocations(), 0U) << "allocation " << fail_at << " failed";
    EXPECT_EQ(counting.mismatched_deallocations(), 0U) << "allocation " << fail_at << " failed";
  }
  EXPECT_GT(failures_passed_on, 0U);
}

}  // namespace
