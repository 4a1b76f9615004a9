#include "zol/afw/core/property.h"

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/notifier.h"
#include "zol/pmr/counting_resource.h"

namespace {

using ::testing::_;
using ::testing::Eq;
using ::testing::InSequence;
using ::testing::MockFunction;
using ::testing::Return;
using zol::afw::core::AbstractProperty;
using zol::afw::core::ContextualObject;
using zol::afw::core::ErrorCode;
using zol::afw::core::GenericPropertyBase;
using zol::afw::core::NotificationConfiguration;
using zol::afw::core::PropertyAttribute;
using zol::afw::core::SignalGroupProperty;
using zol::afw::core::SignalPropertyStatus;
using zol::afw::core::SignalPropertyStatusCode;
using zol::afw::core::Subscribable;
using zol::afw::core::Subscription;
using When = NotificationConfiguration::When;

struct Record {
  int value{0};
};
using Property = SignalGroupProperty<Record>;

static_assert(std::is_base_of<GenericPropertyBase, Property>::value, "a signal group property is a property");
static_assert(std::is_base_of<AbstractProperty, GenericPropertyBase>::value, "properties are abstract properties");
static_assert(std::is_base_of<Subscribable, AbstractProperty>::value, "properties can be subscribed to");
static_assert(std::has_virtual_destructor<Subscribable>::value, "held through base pointers");
static_assert(std::is_abstract<AbstractProperty>::value, "AbstractProperty is an interface");
static_assert(static_cast<std::uint32_t>(PropertyAttribute::kReadAccess) == 1U, "wire value of kReadAccess");
static_assert(static_cast<std::uint32_t>(PropertyAttribute::kWriteAccess) == 2U, "wire value of kWriteAccess");

// The provider's side of a property, as mock functions.
class PropertyTest : public ::testing::Test {
 protected:
  std::unique_ptr<Property> MakeProperty(bool notify_on_invalidate = true) {
    return std::make_unique<Property>(nullptr, "Client.group", notify_on_invalidate, read_.AsStdFunction(),
                                      write_.AsStdFunction(), available_.AsStdFunction(), configure_.AsStdFunction());
  }

  MockFunction<ErrorCode(Record*, SignalPropertyStatus*)> read_;
  MockFunction<ErrorCode(const Record*)> write_;
  MockFunction<bool()> available_;
  MockFunction<void(When)> configure_;
};

TEST_F(PropertyTest, KeepsItsParentNameAndFlag) {
  const ContextualObject parent(nullptr, "App");
  const Property property(&parent, "Client.group", false, nullptr, nullptr);

  EXPECT_EQ(property.parent(), &parent);
  EXPECT_EQ(property.name(), "Client.group");
  EXPECT_FALSE(property.notify_on_invalidate());
}

TEST_F(PropertyTest, ItsNameIsCopiedToTheDefaultResource) {
  zol::pmr::CountingResource resource;
  const zol::pmr::ScopedDefaultResource scoped(&resource);
  std::string name(64, 'n');
  {
    const Property property(nullptr, name, true, nullptr, nullptr);
    name.assign(64, 'x');
    EXPECT_EQ(property.name(), std::string(64, 'n'));
    EXPECT_GT(resource.outstanding_allocations(), 0U);
  }
  EXPECT_EQ(resource.outstanding_allocations(), 0U);
}

TEST_F(PropertyTest, ReadingWithoutAReadFunctionIsNotImplementedWhateverElseHolds) {
  Property property(nullptr, "p", true, nullptr, write_.AsStdFunction(), [] { return false; });
  property.set_attribute_test([](PropertyAttribute) { return false; });
  Record record;

  EXPECT_EQ(property.get(&record), ErrorCode::kNotImplemented);
}

TEST_F(PropertyTest, AnAttributeTestThatDeniesReadAccessGivesAccessDeniedBeforeAvailabilityIsAsked) {
  auto property = MakeProperty();
  MockFunction<bool(PropertyAttribute)> test;
  EXPECT_CALL(test, Call(PropertyAttribute::kReadAccess)).WillOnce(Return(false));
  EXPECT_CALL(available_, Call()).Times(0);
  EXPECT_CALL(read_, Call(_, _)).Times(0);
  property->set_attribute_test(test.AsStdFunction());
  Record record;

  EXPECT_EQ(property->get(&record), ErrorCode::kAccessDenied);
}

TEST_F(PropertyTest, AnUnavailablePropertyAnswersNotAvailableWithoutCallingTheReadFunction) {
  auto property = MakeProperty();
  EXPECT_CALL(available_, Call()).WillOnce(Return(false));
  EXPECT_CALL(read_, Call(_, _)).Times(0);
  Record record;

  EXPECT_EQ(property->get(&record), ErrorCode::kNotAvailable);
}

TEST_F(PropertyTest, ReadHandsValueAndStatusToTheReadFunctionAndReturnsItsCode) {
  auto property = MakeProperty();
  Record record;
  SignalPropertyStatus status;
  EXPECT_CALL(available_, Call()).WillRepeatedly(Return(true));
  EXPECT_CALL(read_, Call(&record, &status)).WillOnce([](Record* value, SignalPropertyStatus* read_status) {
    value->value = 42;
    read_status->status_code_ = SignalPropertyStatusCode::kE2eOk;
    return ErrorCode::kPending;
  });

  EXPECT_EQ(property->get(&record, &status), ErrorCode::kPending);
  EXPECT_EQ(record.value, 42);
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kE2eOk);
}

TEST_F(PropertyTest, ReadWithoutStatusHandsANullStatusToTheReadFunction) {
  auto property = MakeProperty();
  Record record;
  EXPECT_CALL(available_, Call()).WillRepeatedly(Return(true));
  EXPECT_CALL(read_, Call(&record, nullptr)).WillOnce(Return(ErrorCode::kSuccess));

  EXPECT_EQ(property->get(&record), ErrorCode::kSuccess);
}

TEST_F(PropertyTest, AFailingReadFunctionsCodeIsReturnedAsItIs) {
  auto property = MakeProperty();
  Record record;
  EXPECT_CALL(available_, Call()).WillRepeatedly(Return(true));
  EXPECT_CALL(read_, Call(_, _)).WillOnce(Return(ErrorCode::kTimeout));

  EXPECT_EQ(property->get(&record), ErrorCode::kTimeout);
}

TEST_F(PropertyTest, AnAttributeTestThatGrantsReadAccessLetsTheReadThrough) {
  auto property = MakeProperty();
  property->set_attribute_test([](PropertyAttribute attribute) { return attribute == PropertyAttribute::kReadAccess; });
  EXPECT_CALL(available_, Call()).WillRepeatedly(Return(true));
  EXPECT_CALL(read_, Call(_, _)).WillOnce(Return(ErrorCode::kSuccess));
  Record record;

  EXPECT_EQ(property->get(&record), ErrorCode::kSuccess);
  EXPECT_TRUE(property->HasAccess(PropertyAttribute::kReadAccess));
  EXPECT_FALSE(property->HasAccess(PropertyAttribute::kWriteAccess));
}

TEST_F(PropertyTest, WithoutAnAvailabilityPredicateThePropertyIsAvailable) {
  Property property(nullptr, "p", true, read_.AsStdFunction(), nullptr);
  EXPECT_CALL(read_, Call(_, _)).WillOnce(Return(ErrorCode::kSuccess));
  Record record;

  EXPECT_TRUE(property.IsAvailable());
  EXPECT_EQ(property.get(&record), ErrorCode::kSuccess);
}

TEST_F(PropertyTest, ReadingIntoNothingIsABadArgument) {
  auto property = MakeProperty();
  EXPECT_CALL(available_, Call()).WillRepeatedly(Return(true));
  EXPECT_CALL(read_, Call(_, _)).Times(0);

  EXPECT_EQ(property->get(nullptr), ErrorCode::kBadArgument);
}

TEST_F(PropertyTest, WritingFollowsTheSameOrderWithWriteAccess) {
  Record record;
  Property without_writer(nullptr, "p", true, read_.AsStdFunction(), nullptr);
  EXPECT_EQ(without_writer.set(&record), ErrorCode::kNotImplemented);

  auto property = MakeProperty();
  bool grant_write = false;
  property->set_attribute_test([&grant_write](PropertyAttribute attribute) {
    return attribute == PropertyAttribute::kWriteAccess && grant_write;
  });
  EXPECT_EQ(property->set(&record), ErrorCode::kAccessDenied);

  grant_write = true;
  {
    InSequence sequence;
    EXPECT_CALL(available_, Call()).WillOnce(Return(false));
    EXPECT_CALL(available_, Call()).WillOnce(Return(true));
    EXPECT_CALL(write_, Call(&record)).WillOnce(Return(ErrorCode::kBusy));
  }
  EXPECT_EQ(property->set(&record), ErrorCode::kNotAvailable);
  EXPECT_EQ(property->set(&record), ErrorCode::kBusy);
}

TEST_F(PropertyTest, TheValueIsValidFromASuccessfulReadUntilInvalidated) {
  auto property = MakeProperty(false);
  Record record;
  EXPECT_CALL(available_, Call()).WillRepeatedly(Return(true));
  EXPECT_CALL(read_, Call(_, _))
      .WillOnce(Return(ErrorCode::kSuccess))
      .WillOnce(Return(ErrorCode::kSuccess))
      .WillOnce(Return(ErrorCode::kFailure));
  EXPECT_FALSE(property->is_valid());

  EXPECT_EQ(property->get(&record), ErrorCode::kSuccess);
  EXPECT_TRUE(property->is_valid());
  property->Invalidate();
  EXPECT_FALSE(property->is_valid());
  EXPECT_EQ(property->get(&record), ErrorCode::kSuccess);
  EXPECT_TRUE(property->is_valid());
  EXPECT_EQ(property->get(&record), ErrorCode::kFailure);
  EXPECT_FALSE(property->is_valid());
}

TEST_F(PropertyTest, InvalidateNotifiesEverySubscriberSynchronouslyWhenTheFlagIsSet) {
  auto property = MakeProperty(true);
  EXPECT_CALL(configure_, Call(_)).Times(1);
  std::vector<int> calls;
  std::vector<int>* record = &calls;
  const Subscription first = property->Subscribe([record] { record->push_back(1); });
  const Subscription second = property->Subscribe([record] { record->push_back(2); });

  property->Invalidate();

  EXPECT_EQ(calls, (std::vector<int>{1, 2}));
  EXPECT_EQ(property->subscriber_count(), 2U);
}

TEST_F(PropertyTest, InvalidateOnlyMarksTheValueStaleWhenTheFlagIsNotSet) {
  auto property = MakeProperty(false);
  EXPECT_CALL(configure_, Call(_)).Times(1);
  int calls = 0;
  const Subscription subscription = property->Subscribe([&calls] { ++calls; });

  property->Invalidate();

  EXPECT_EQ(calls, 0);
  EXPECT_FALSE(property->is_valid());
}

TEST_F(PropertyTest, ACancelledSubscriberHearsNothing) {
  auto property = MakeProperty(true);
  EXPECT_CALL(configure_, Call(_)).Times(1);
  int calls = 0;
  Subscription subscription = property->Subscribe([&calls] { ++calls; });

  subscription.Cancel();
  property->Invalidate();

  EXPECT_EQ(calls, 0);
  EXPECT_EQ(property->subscriber_count(), 0U);
}

TEST_F(PropertyTest, InvalidateThroughTheAbstractInterfaceNotifies) {
  auto property = MakeProperty(true);
  EXPECT_CALL(configure_, Call(_)).Times(1);
  int calls = 0;
  Subscribable& subscribable = *property;
  const Subscription subscription = subscribable.Subscribe([&calls] { ++calls; });
  std::shared_ptr<AbstractProperty> abstract(std::move(property));

  abstract->Invalidate();

  EXPECT_EQ(calls, 1);
}

TEST_F(PropertyTest, TheFirstSubscriberAsksTheProviderForDefaultNotification) {
  auto property = MakeProperty();
  EXPECT_CALL(configure_, Call(Eq(When::kDefault))).Times(1);

  const Subscription first = property->Subscribe([] {});
  const Subscription second = property->Subscribe([] {});
}

TEST_F(PropertyTest, ASubscriberArrivingAfterAllLeftConfiguresAgain) {
  auto property = MakeProperty();
  EXPECT_CALL(configure_, Call(Eq(When::kDefault))).Times(2);

  {
    const Subscription first = property->Subscribe([] {});
  }
  const Subscription again = property->Subscribe([] {});
}

TEST_F(PropertyTest, ConfigureNotificationPassesTheRequestToTheProvider) {
  auto property = MakeProperty();
  {
    InSequence sequence;
    EXPECT_CALL(configure_, Call(Eq(When::kNever)));
    EXPECT_CALL(configure_, Call(Eq(When::kOnWrite)));
    EXPECT_CALL(configure_, Call(Eq(When::kOnChange)));
  }

  property->ConfigureNotification(When::kNever);
  property->ConfigureNotification(When::kOnWrite);
  property->ConfigureNotification(When::kOnChange);
}

TEST_F(PropertyTest, WithoutAConfiguratorSubscribingAndConfiguringStillWork) {
  Property property(nullptr, "p", true, nullptr, nullptr);
  int calls = 0;

  const Subscription subscription = property.Subscribe([&calls] { ++calls; });
  property.ConfigureNotification(When::kOnWrite);
  property.Invalidate();

  EXPECT_EQ(calls, 1);
}

TEST_F(PropertyTest, ResetDisconnectsThePropertyFromItsProvider) {
  auto property = MakeProperty(true);
  EXPECT_CALL(configure_, Call(_)).Times(1);
  EXPECT_CALL(read_, Call(_, _)).Times(0);
  EXPECT_CALL(write_, Call(_)).Times(0);
  EXPECT_CALL(available_, Call()).Times(0);
  int calls = 0;
  const Subscription subscription = property->Subscribe([&calls] { ++calls; });
  property->set_attribute_test([](PropertyAttribute) { return false; });

  property->Reset();

  Record record;
  EXPECT_EQ(property->get(&record), ErrorCode::kNotImplemented);
  EXPECT_EQ(property->set(&record), ErrorCode::kNotImplemented);
  EXPECT_TRUE(property->HasAccess(PropertyAttribute::kReadAccess));
  EXPECT_TRUE(property->IsAvailable());
  // No more calls into the provider, not even for a new subscriber; existing subscribers stay.
  const Subscription late = property->Subscribe([] {});
  property->ConfigureNotification(When::kOnWrite);
  property->Invalidate();
  EXPECT_EQ(calls, 1);
}

TEST_F(PropertyTest, AfterResetAFirstSubscriberNoLongerReachesTheProvider) {
  auto property = MakeProperty(true);
  EXPECT_CALL(configure_, Call(_)).Times(0);

  property->Reset();
  const Subscription subscription = property->Subscribe([] {});

  EXPECT_EQ(property->subscriber_count(), 1U);
}

}  // namespace
