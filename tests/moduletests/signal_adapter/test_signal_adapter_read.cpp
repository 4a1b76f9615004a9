// The typed read (E2E check and decoding into the record) and the raw read of
// a group, with their statuses, results and messages.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "signal_adapter_test_support.h"
#include "zol/pmr/counting_resource.h"

namespace fsrl_test {
namespace {

using initialfrontsideradarlefthal::types::RSDS4Detn000To004;
using initialfrontsideradarlefthal::types::RSDS4SigSts1;
using initialfrontsideradarlefthal::types::RSDS4SigSts2;
using zol::afw::core::Transaction;
using RawBytes = zol::memory::span<const unsigned char>;

// Fields a read must not touch keep these values.
RSDS4SigSts2 SentinelRecord() {
  RSDS4SigSts2 record{};
  record.rsds4sig_sts2counter = 0xA5;
  record.rsds4sig_sts2crc = 0x5A5A;
  record.rsds4sig_sts2time_stamp_obj = 0x1122334455667788ULL;
  record.rsds4sig_sts2azi_mis_alnmnt_ang = 99.0;
  return record;
}

void ExpectSentinel(const RSDS4SigSts2& record) {
  EXPECT_EQ(record.rsds4sig_sts2counter, 0xA5);
  EXPECT_EQ(record.rsds4sig_sts2crc, 0x5A5A);
  EXPECT_EQ(record.rsds4sig_sts2time_stamp_obj, 0x1122334455667788ULL);
  EXPECT_EQ(record.rsds4sig_sts2azi_mis_alnmnt_ang, 99.0);
}

// Every field of a record of group `index` against what the payload's bits decode to.
void ExpectDecodedFrom(std::size_t index, const void* record, const std::vector<std::uint8_t>& payload) {
  const auto& info = initialfrontsideradarlefthal::meta::kSignalGroups[index];
  for (std::size_t k = 0; k < info.field_count; ++k) {
    const SignalAdapter_Signal& signal = SignalOfSlot(index, k);
    const Expected expected = ExpectedValue(
        signal, GetBits(payload, static_cast<unsigned>(signal.value_relative_bit_offset), signal.value_bit_length));
    const Expected actual = FieldValue(record, info.fields[k]);
    ASSERT_EQ(actual.is_double, expected.is_double) << info.fields[k].name;
    if (expected.is_double) {
      EXPECT_EQ(actual.physical, expected.physical) << info.fields[k].name;
    } else {
      EXPECT_EQ(actual.integer, expected.integer) << info.fields[k].name;
    }
  }
}

class SignalAdapterReadTest : public SignalAdapterTest {
 protected:
  void SetUp() override {
    SignalAdapterTest::SetUp();
    impl_ = MakeInitializedImpl();
  }

  // The service's own entry of a group, to compare fakes against.
  const SignalComm_SignalGroup& Entry(std::size_t index) const { return *impl_->consumed_groups_[index]; }

  std::shared_ptr<Impl> impl_;
};

TEST_F(SignalAdapterReadTest, FreshProtectedPayloadReadsAsE2eOkWithSuccessAndTheDecodedRecord) {
  const std::vector<std::uint8_t> frame = PatternFrame(kSigSts2, 0);
  Publish(kSigSts2, frame);
  RSDS4SigSts2 record = SentinelRecord();
  SignalPropertyStatus status;

  EXPECT_EQ(impl_->get_rsds4sig_sts2()->get(&record, &status), ErrorCode::kSuccess);

  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kE2eOk);
  ExpectDecodedFrom(kSigSts2, &record, frame);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(SignalAdapterReadTest, GroupEntryWithoutSignalsIsReadWithANullSignalNotRefused) {
  Publish(kDetn000To004, PatternFrame(kDetn000To004, 0));
  SignalComm_SignalGroup without_signals = Entry(kDetn000To004);
  // signals_p stays valid: only a null signal can make the service refuse.
  without_signals.nbr_of_signals = 0;
  impl_->consumed_groups_[kDetn000To004] = &without_signals;
  const std::size_t typed_calls = Calls("SignalComm_Signal_GetByteArray");
  const std::size_t raw_calls = Calls("SignalComm_Signal_GetByteArrayBuffer");
  RSDS4Detn000To004 record{};
  RawBytes bytes;

  EXPECT_EQ(impl_->get_rsds4detn000to004()->get(&record), ErrorCode::kFailure);
  EXPECT_EQ(impl_->get_rsds4detn000to004()->get_raw(bytes), ErrorCode::kFailure);

  EXPECT_EQ(Calls("SignalComm_Signal_GetByteArray"), typed_calls + 1U);
  EXPECT_EQ(Calls("SignalComm_Signal_GetByteArrayBuffer"), raw_calls + 1U);
  EXPECT_TRUE(
      sink_.Contains(LoggingLevel::kError,
                     "Failed to read E2E protected signal group 'RSDS4Detn000To004' from Signal Comm. Code: -22"));
  EXPECT_TRUE(
      sink_.Contains(LoggingLevel::kError,
                     "Failed to read raw bytes, E2E signal group 'RSDS4Detn000To004' from Signal Comm. Code: -22"));

  // The same entry with its signal counted reads fine, once the frame is flagged as new again (the failed read
  // above never got to check it).
  without_signals.nbr_of_signals = 1;
  without_signals.status_flags = SIGNAL_GROUP_STATUS_VALUE_UPDATED;
  EXPECT_EQ(impl_->get_rsds4detn000to004()->get(&record), ErrorCode::kSuccess);
}

TEST_F(SignalAdapterReadTest, WrongCrcOverwritesTheRecordSetsTheStatusLogsCodeAndExtendedAndReturnsTheError) {
  std::vector<std::uint8_t> frame = PatternFrame(kSigSts2, 0);
  frame[0] ^= 0x01U;
  Publish(kSigSts2, frame);
  RSDS4SigSts2 record = SentinelRecord();
  SignalPropertyStatus status;

  EXPECT_EQ(impl_->get_rsds4sig_sts2()->get(&record, &status), ErrorCode::kFailure);

  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kE2eWrongCRC);
  EXPECT_EQ(static_cast<int>(status.status_code_), -1);
  ExpectDecodedFrom(kSigSts2, &record, frame);
  EXPECT_TRUE(sink_.Contains(
      LoggingLevel::kError, "Failed to decode and check E2E for signal group 'RSDS4SigSts2'. Code: -1, Extended: -1."));
}

TEST_F(SignalAdapterReadTest, RepeatedAndJumpingCountersAreReportedWithTheirOwnStatus) {
  RSDS4SigSts1 record{};
  SignalPropertyStatus status;
  Publish(kSigSts1, PatternFrame(kSigSts1, 3, 1));
  ASSERT_EQ(impl_->get_rsds4sig_sts1()->get(&record, &status), ErrorCode::kSuccess);

  Transaction::Begin();
  Publish(kSigSts1, PatternFrame(kSigSts1, 3, 2));
  EXPECT_EQ(impl_->get_rsds4sig_sts1()->get(&record, &status), ErrorCode::kFailure);
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kE2eRepeated);
  EXPECT_TRUE(sink_.Contains(
      LoggingLevel::kError, "Failed to decode and check E2E for signal group 'RSDS4SigSts1'. Code: -1, Extended: -2."));

  Transaction::Begin();
  Publish(kSigSts1, PatternFrame(kSigSts1, 30, 3));
  EXPECT_EQ(impl_->get_rsds4sig_sts1()->get(&record, &status), ErrorCode::kFailure);
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kE2eWrongSequence);
  EXPECT_TRUE(sink_.Contains(
      LoggingLevel::kError, "Failed to decode and check E2E for signal group 'RSDS4SigSts1'. Code: -1, Extended: -3."));
  EXPECT_EQ(record.rsds4sig_sts1counter, 30U);
}

TEST_F(SignalAdapterReadTest, NothingNewSinceTheLastRetrievalReadsAsE2eNoNewDataWithSuccess) {
  RSDS4SigSts1 record{};
  SignalPropertyStatus status;
  Publish(kSigSts1, PatternFrame(kSigSts1, 0));
  ASSERT_EQ(impl_->get_rsds4sig_sts1()->get(&record, &status), ErrorCode::kSuccess);
  Transaction::Begin();

  EXPECT_EQ(impl_->get_rsds4sig_sts1()->get(&record, &status), ErrorCode::kSuccess);

  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kE2eNoNewData);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(SignalAdapterReadTest, TypedReadWithANullStatusRunsTheCheckAndFillsTheRecord) {
  const std::vector<std::uint8_t> frame = PatternFrame(kSigSts2, 9);
  Publish(kSigSts2, frame);
  RSDS4SigSts2 record = SentinelRecord();
  ASSERT_EQ(impl_->rsds4sigsts2_e2e_protection_->counter(), 0xFFU);

  EXPECT_EQ(impl_->get_rsds4sig_sts2()->get(&record, nullptr), ErrorCode::kSuccess);

  EXPECT_EQ(impl_->rsds4sigsts2_e2e_protection_->counter(), 9U);
  EXPECT_EQ(impl_->rsds4sigsts2_e2e_protection_->last_check_status(), zol::e2e::E2E_P_OK);
  ExpectDecodedFrom(kSigSts2, &record, frame);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(SignalAdapterReadTest, FloatNotRepresentableInSinglePrecisionArrivesAsTheNearestSingleWidenedToDouble) {
  std::vector<std::uint8_t> frame(PayloadLength(kDetn000To004));
  const SignalAdapter_Signal& range0 = SignalNamed("RSDS4Detn000To004Range0");
  ASSERT_EQ(range0.value_factor_offset.scale_factor.double_float, 0.01);
  PutBits(frame, static_cast<unsigned>(range0.value_relative_bit_offset), range0.value_bit_length, 12345U);
  Protect(kDetn000To004, 0, frame);
  Publish(kDetn000To004, frame);
  RSDS4Detn000To004 record{};

  ASSERT_EQ(impl_->get_rsds4detn000to004()->get(&record), ErrorCode::kSuccess);

  EXPECT_EQ(record.rsds4detn000to004range0, static_cast<double>(123.45F));
  EXPECT_NE(record.rsds4detn000to004range0, 123.45);
}

TEST_F(SignalAdapterReadTest, FailedPayloadReadLogsAndLeavesRecordAndStatusUntouched) {
  Publish(kSigSts2, PatternFrame(kSigSts2, 0));
  Service::Instance().InjectFailure("SignalComm_Signal_GetByteArray", 1, SIGNALCOMM_E_NO_MEMORY);
  RSDS4SigSts2 record = SentinelRecord();
  SignalPropertyStatus status;
  status.status_code_ = SignalPropertyStatusCode::kLostComm;

  EXPECT_EQ(impl_->get_rsds4sig_sts2()->get(&record, &status), ErrorCode::kFailure);

  ExpectSentinel(record);
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kLostComm);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError,
                             "Failed to read E2E protected signal group 'RSDS4SigSts2' from Signal Comm. Code: -12"));
  // Nothing was checked.
  EXPECT_EQ(impl_->rsds4sigsts2_e2e_protection_->last_check_status(), zol::e2e::E2E_P_NOTAVAILABLE);
}

TEST_F(SignalAdapterReadTest, GroupMissingFromTheCacheGivesNotFoundSilentlyForBothReads) {
  impl_->consumed_groups_[kSigSts2] = nullptr;
  RSDS4SigSts2 record = SentinelRecord();
  SignalPropertyStatus status;
  status.status_code_ = SignalPropertyStatusCode::kLostComm;
  const unsigned char kept[1] = {0x42};
  RawBytes bytes(kept);
  const std::size_t calls = Calls("SignalComm_Signal_GetByteArray");

  EXPECT_EQ(impl_->get_rsds4sig_sts2()->get(&record, &status), ErrorCode::kNotFound);
  EXPECT_EQ(impl_->get_rsds4sig_sts2()->get_raw(bytes, &status), ErrorCode::kNotFound);

  ExpectSentinel(record);
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kLostComm);
  EXPECT_EQ(bytes.data(), kept);
  EXPECT_EQ(Calls("SignalComm_Signal_GetByteArray"), calls);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(SignalAdapterReadTest, TypedReadAllocatesOnlyItsValueBufferOfExactlyTheGroupsSlots) {
  Publish(kDetn000To004, PatternFrame(kDetn000To004, 0));
  Publish(kSigSts2, PatternFrame(kSigSts2, 0));
  RSDS4Detn000To004 detections{};
  RSDS4SigSts2 status2{};
  zol::pmr::CountingResource counting;
  {
    const zol::pmr::ScopedDefaultResource scoped(&counting);
    ASSERT_EQ(impl_->get_rsds4detn000to004()->get(&detections), ErrorCode::kSuccess);
    EXPECT_EQ(counting.allocation_count(), 1U);
    EXPECT_EQ(counting.bytes_allocated(), 48U * 8U);
    ASSERT_EQ(impl_->get_rsds4sig_sts2()->get(&status2), ErrorCode::kSuccess);
    EXPECT_EQ(counting.allocation_count(), 2U);
    EXPECT_EQ(counting.bytes_allocated(), 48U * 8U + 19U * 8U);
  }
  EXPECT_EQ(counting.outstanding_allocations(), 0U);
}

TEST_F(SignalAdapterReadTest, RawReadWithModifiedAndUpdatedSetReportsDataModifiedAndViewsThePayload) {
  const std::vector<std::uint8_t> frame = PatternFrame(kSigSts1, 0);
  Publish(kSigSts1, frame);
  RawBytes bytes;
  SignalPropertyStatus status;

  EXPECT_EQ(impl_->get_rsds4sig_sts1()->get_raw(bytes, &status), ErrorCode::kSuccess);

  const std::uint16_t both = SIGNAL_GROUP_STATUS_VALUE_MODIFIED | SIGNAL_GROUP_STATUS_VALUE_UPDATED;
  ASSERT_EQ(Entry(kSigSts1).status_flags & both, both);
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kDataModified);
  EXPECT_EQ(std::vector<std::uint8_t>(bytes.begin(), bytes.end()), frame);
}

TEST_F(SignalAdapterReadTest, RawReadWithOnlyUpdatedSetReportsDataUpdated) {
  const std::vector<std::uint8_t> frame = PatternFrame(kSigSts1, 0);
  RawBytes bytes;
  SignalPropertyStatus status;
  Publish(kSigSts1, frame);
  ASSERT_EQ(impl_->get_rsds4sig_sts1()->get_raw(bytes, &status), ErrorCode::kSuccess);
  Transaction::Begin();
  Publish(kSigSts1, frame);

  EXPECT_EQ(impl_->get_rsds4sig_sts1()->get_raw(bytes, &status), ErrorCode::kSuccess);

  ASSERT_EQ(Entry(kSigSts1).status_flags, SIGNAL_GROUP_STATUS_VALUE_UPDATED);
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kDataUpdated);
}

TEST_F(SignalAdapterReadTest, RawReadWithoutNewDataReportsNoNewData) {
  RawBytes bytes;
  SignalPropertyStatus status;
  // Never received: only the INITIAL flag.
  EXPECT_EQ(impl_->get_rsds4sig_sts1()->get_raw(bytes, &status), ErrorCode::kSuccess);
  EXPECT_EQ(Entry(kSigSts1).status_flags, SIGNAL_GROUP_STATUS_VALUE_INITIAL);
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kNoNewData);

  Publish(kSigSts1, PatternFrame(kSigSts1, 0));
  Transaction::Begin();
  ASSERT_EQ(impl_->get_rsds4sig_sts1()->get_raw(bytes, &status), ErrorCode::kSuccess);
  Transaction::Begin();
  // Received before, nothing since.
  EXPECT_EQ(impl_->get_rsds4sig_sts1()->get_raw(bytes, &status), ErrorCode::kSuccess);
  EXPECT_EQ(Entry(kSigSts1).status_flags, 0U);
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kNoNewData);
}

TEST_F(SignalAdapterReadTest, RawReadReturningSizeZeroWithAPointerYieldsAnEmptyViewWithANullPointer) {
  // An empty payload: the service points at the group's bytes with a received length of 0.
  const std::uint8_t nothing[1] = {0};
  ASSERT_EQ(Service::Instance().Publish("RSDS4SigSts2", zol::memory::span<const std::uint8_t>(nothing, 0)),
            SIGNALCOMM_OK);
  ASSERT_EQ(impl_->RetrieveGroupCache(), ErrorCode::kSuccess);
  const std::uint8_t* data = nullptr;
  std::size_t size = 99;
  ASSERT_EQ(SignalComm_Signal_GetByteArrayBuffer(impl_->consumed_group_cache_, Entry(kSigSts2).signals_p, &data, &size),
            SIGNALCOMM_OK);
  ASSERT_NE(data, nullptr);
  ASSERT_EQ(size, 0U);
  const unsigned char before[1] = {0x42};
  RawBytes bytes(before);

  EXPECT_EQ(impl_->get_rsds4sig_sts2()->get_raw(bytes), ErrorCode::kSuccess);

  EXPECT_EQ(bytes.data(), nullptr);
  EXPECT_EQ(bytes.size(), 0U);
}

TEST_F(SignalAdapterReadTest, FailedRawReadLogsLeavesTheBytesAndStillReportsTheFlags) {
  Publish(kSigSts2, PatternFrame(kSigSts2, 0));
  Service::Instance().InjectFailure("SignalComm_Signal_GetByteArrayBuffer", 1, SIGNALCOMM_E_BUSY);
  const unsigned char before[1] = {0x42};
  RawBytes bytes(before);
  SignalPropertyStatus status;

  EXPECT_EQ(impl_->get_rsds4sig_sts2()->get_raw(bytes, &status), ErrorCode::kFailure);

  EXPECT_EQ(bytes.data(), before);
  EXPECT_EQ(bytes.size(), 1U);
  EXPECT_EQ(status.status_code_, SignalPropertyStatusCode::kDataModified);
  EXPECT_TRUE(sink_.Contains(LoggingLevel::kError,
                             "Failed to read raw bytes, E2E signal group 'RSDS4SigSts2' from Signal Comm. Code: -16"));
}

TEST_F(SignalAdapterReadTest, RawReadDoesNoCheckAndLeavesTheE2eStateAlone) {
  Publish(kSigSts2, PatternFrame(kSigSts2, 4));
  RawBytes bytes;

  ASSERT_EQ(impl_->get_rsds4sig_sts2()->get_raw(bytes), ErrorCode::kSuccess);

  EXPECT_EQ(impl_->rsds4sigsts2_e2e_protection_->counter(), 0xFFU);
  EXPECT_EQ(impl_->rsds4sigsts2_e2e_protection_->last_check_status(), zol::e2e::E2E_P_NOTAVAILABLE);
}

}  // namespace
}  // namespace fsrl_test
