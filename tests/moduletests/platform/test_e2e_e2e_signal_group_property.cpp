#include "zol/e2e/e2e_signal_group_property.h"

#include <memory>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "zol/afw/core/contextual_object.h"
#include "zol/afw/core/notifier.h"
#include "zol/afw/core/property.h"
#include "zol/memory/span.h"

namespace {

using ::testing::_;
using ::testing::Eq;
using ::testing::MockFunction;
using ::testing::Return;
using zol::afw::core::ContextualObject;
using zol::afw::core::ErrorCode;
using zol::afw::core::NotificationConfiguration;
using zol::afw::core::PropertyAttribute;
using zol::afw::core::SignalGroupProperty;
using zol::afw::core::SignalPropertyStatus;
using zol::afw::core::SignalPropertyStatusCode;
using zol::afw::core::Subscription;
using zol::e2e::E2ESignalGroupProperty;
using zol::memory::span;
using Bytes = span<const unsigned char>;
using When = NotificationConfiguration::When;

struct Record {
  int value{0};
};
using Property = E2ESignalGroupProperty<Record>;

static_assert(std::is_base_of<SignalGroupProperty<Record>, Property>::value,
              "an E2E property is a signal group property of the same record");

class E2ESignalGroupPropertyTest : public ::testing::Test {
 protected:
  // Every argument in the order of the constructor, each a different mock, so that a mix-up shows.
  std::unique_ptr<Property> MakeProperty(const ContextualObject* parent = nullptr) {
    return std::make_unique<Property>(parent, "Client.group", true, read_.AsStdFunction(), write_.AsStdFunction(),
                                      read_raw_.AsStdFunction(), write_raw_.AsStdFunction(), available_.AsStdFunction(),
                                      configure_.AsStdFunction());
  }

  MockFunction<ErrorCode(Record*, SignalPropertyStatus*)> read_;
  MockFunction<ErrorCode(const Record*)> write_;
  MockFunction<ErrorCode(Bytes&, SignalPropertyStatus*)> read_raw_;
  MockFunction<ErrorCode(Bytes)> write_raw_;
  MockFunction<bool()> available_;
  MockFunction<void(When)> configure_;
};

TEST_F(E2ESignalGroupPropertyTest, EachConstructorArgumentLandsWhereItBelongs) {
  const ContextualObject parent(nullptr, "App");
  auto property = MakeProperty(&parent);
  Record record;
  const unsigned char payload[3] = {1, 2, 3};
  Bytes bytes;
  EXPECT_CALL(available_, Call()).WillRepeatedly(Return(true));
  EXPECT_CALL(read_, Call(&record, nullptr)).WillOnce(Return(ErrorCode::kSuccess));
  EXPECT_CALL(write_, Call(&record)).WillOnce(Return(ErrorCode::kPending));
  EXPECT_CALL(read_raw_, Call(_, nullptr)).WillOnce(Return(ErrorCode::kNotFound));
  EXPECT_CALL(write_raw_, Call(_)).WillOnce(Return(ErrorCode::kValueTooLarge));
  EXPECT_CALL(configure_, Call(Eq(When::kOnWrite)));

  EXPECT_EQ(property->get(&record), ErrorCode::kSuccess);
  EXPECT_EQ(property->set(&record), ErrorCode::kPending);
  EXPECT_EQ(property->get_raw(bytes), ErrorCode::kNotFound);
  EXPECT_EQ(property->set_raw(Bytes(payload, 3)), ErrorCode::kValueTooLarge);
  property->ConfigureNotification(When::kOnWrite);
  EXPECT_EQ(property->parent(), &parent);
  EXPECT_EQ(property->name(), "Client.group");
  EXPECT_TRUE(property->notify_on_invalidate());
}

TEST_F(E2ESignalGroupPropertyTest, RawReadHandsOutThePayloadViewAndStatusOfTheRawReadFunction) {
  auto property = MakeProperty();
  static const unsigned char kPayload[4] = {0xCA, 0xFE, 0x00, 0x01};
  SignalPropertyStatus status;
  Bytes bytes;
  EXPECT_CALL(available_, Call()).WillRepeatedly(Return(true));
  EXPECT_CALL(read_raw_, Call(_, &status)).WillOnce([](Bytes& out, SignalPropertyStatus* read_status) {
    out = Bytes(kPayload, 4);
    read_status->status_code_ = SignalPropertyStatusCode::kDataModified;
    return ErrorCode::kSuccess;
  });

  EXPECT_EQ(property->get_raw(bytes, &status), ErrorCode::kSuccess);

  EXPECT_EQ(bytes.data(), kPayload);
  EXPECT_EQ(bytes.size(), 4U);
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kDataModified);
  EXPECT_TRUE(property->is_valid());
}

TEST_F(E2ESignalGroupPropertyTest, RawWriteHandsThePayloadToTheRawWriteFunction) {
  auto property = MakeProperty();
  const unsigned char payload[2] = {7, 8};
  EXPECT_CALL(available_, Call()).WillRepeatedly(Return(true));
  EXPECT_CALL(write_raw_, Call(_)).WillOnce([&payload](Bytes bytes) {
    EXPECT_EQ(bytes.data(), payload);
    EXPECT_EQ(bytes.size(), 2U);
    return ErrorCode::kSuccess;
  });

  EXPECT_EQ(property->set_raw(Bytes(payload, 2)), ErrorCode::kSuccess);
}

TEST_F(E2ESignalGroupPropertyTest, RawAccessWithoutAFunctionIsNotImplemented) {
  Property property(nullptr, "p", true, read_.AsStdFunction(), nullptr, nullptr, nullptr, nullptr, nullptr);
  Bytes bytes;

  EXPECT_EQ(property.get_raw(bytes), ErrorCode::kNotImplemented);
  EXPECT_EQ(property.set_raw(bytes), ErrorCode::kNotImplemented);
}

TEST_F(E2ESignalGroupPropertyTest, RawAccessIsCheckedForAccessFirstAndThenForAvailability) {
  auto property = MakeProperty();
  EXPECT_CALL(read_raw_, Call(_, _)).Times(0);
  EXPECT_CALL(write_raw_, Call(_)).Times(0);
  Bytes bytes;

  property->set_attribute_test([](PropertyAttribute) { return false; });
  EXPECT_CALL(available_, Call()).Times(0);
  EXPECT_EQ(property->get_raw(bytes), ErrorCode::kAccessDenied);
  EXPECT_EQ(property->set_raw(bytes), ErrorCode::kAccessDenied);

  ::testing::Mock::VerifyAndClearExpectations(&available_);
  property->set_attribute_test(nullptr);
  EXPECT_CALL(available_, Call()).WillRepeatedly(Return(false));
  EXPECT_EQ(property->get_raw(bytes), ErrorCode::kNotAvailable);
  EXPECT_EQ(property->set_raw(bytes), ErrorCode::kNotAvailable);
}

TEST_F(E2ESignalGroupPropertyTest, AttributeTestDistinguishesReadFromWrite) {
  auto property = MakeProperty();
  property->set_attribute_test([](PropertyAttribute attribute) { return attribute == PropertyAttribute::kReadAccess; });
  EXPECT_CALL(available_, Call()).WillRepeatedly(Return(true));
  EXPECT_CALL(read_raw_, Call(_, _)).WillOnce(Return(ErrorCode::kSuccess));
  EXPECT_CALL(write_raw_, Call(_)).Times(0);
  Bytes bytes;

  EXPECT_EQ(property->get_raw(bytes), ErrorCode::kSuccess);
  EXPECT_EQ(property->set_raw(bytes), ErrorCode::kAccessDenied);
}

TEST_F(E2ESignalGroupPropertyTest, ResetAlsoEmptiesTheRawFunctions) {
  auto property = MakeProperty();
  EXPECT_CALL(read_, Call(_, _)).Times(0);
  EXPECT_CALL(read_raw_, Call(_, _)).Times(0);
  EXPECT_CALL(write_raw_, Call(_)).Times(0);
  EXPECT_CALL(configure_, Call(_)).Times(0);
  Record record;
  Bytes bytes;

  property->Reset();

  EXPECT_EQ(property->get(&record), ErrorCode::kNotImplemented);
  EXPECT_EQ(property->set(&record), ErrorCode::kNotImplemented);
  EXPECT_EQ(property->get_raw(bytes), ErrorCode::kNotImplemented);
  EXPECT_EQ(property->set_raw(bytes), ErrorCode::kNotImplemented);
  const Subscription subscription = property->Subscribe([] {});
}

TEST_F(E2ESignalGroupPropertyTest, ResetThroughTheBaseReachesTheRawFunctions) {
  auto property = MakeProperty();
  EXPECT_CALL(read_raw_, Call(_, _)).Times(0);
  Bytes bytes;
  SignalGroupProperty<Record>& base = *property;

  base.Reset();

  EXPECT_EQ(property->get_raw(bytes), ErrorCode::kNotImplemented);
}

TEST_F(E2ESignalGroupPropertyTest, InvalidateNotifiesLikeAnyProperty) {
  auto property = MakeProperty();
  EXPECT_CALL(configure_, Call(Eq(When::kDefault)));
  int calls = 0;
  const Subscription subscription = property->Subscribe([&calls] { ++calls; });

  property->Invalidate();

  EXPECT_EQ(calls, 1);
}

}  // namespace
