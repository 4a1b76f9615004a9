#include "frontsideradarlefthal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "status_or_matchers.h"
#include "zol/afw/core/component_descriptor.h"
#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/notifier.h"
#include "zol/log/logging.h"
#include "zol/pmr/counting_resource.h"
#include "zol/pmr/deleters.h"
#include "zol/pmr/memory_resource.h"

namespace {

using front_side_radar_left_hal::FrontSideRadarLeftHal;
using front_side_radar_left_hal::ServiceMode;
using zol::afw::core::ComponentDescriptor;
using zol::afw::core::ComponentDescriptorCollection;
using zol::afw::core::ContextualObject;
using zol::afw::core::ErrorCode;
using zol::afw::core::StatusOr;
using zol::afw::core::Subscription;
using zol::afw::core::SubscriptionState;
using zol::log::LoggingLevel;
using Callback = FrontSideRadarLeftHal::Callback;
using ImplPointer = FrontSideRadarLeftHal::ImplPointer;
using ::testing::_;
using ::testing::Return;

constexpr char kComponentName[] = "frontsideradarlefthal";
constexpr char kEmptyFacadeMessage[] = "Function called on default constructed FrontSideRadarLeftHal";

std::string NoInstanceErrorLine(std::size_t registered) {
  return "Error creating HAL interface without instance id, since there are " + std::to_string(registered) +
         " registered instances. instance_id: frontsideradarlefthal";
}

// ---------------------------------------------------------------------------------------------------------------
// Test doubles

class MockImpl : public FrontSideRadarLeftHal::Impl {
 public:
  explicit MockImpl(const ContextualObject* parent = nullptr) : Impl(parent, "MockImpl") {}

  MOCK_METHOD(ErrorCode, RequestServiceMode, (ServiceMode service_mode_state), (override));
  MOCK_METHOD(ErrorCode, ProcessFsrlInput, (), (override));
  MOCK_METHOD(StatusOr<radar_service::CornerRadarDetections>, GetFsrlDetections, (), (const, override));
  MOCK_METHOD(Subscription, SubscribeToFsrlDetections, (Callback callback), (override));
  MOCK_METHOD(StatusOr<radar_service::RadarStatus>, GetFsrlStatus, (), (const, override));
  MOCK_METHOD(Subscription, SubscribeToFsrlStatus, (Callback callback), (override));
  MOCK_METHOD(StatusOr<ServiceMode>, GetServiceMode, (), (const, override));
  MOCK_METHOD(Subscription, SubscribeToServiceMode, (Callback callback), (override));
};

// A minimal implementation that identifies itself through the scan id of its status, and reports its destruction.
class StubImpl : public FrontSideRadarLeftHal::Impl {
 public:
  StubImpl(const ContextualObject* parent, std::uint8_t tag, int* destroyed = nullptr)
      : Impl(parent, "StubImpl"), tag_(tag), destroyed_(destroyed) {}
  ~StubImpl() override {
    if (destroyed_ != nullptr) {
      ++*destroyed_;
    }
  }

  ErrorCode RequestServiceMode(ServiceMode /*service_mode_state*/) override { return ErrorCode::kSuccess; }
  ErrorCode ProcessFsrlInput() override { return ErrorCode::kSuccess; }
  StatusOr<radar_service::CornerRadarDetections> GetFsrlDetections() const override {
    return radar_service::CornerRadarDetections();
  }
  Subscription SubscribeToFsrlDetections(Callback /*callback*/) override { return Subscription(); }
  StatusOr<radar_service::RadarStatus> GetFsrlStatus() const override {
    radar_service::RadarStatus status;
    status.set_scan_id(tag_);
    return status;
  }
  Subscription SubscribeToFsrlStatus(Callback /*callback*/) override { return Subscription(); }
  StatusOr<ServiceMode> GetServiceMode() const override { return ServiceMode::kInactive; }
  Subscription SubscribeToServiceMode(Callback /*callback*/) override { return Subscription(); }

 private:
  std::uint8_t tag_;
  int* destroyed_;
};

// Larger and more strictly aligned than the abstract base, so that a deallocation with the base's size or the
// default alignment is told apart from the right one.
class alignas(64) LargeImpl : public StubImpl {
 public:
  LargeImpl(const ContextualObject* parent, std::uint8_t tag, int* destroyed) : StubImpl(parent, tag, destroyed) {
    payload_.fill(0xA5U);
  }

 private:
  std::array<std::uint8_t, 256> payload_{};
};

static_assert(sizeof(LargeImpl) > sizeof(FrontSideRadarLeftHal::Impl), "the test needs a size that differs");
static_assert(alignof(LargeImpl) > alignof(std::max_align_t), "the test needs an alignment that differs");

template <typename T, typename... Args>
ImplPointer MakeImpl(zol::pmr::memory_resource* resource, Args&&... args) {
  return ImplPointer(zol::pmr::MakeUniqueSized<T>(resource, std::forward<Args>(args)...));
}

// A variant descriptor whose Create behaviour each test chooses. Registered while it lives.
class TestDescriptor : public FrontSideRadarLeftHal::Descriptor {
 public:
  using Factory = std::function<StatusOr<ImplPointer>(const ContextualObject*)>;

  TestDescriptor(zol::string_view instance_id, std::uint8_t tag)
      : TestDescriptor(instance_id, [tag](const ContextualObject* parent) -> StatusOr<ImplPointer> {
          return MakeImpl<StubImpl>(zol::pmr::get_default_resource(), parent, tag);
        }) {}

  TestDescriptor(zol::string_view instance_id, Factory factory)
      : Descriptor(instance_id), factory_(std::move(factory)) {}

  StatusOr<ImplPointer> Create(const ContextualObject* parent) const override {
    ++create_calls_;
    last_parent_ = parent;
    return factory_(parent);
  }

  int create_calls() const { return create_calls_; }
  const ContextualObject* last_parent() const { return last_parent_; }

 private:
  Factory factory_;
  mutable int create_calls_{0};
  mutable const ContextualObject* last_parent_{nullptr};
};

// Records what the facade's subscription handle does to the state the implementation handed out.
class FakeSubscriptionState : public SubscriptionState {
 public:
  void Cancel() override {
    active_ = false;
    ++cancel_calls_;
  }
  bool IsActive() const override { return active_; }
  int cancel_calls() const { return cancel_calls_; }

 private:
  bool active_{true};
  int cancel_calls_{0};
};

// A callable that counts how often it was moved and called; exactly fills the callback's inline storage.
struct MoveCountingCallable {
  MoveCountingCallable(int* moves_out, int* calls_out) : moves(moves_out), calls(calls_out) {}
  MoveCountingCallable(const MoveCountingCallable&) = default;
  MoveCountingCallable(MoveCountingCallable&& other) noexcept : moves(other.moves), calls(other.calls) { ++*moves; }
  MoveCountingCallable& operator=(const MoveCountingCallable&) = default;
  MoveCountingCallable& operator=(MoveCountingCallable&&) = default;
  ~MoveCountingCallable() = default;
  void operator()() const { ++*calls; }

  int* moves;
  int* calls;
};

void TakeByValue(Callback callback) { static_cast<void>(callback); }

// Moves spent on handing a callback to a by-value parameter; the facade must spend no more before it throws.
int MovesToPassByValue() {
  int moves = 0;
  int calls = 0;
  Callback callback(MoveCountingCallable(&moves, &calls));
  moves = 0;
  TakeByValue(std::move(callback));
  return moves;
}

// The operations handed in throw instead of returning, so they cast their results (which never exist) to void.
template <typename Operation>
void ExpectEmptyFacadeError(Operation&& operation) {
  try {
    operation();
    ADD_FAILURE() << "expected std::logic_error";
  } catch (const std::logic_error& error) {
    EXPECT_STREQ(error.what(), kEmptyFacadeMessage);
  } catch (...) {
    ADD_FAILURE() << "expected std::logic_error, got another exception";
  }
}

// Calls every operation of the facade and expects each to throw the empty-facade error. Results are cast away in
// these calls because there are none: each call throws before it returns.
void ExpectEveryOperationThrows(FrontSideRadarLeftHal& hal) {
  const FrontSideRadarLeftHal& const_hal = hal;
  const std::pair<const char*, std::function<void()>> operations[] = {
      {"RequestServiceMode", [&] { (void)hal.RequestServiceMode(ServiceMode::kActive); }},
      {"ProcessFsrlInput", [&] { (void)hal.ProcessFsrlInput(); }},
      {"GetFsrlDetections", [&] { (void)const_hal.GetFsrlDetections(); }},
      {"SubscribeToFsrlDetections", [&] { hal.SubscribeToFsrlDetections(Callback([] {})); }},
      {"GetFsrlStatus", [&] { (void)const_hal.GetFsrlStatus(); }},
      {"SubscribeToFsrlStatus", [&] { hal.SubscribeToFsrlStatus(Callback([] {})); }},
      {"GetServiceMode", [&] { (void)const_hal.GetServiceMode(); }},
      {"SubscribeToServiceMode", [&] { hal.SubscribeToServiceMode(Callback([] {})); }},
  };
  for (const auto& operation : operations) {
    SCOPED_TRACE(operation.first);
    ExpectEmptyFacadeError(operation.second);
  }
}

// ---------------------------------------------------------------------------------------------------------------
// The empty facade

TEST(FrontSideRadarLeftHalEmptyTest, RequestServiceModeOnDefaultConstructedFacadeThrowsLogicError) {
  FrontSideRadarLeftHal hal;
  ExpectEmptyFacadeError([&] { (void)hal.RequestServiceMode(ServiceMode::kActive); });
}

TEST(FrontSideRadarLeftHalEmptyTest, ProcessFsrlInputOnDefaultConstructedFacadeThrowsLogicError) {
  FrontSideRadarLeftHal hal;
  ExpectEmptyFacadeError([&] { (void)hal.ProcessFsrlInput(); });
}

TEST(FrontSideRadarLeftHalEmptyTest, GetFsrlDetectionsOnDefaultConstructedFacadeThrowsLogicError) {
  const FrontSideRadarLeftHal hal;
  ExpectEmptyFacadeError([&] { (void)hal.GetFsrlDetections(); });
}

TEST(FrontSideRadarLeftHalEmptyTest, SubscribeToFsrlDetectionsOnDefaultConstructedFacadeThrowsLogicError) {
  FrontSideRadarLeftHal hal;
  ExpectEmptyFacadeError([&] { hal.SubscribeToFsrlDetections(Callback([] {})); });
}

TEST(FrontSideRadarLeftHalEmptyTest, GetFsrlStatusOnDefaultConstructedFacadeThrowsLogicError) {
  const FrontSideRadarLeftHal hal;
  ExpectEmptyFacadeError([&] { (void)hal.GetFsrlStatus(); });
}

TEST(FrontSideRadarLeftHalEmptyTest, SubscribeToFsrlStatusOnDefaultConstructedFacadeThrowsLogicError) {
  FrontSideRadarLeftHal hal;
  ExpectEmptyFacadeError([&] { hal.SubscribeToFsrlStatus(Callback([] {})); });
}

TEST(FrontSideRadarLeftHalEmptyTest, GetServiceModeOnDefaultConstructedFacadeThrowsLogicError) {
  const FrontSideRadarLeftHal hal;
  ExpectEmptyFacadeError([&] { (void)hal.GetServiceMode(); });
}

TEST(FrontSideRadarLeftHalEmptyTest, SubscribeToServiceModeOnDefaultConstructedFacadeThrowsLogicError) {
  FrontSideRadarLeftHal hal;
  ExpectEmptyFacadeError([&] { hal.SubscribeToServiceMode(Callback([] {})); });
}

TEST(FrontSideRadarLeftHalEmptyTest, SubscribeOperationsOnEmptyFacadeThrowBeforeMovingTheCallbackOn) {
  const int pass_by_value_moves = MovesToPassByValue();
  FrontSideRadarLeftHal hal;
  using Subscribe = Subscription (FrontSideRadarLeftHal::*)(Callback);
  const Subscribe subscribe_operations[] = {&FrontSideRadarLeftHal::SubscribeToFsrlDetections,
                                            &FrontSideRadarLeftHal::SubscribeToFsrlStatus,
                                            &FrontSideRadarLeftHal::SubscribeToServiceMode};
  for (const Subscribe subscribe : subscribe_operations) {
    int moves = 0;
    int calls = 0;
    Callback callback(MoveCountingCallable(&moves, &calls));
    moves = 0;
    ExpectEmptyFacadeError([&] { (hal.*subscribe)(std::move(callback)); });
    EXPECT_EQ(moves, pass_by_value_moves);
    EXPECT_EQ(calls, 0);
  }
}

// ---------------------------------------------------------------------------------------------------------------
// Ownership and moves

TEST(FrontSideRadarLeftHalMoveTest, MovedFromFacadeThrowsLikeADefaultConstructedOne) {
  FrontSideRadarLeftHal source(MakeImpl<StubImpl>(zol::pmr::get_default_resource(), nullptr, std::uint8_t{1}));
  FrontSideRadarLeftHal target(std::move(source));
  ExpectEveryOperationThrows(source);  // NOLINT(bugprone-use-after-move): a moved-from facade is empty
}

TEST(FrontSideRadarLeftHalMoveTest, MoveConstructedFacadeForwardsToTheTakenImplementation) {
  FrontSideRadarLeftHal source(MakeImpl<StubImpl>(zol::pmr::get_default_resource(), nullptr, std::uint8_t{42}));
  FrontSideRadarLeftHal target(std::move(source));
  const auto status = target.GetFsrlStatus();
  ASSERT_TRUE(status.has_value());
  EXPECT_EQ(status->scan_id(), 42U);
}

TEST(FrontSideRadarLeftHalMoveTest, MoveAssignmentDestroysTheHeldImplementationAndTakesTheOther) {
  int first_destroyed = 0;
  int second_destroyed = 0;
  auto* const resource = zol::pmr::get_default_resource();
  FrontSideRadarLeftHal target(MakeImpl<StubImpl>(resource, nullptr, std::uint8_t{1}, &first_destroyed));
  FrontSideRadarLeftHal source(MakeImpl<StubImpl>(resource, nullptr, std::uint8_t{2}, &second_destroyed));

  target = std::move(source);

  EXPECT_EQ(first_destroyed, 1);
  EXPECT_EQ(second_destroyed, 0);
  EXPECT_EQ(target.GetFsrlStatus()->scan_id(), 2U);
  ExpectEmptyFacadeError([&] { (void)source.ProcessFsrlInput(); });  // NOLINT(bugprone-use-after-move)
}

TEST(FrontSideRadarLeftHalMoveTest, MoveAssigningAnEmptyFacadeEmptiesTheTarget) {
  int destroyed = 0;
  FrontSideRadarLeftHal target(
      MakeImpl<StubImpl>(zol::pmr::get_default_resource(), nullptr, std::uint8_t{1}, &destroyed));
  FrontSideRadarLeftHal empty;
  target = std::move(empty);
  EXPECT_EQ(destroyed, 1);
  ExpectEmptyFacadeError([&] { (void)target.ProcessFsrlInput(); });
}

TEST(FrontSideRadarLeftHalMoveTest, MoveAssigningAFacadeToItselfKeepsItsImplementation) {
  int destroyed = 0;
  FrontSideRadarLeftHal hal(MakeImpl<StubImpl>(zol::pmr::get_default_resource(), nullptr, std::uint8_t{9}, &destroyed));
  FrontSideRadarLeftHal& alias = hal;
  hal = std::move(alias);
  EXPECT_EQ(destroyed, 0);
  EXPECT_EQ(hal.GetFsrlStatus()->scan_id(), 9U);
}

TEST(FrontSideRadarLeftHalMoveTest, FacadeIsMovableWithoutExceptionsAndNotCopyable) {
  EXPECT_TRUE(std::is_nothrow_move_constructible<FrontSideRadarLeftHal>::value);
  EXPECT_TRUE(std::is_nothrow_move_assignable<FrontSideRadarLeftHal>::value);
  EXPECT_FALSE(std::is_copy_constructible<FrontSideRadarLeftHal>::value);
  EXPECT_FALSE(std::is_copy_assignable<FrontSideRadarLeftHal>::value);
}

TEST(FrontSideRadarLeftHalMoveTest, DestroyingTheFacadeDestroysTheImplementationOnce) {
  int destroyed = 0;
  {
    FrontSideRadarLeftHal hal(
        MakeImpl<StubImpl>(zol::pmr::get_default_resource(), nullptr, std::uint8_t{1}, &destroyed));
    FrontSideRadarLeftHal moved(std::move(hal));
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(FrontSideRadarLeftHalMoveTest, DestroyingTheFacadeReturnsTheConcreteObjectsSizeAndAlignmentToItsResource) {
  zol::pmr::CountingResource variant_resource;
  int destroyed = 0;
  {
    FrontSideRadarLeftHal hal(MakeImpl<LargeImpl>(&variant_resource, nullptr, std::uint8_t{3}, &destroyed));
    EXPECT_EQ(variant_resource.outstanding_allocations(), 1U);
    EXPECT_EQ(variant_resource.outstanding_bytes(), sizeof(LargeImpl));
  }
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(variant_resource.deallocation_count(), 1U);
  EXPECT_EQ(variant_resource.bytes_deallocated(), sizeof(LargeImpl));
  EXPECT_EQ(variant_resource.mismatched_deallocations(), 0U);
  EXPECT_EQ(variant_resource.outstanding_allocations(), 0U);
}

// ---------------------------------------------------------------------------------------------------------------
// Forwarding

class FrontSideRadarLeftHalForwardingTest : public ::testing::Test {
 protected:
  FrontSideRadarLeftHalForwardingTest() {
    auto impl = zol::pmr::MakeUniqueSized<::testing::StrictMock<MockImpl>>(zol::pmr::get_default_resource());
    mock_ = impl.get();
    hal_ = FrontSideRadarLeftHal(ImplPointer(std::move(impl)));
  }

  ::testing::StrictMock<MockImpl>* mock_{nullptr};
  FrontSideRadarLeftHal hal_;
};

TEST_F(FrontSideRadarLeftHalForwardingTest, RequestServiceModePassesTheModeAndReturnsTheImplementationsCode) {
  EXPECT_CALL(*mock_, RequestServiceMode(ServiceMode::kActive)).WillOnce(Return(ErrorCode::kBusy));
  EXPECT_CALL(*mock_, RequestServiceMode(ServiceMode::kInactive)).WillOnce(Return(ErrorCode::kSuccess));
  EXPECT_EQ(hal_.RequestServiceMode(ServiceMode::kActive), ErrorCode::kBusy);
  EXPECT_EQ(hal_.RequestServiceMode(ServiceMode::kInactive), ErrorCode::kSuccess);
}

TEST_F(FrontSideRadarLeftHalForwardingTest, ProcessFsrlInputReturnsTheImplementationsCode) {
  EXPECT_CALL(*mock_, ProcessFsrlInput()).WillOnce(Return(ErrorCode::kTimeout)).WillOnce(Return(ErrorCode::kPending));
  EXPECT_EQ(hal_.ProcessFsrlInput(), ErrorCode::kTimeout);
  EXPECT_EQ(hal_.ProcessFsrlInput(), ErrorCode::kPending);
}

TEST_F(FrontSideRadarLeftHalForwardingTest, GetFsrlDetectionsReturnsTheImplementationsScanAndStatus) {
  radar_service::RadarDetectionsInfo info;
  info.set_scan_id(213U);
  info.set_is_valid(true);
  radar_service::CornerRadarDetections detections;
  detections.set_info(info);
  radar_service::CornerRadarDetections::DetectionArray array{};
  array[199].set_range(12.5F);
  array[0].set_snr(-3.25F);
  detections.set_detections(array);
  EXPECT_CALL(*mock_, GetFsrlDetections())
      .WillOnce(Return(StatusOr<radar_service::CornerRadarDetections>(detections, ErrorCode::kPending)));

  const FrontSideRadarLeftHal& const_hal = hal_;
  const auto result = const_hal.GetFsrlDetections();

  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result.status(), ErrorCode::kPending);
  EXPECT_EQ(result->info().scan_id(), 213U);
  EXPECT_TRUE(result->info().is_valid());
  EXPECT_FLOAT_EQ(result->detections()[199].range(), 12.5F);
  EXPECT_FLOAT_EQ(result->detections()[0].snr(), -3.25F);
}

TEST_F(FrontSideRadarLeftHalForwardingTest, GetFsrlDetectionsPassesOnAFailureWithoutValue) {
  EXPECT_CALL(*mock_, GetFsrlDetections())
      .WillOnce(Return(StatusOr<radar_service::CornerRadarDetections>(ErrorCode::kNotAvailable)));
  const auto result = hal_.GetFsrlDetections();
  EXPECT_FALSE(result.has_value());
  EXPECT_EQ(result.status(), ErrorCode::kNotAvailable);
}

TEST_F(FrontSideRadarLeftHalForwardingTest, GetFsrlStatusReturnsTheImplementationsStatus) {
  radar_service::RadarStatus status;
  status.set_scan_id(77U);
  status.set_blockage(radar_service::SensorBlockage::kFullBlockage);
  status.set_is_time_sync_ok(true);
  EXPECT_CALL(*mock_, GetFsrlStatus()).WillOnce(Return(StatusOr<radar_service::RadarStatus>(status)));

  const FrontSideRadarLeftHal& const_hal = hal_;
  const auto result = const_hal.GetFsrlStatus();

  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result.status(), ErrorCode::kSuccess);
  EXPECT_EQ(result->scan_id(), 77U);
  EXPECT_EQ(result->blockage(), radar_service::SensorBlockage::kFullBlockage);
  EXPECT_TRUE(result->is_time_sync_ok());
}

TEST_F(FrontSideRadarLeftHalForwardingTest, GetServiceModeReturnsTheImplementationsModeAndStatus) {
  EXPECT_CALL(*mock_, GetServiceMode())
      .WillOnce(Return(StatusOr<ServiceMode>(ServiceMode::kActive)))
      .WillOnce(Return(StatusOr<ServiceMode>(ErrorCode::kBadState)));

  const FrontSideRadarLeftHal& const_hal = hal_;
  const auto active = const_hal.GetServiceMode();
  const auto failed = const_hal.GetServiceMode();

  ASSERT_TRUE(active.has_value());
  EXPECT_EQ(*active, ServiceMode::kActive);
  EXPECT_EQ(active.status(), ErrorCode::kSuccess);
  EXPECT_FALSE(failed.has_value());
  EXPECT_EQ(failed.status(), ErrorCode::kBadState);
}

// The three subscribe operations behave alike; each is checked through the same steps.
using SubscribeOperation = Subscription (FrontSideRadarLeftHal::*)(Callback);

void ExpectSubscribeForwardsCallbackAndSubscription(FrontSideRadarLeftHal& hal, SubscribeOperation subscribe,
                                                    ::testing::MockFunction<Subscription(Callback)>& expectation) {
  int moves = 0;
  int calls = 0;
  Callback received;
  const auto state = std::make_shared<FakeSubscriptionState>();
  EXPECT_CALL(expectation, Call(_)).WillOnce([&](Callback callback) {
    received = std::move(callback);
    return Subscription(state);
  });

  Callback callback(MoveCountingCallable(&moves, &calls));
  Subscription subscription = (hal.*subscribe)(std::move(callback));

  EXPECT_FALSE(static_cast<bool>(callback));  // NOLINT(bugprone-use-after-move): the caller's callback is taken
  ASSERT_TRUE(static_cast<bool>(received));
  received();
  EXPECT_EQ(calls, 1);  // the implementation got the caller's callable itself
  EXPECT_TRUE(subscription.IsActive());
  subscription.Cancel();
  EXPECT_EQ(state->cancel_calls(), 1);  // the handle returned is the implementation's own
  EXPECT_FALSE(state->IsActive());
}

TEST_F(FrontSideRadarLeftHalForwardingTest, SubscribeToFsrlDetectionsHandsOnTheCallbackAndReturnsTheSubscription) {
  ::testing::MockFunction<Subscription(Callback)> forwarded;
  EXPECT_CALL(*mock_, SubscribeToFsrlDetections(_)).WillOnce([&](Callback callback) {
    return forwarded.Call(std::move(callback));
  });
  ExpectSubscribeForwardsCallbackAndSubscription(hal_, &FrontSideRadarLeftHal::SubscribeToFsrlDetections, forwarded);
}

TEST_F(FrontSideRadarLeftHalForwardingTest, SubscribeToFsrlStatusHandsOnTheCallbackAndReturnsTheSubscription) {
  ::testing::MockFunction<Subscription(Callback)> forwarded;
  EXPECT_CALL(*mock_, SubscribeToFsrlStatus(_)).WillOnce([&](Callback callback) {
    return forwarded.Call(std::move(callback));
  });
  ExpectSubscribeForwardsCallbackAndSubscription(hal_, &FrontSideRadarLeftHal::SubscribeToFsrlStatus, forwarded);
}

TEST_F(FrontSideRadarLeftHalForwardingTest, SubscribeToServiceModeHandsOnTheCallbackAndReturnsTheSubscription) {
  ::testing::MockFunction<Subscription(Callback)> forwarded;
  EXPECT_CALL(*mock_, SubscribeToServiceMode(_)).WillOnce([&](Callback callback) {
    return forwarded.Call(std::move(callback));
  });
  ExpectSubscribeForwardsCallbackAndSubscription(hal_, &FrontSideRadarLeftHal::SubscribeToServiceMode, forwarded);
}

// ---------------------------------------------------------------------------------------------------------------
// The implementation and descriptor bases

TEST(FrontSideRadarLeftHalImplTest, ImplPassesParentAndNameToItsContextualObject) {
  const ContextualObject owner(nullptr, "Owner");
  const StubImpl impl(&owner, std::uint8_t{0});
  EXPECT_EQ(impl.parent(), &owner);
  EXPECT_EQ(impl.name(), zol::string_view("StubImpl"));
}

TEST(FrontSideRadarLeftHalDescriptorTest, DescriptorRegistersUnderTheComponentNameWithItsInstanceIdWhileItLives) {
  auto& collection = ComponentDescriptorCollection::instance();
  {
    const TestDescriptor descriptor("Registered", std::uint8_t{0});
    EXPECT_EQ(descriptor.component_name(), zol::string_view(kComponentName));
    EXPECT_EQ(descriptor.instance_id(), zol::string_view("Registered"));
    EXPECT_EQ(collection.Find(kComponentName, "Registered"), &descriptor);
  }
  EXPECT_EQ(collection.Find(kComponentName, "Registered"), nullptr);
}

// ---------------------------------------------------------------------------------------------------------------
// Create

class FrontSideRadarLeftHalCreateTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // The object library registers no variant; the tests rely on starting from an empty registration.
    ASSERT_TRUE(ComponentDescriptorCollection::instance().instance_ids(kComponentName).empty());
    previous_level_ = zol::log::DefaultLevel();
    zol::log::SetDefaultLevel(LoggingLevel::kInfo);
  }
  void TearDown() override { zol::log::SetDefaultLevel(previous_level_); }

  // The status of one facade's implementation tells which test variant it came from.
  static int TagOf(const FrontSideRadarLeftHal& hal) { return hal.GetFsrlStatus()->scan_id(); }

  zol::log::CapturingSink sink_;
  zol::log::ScopedSink scoped_sink_{&sink_};
  LoggingLevel previous_level_{LoggingLevel::kInfo};
};

TEST_F(FrontSideRadarLeftHalCreateTest, NoInstanceIdWithExactlyOneRegisteredVariantReturnsThatVariant) {
  const TestDescriptor descriptor("Only", std::uint8_t{11});
  auto result = FrontSideRadarLeftHal::Create(nullptr, "NoInstanceId");
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result.status(), ErrorCode::kSuccess);
  EXPECT_EQ(descriptor.create_calls(), 1);
  EXPECT_EQ(TagOf(*result), 11);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(FrontSideRadarLeftHalCreateTest, NoInstanceIdWithoutRegisteredVariantFailsAndLogsTheCount) {
  const auto result = FrontSideRadarLeftHal::Create(nullptr, "NoInstanceId");
  EXPECT_FALSE(result.has_value());
  EXPECT_EQ(result.status(), ErrorCode::kFailure);
  EXPECT_EQ(static_cast<int>(result.status()), -1);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError, NoInstanceErrorLine(0)));
  EXPECT_EQ(sink_.lines().size(), 1U);
}

TEST_F(FrontSideRadarLeftHalCreateTest, NoInstanceIdWithTwoRegisteredVariantsFailsWithoutCreatingEither) {
  const TestDescriptor first("First", std::uint8_t{1});
  const TestDescriptor second("Second", std::uint8_t{2});
  EXPECT_THAT(FrontSideRadarLeftHal::Create(nullptr, "NoInstanceId"), fsrl_test::FailsWith(ErrorCode::kFailure));
  EXPECT_EQ(first.create_calls(), 0);
  EXPECT_EQ(second.create_calls(), 0);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError, NoInstanceErrorLine(2)));
}

TEST_F(FrontSideRadarLeftHalCreateTest, NoInstanceIdErrorLineNamesTheComponentOnTheDefaultLogContext) {
  const TestDescriptor first("First", std::uint8_t{1});
  const TestDescriptor second("Second", std::uint8_t{2});
  // Only the line the ambiguous request logs is examined here; the failed result has its own test.
  static_cast<void>(FrontSideRadarLeftHal::Create(nullptr, "NoInstanceId"));
  const auto lines = sink_.lines();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].level, LoggingLevel::kError);
  EXPECT_EQ(lines[0].context_id, zol::log::Context().id().to_string());
  EXPECT_THAT(lines[0].message, ::testing::EndsWith("instance_id: frontsideradarlefthal"));
}

TEST_F(FrontSideRadarLeftHalCreateTest, NoInstanceIdFailureLogsNothingWhenErrorsAreDisabled) {
  zol::log::SetDefaultLevel(LoggingLevel::kFatal);
  const auto result = FrontSideRadarLeftHal::Create(nullptr, "NoInstanceId");
  EXPECT_EQ(result.status(), ErrorCode::kFailure);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(FrontSideRadarLeftHalCreateTest, ExplicitInstanceIdReturnsTheVariantRegisteredUnderIt) {
  const TestDescriptor initial("Initial", std::uint8_t{21});
  const TestDescriptor other("Other", std::uint8_t{22});
  auto result = FrontSideRadarLeftHal::Create(nullptr, "Initial");
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result.status(), ErrorCode::kSuccess);
  EXPECT_EQ(TagOf(*result), 21);
  EXPECT_EQ(initial.create_calls(), 1);
  EXPECT_EQ(other.create_calls(), 0);
  EXPECT_EQ(result->ProcessFsrlInput(), ErrorCode::kSuccess);
}

TEST_F(FrontSideRadarLeftHalCreateTest, UnknownInstanceIdFailsWithoutLogging) {
  const TestDescriptor initial("Initial", std::uint8_t{21});
  EXPECT_THAT(FrontSideRadarLeftHal::Create(nullptr, "Unknown"), fsrl_test::FailsWith(ErrorCode::kFailure));
  EXPECT_EQ(initial.create_calls(), 0);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(FrontSideRadarLeftHalCreateTest, EmptyInstanceIdIsLookedUpAsAnOrdinaryId) {
  const TestDescriptor unnamed("", std::uint8_t{5});
  auto found = FrontSideRadarLeftHal::Create(nullptr, "");
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(TagOf(*found), 5);
}

TEST_F(FrontSideRadarLeftHalCreateTest, ReservedIdInOtherLetterCaseIsAnOrdinaryInstanceId) {
  const TestDescriptor lower("noinstanceid", std::uint8_t{31});
  const TestDescriptor other("Other", std::uint8_t{32});
  auto result = FrontSideRadarLeftHal::Create(nullptr, "noinstanceid");
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(TagOf(*result), 31);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(FrontSideRadarLeftHalCreateTest, ReservedIdWithAppendedCharactersIsAnOrdinaryInstanceId) {
  const TestDescriptor appended("NoInstanceIdX", std::uint8_t{41});
  const TestDescriptor other("Other", std::uint8_t{42});
  auto result = FrontSideRadarLeftHal::Create(nullptr, "NoInstanceIdX");
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(TagOf(*result), 41);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(FrontSideRadarLeftHalCreateTest, ReservedIdInOtherLetterCaseFailsWhenNoVariantCarriesIt) {
  const TestDescriptor only("Only", std::uint8_t{1});
  const auto result = FrontSideRadarLeftHal::Create(nullptr, "NOINSTANCEID");
  EXPECT_EQ(result.status(), ErrorCode::kFailure);
  EXPECT_EQ(only.create_calls(), 0);  // not treated as "pick the only one"
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(FrontSideRadarLeftHalCreateTest, ReservedIdFollowedByANulCharacterIsAnOrdinaryInstanceId) {
  const TestDescriptor only("Only", std::uint8_t{1});
  const char with_nul[] = {'N', 'o', 'I', 'n', 's', 't', 'a', 'n', 'c', 'e', 'I', 'd', '\0'};
  const auto result = FrontSideRadarLeftHal::Create(nullptr, zol::string_view(with_nul, sizeof(with_nul)));
  EXPECT_EQ(result.status(), ErrorCode::kFailure);
  EXPECT_EQ(only.create_calls(), 0);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(FrontSideRadarLeftHalCreateTest, DescriptorOfAnotherTypeUnderTheComponentNameGivesFailure) {
  const ComponentDescriptor plain(kComponentName, "Plain");
  EXPECT_THAT(FrontSideRadarLeftHal::Create(nullptr, "Plain"), fsrl_test::FailsWith(ErrorCode::kFailure));
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(FrontSideRadarLeftHalCreateTest, NoInstanceIdPickingADescriptorOfAnotherTypeGivesFailureWithoutLogging) {
  const ComponentDescriptor plain(kComponentName, "Plain");
  const auto result = FrontSideRadarLeftHal::Create(nullptr, "NoInstanceId");
  EXPECT_EQ(result.status(), ErrorCode::kFailure);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(FrontSideRadarLeftHalCreateTest, VariantOfAnotherComponentIsNotFound) {
  const ComponentDescriptor foreign("othercomponent", "Initial");
  const auto result = FrontSideRadarLeftHal::Create(nullptr, "Initial");
  EXPECT_EQ(result.status(), ErrorCode::kFailure);
}

TEST_F(FrontSideRadarLeftHalCreateTest, NegativeStatusOfTheDescriptorIsPassedThrough) {
  const TestDescriptor failing(
      "Failing", [](const ContextualObject*) -> StatusOr<ImplPointer> { return ErrorCode::kNotAvailable; });
  EXPECT_THAT(FrontSideRadarLeftHal::Create(nullptr, "Failing"), fsrl_test::FailsWith(ErrorCode::kNotAvailable));
  EXPECT_EQ(failing.create_calls(), 1);
}

TEST_F(FrontSideRadarLeftHalCreateTest, NegativeStatusWithAnObjectIsPassedThroughAndTheObjectReleased) {
  int destroyed = 0;
  const TestDescriptor failing("Failing", [&destroyed](const ContextualObject* parent) -> StatusOr<ImplPointer> {
    return StatusOr<ImplPointer>(
        MakeImpl<StubImpl>(zol::pmr::get_default_resource(), parent, std::uint8_t{0}, &destroyed),
        ErrorCode::kBadState);
  });
  EXPECT_THAT(FrontSideRadarLeftHal::Create(nullptr, "Failing"), fsrl_test::FailsWith(ErrorCode::kBadState));
  EXPECT_EQ(destroyed, 1);
}

TEST_F(FrontSideRadarLeftHalCreateTest, NonNegativeStatusOfTheDescriptorGivesAFacadeWithSuccess) {
  const TestDescriptor pending("Pending", [](const ContextualObject* parent) -> StatusOr<ImplPointer> {
    return StatusOr<ImplPointer>(MakeImpl<StubImpl>(zol::pmr::get_default_resource(), parent, std::uint8_t{8}),
                                 ErrorCode::kPending);
  });
  auto result = FrontSideRadarLeftHal::Create(nullptr, "Pending");
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(result.status(), ErrorCode::kSuccess);
  EXPECT_EQ(TagOf(*result), 8);
}

TEST_F(FrontSideRadarLeftHalCreateTest, DescriptorReportingSuccessWithoutAnObjectGivesFailureNotAnEmptyFacade) {
  const TestDescriptor hollow("Hollow", [](const ContextualObject*) -> StatusOr<ImplPointer> {
    return StatusOr<ImplPointer>(ImplPointer(), ErrorCode::kSuccess);
  });
  const TestDescriptor valueless("Valueless",
                                 [](const ContextualObject*) -> StatusOr<ImplPointer> { return ErrorCode::kPending; });
  EXPECT_EQ(FrontSideRadarLeftHal::Create(nullptr, "Hollow").status(), ErrorCode::kFailure);
  EXPECT_EQ(FrontSideRadarLeftHal::Create(nullptr, "Valueless").status(), ErrorCode::kFailure);
}

TEST_F(FrontSideRadarLeftHalCreateTest, ParentIsHandedToTheDescriptorUnchanged) {
  const ContextualObject owner(nullptr, "Owner");
  const TestDescriptor descriptor("Initial", std::uint8_t{1});
  auto with_parent = FrontSideRadarLeftHal::Create(&owner, "Initial");
  ASSERT_TRUE(with_parent.has_value());
  EXPECT_EQ(descriptor.last_parent(), &owner);
  auto without_parent = FrontSideRadarLeftHal::Create(nullptr, "Initial");
  ASSERT_TRUE(without_parent.has_value());
  EXPECT_EQ(descriptor.last_parent(), nullptr);
}

TEST_F(FrontSideRadarLeftHalCreateTest, EachCreateBuildsANewIndependentImplementation) {
  int destroyed = 0;
  std::uint8_t next_tag = 50;
  const TestDescriptor counting("Initial", [&](const ContextualObject* parent) -> StatusOr<ImplPointer> {
    return MakeImpl<StubImpl>(zol::pmr::get_default_resource(), parent, next_tag++, &destroyed);
  });
  {
    auto first = FrontSideRadarLeftHal::Create(nullptr, "Initial");
    auto second = FrontSideRadarLeftHal::Create(nullptr, "Initial");
    ASSERT_TRUE(first.has_value());
    ASSERT_TRUE(second.has_value());
    EXPECT_EQ(TagOf(*first), 50);
    EXPECT_EQ(TagOf(*second), 51);
  }
  EXPECT_EQ(destroyed, 2);
}

TEST_F(FrontSideRadarLeftHalCreateTest, CreatedFacadeGivesTheImplementationBackWithTheRecordedSizeAndAlignment) {
  int destroyed = 0;
  const TestDescriptor large("Large", [&destroyed](const ContextualObject* parent) -> StatusOr<ImplPointer> {
    // Like a real variant: the object comes from the default resource current at creation time.
    return MakeImpl<LargeImpl>(zol::pmr::get_default_resource(), parent, std::uint8_t{64}, &destroyed);
  });
  zol::pmr::CountingResource counting;
  {
    const zol::pmr::ScopedDefaultResource scoped_default(&counting);
    {
      auto result = FrontSideRadarLeftHal::Create(nullptr, "Large");
      ASSERT_TRUE(result.has_value());
      FrontSideRadarLeftHal hal = std::move(result).value();
      // Create's own temporaries are gone; only the implementation object is left.
      EXPECT_EQ(counting.outstanding_allocations(), 1U);
      EXPECT_EQ(counting.outstanding_bytes(), sizeof(LargeImpl));
      EXPECT_EQ(TagOf(hal), 64);
    }
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(counting.outstanding_allocations(), 0U);
    EXPECT_EQ(counting.outstanding_bytes(), 0U);
    EXPECT_EQ(counting.mismatched_deallocations(), 0U);
    EXPECT_EQ(counting.bytes_deallocated(), counting.bytes_allocated());
  }
}

TEST_F(FrontSideRadarLeftHalCreateTest, CreateReleasesItsTemporariesOnEveryPath) {
  const TestDescriptor first("First", std::uint8_t{1});
  const TestDescriptor second("Second", std::uint8_t{2});
  zol::pmr::CountingResource counting;
  {
    const zol::pmr::ScopedDefaultResource scoped_default(&counting);
    EXPECT_EQ(FrontSideRadarLeftHal::Create(nullptr, "NoInstanceId").status(), ErrorCode::kFailure);
    EXPECT_EQ(FrontSideRadarLeftHal::Create(nullptr, "An instance id too long for any short string buffer").status(),
              ErrorCode::kFailure);
  }
  EXPECT_GT(counting.allocation_count(), 0U);  // the instance list and the long id came from the default resource
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
  EXPECT_EQ(counting.mismatched_deallocations(), 0U);
}

}  // namespace
