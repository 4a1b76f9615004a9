// Decoding of every signal of every group into the typed records, end to end:
// payloads built from the database records, published to the service and
// read back through the adapter's properties.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <set>
#include <tuple>
#include <vector>

#include "signal_adapter_test_support.h"
#include "zol/e2e/signal_codec.h"

namespace fsrl_test {
namespace {

using initialfrontsideradarlefthal::types::RSDS4Detn120To124;
using initialfrontsideradarlefthal::types::RSDS4SigSts1;
using initialfrontsideradarlefthal::types::RSDS4SigSts2;

bool IsE2eHeader(const SignalAdapter_Signal& signal) {
  return (signal.value_relative_bit_offset == 0 && signal.value_bit_length == 16) ||
         (signal.value_relative_bit_offset == 16 && signal.value_bit_length == 8);
}

// Reads every group through the adapter and compares each field with what the
// raw value of its signal must decode to.
void ExpectAllGroupsDecodeTo(const SignalAdapter& adapter, const std::vector<std::vector<std::uint64_t>>& raw,
                             ErrorCode expected_result, SignalPropertyStatusCode expected_status) {
  for (std::size_t index = 0; index < kGroupCount; ++index) {
    WithGroup(adapter, index, [&](auto& property, auto& record) {
      SignalPropertyStatus status;
      EXPECT_EQ(property.get(&record, &status), expected_result) << GroupName(index);
      EXPECT_EQ(status.status_code_, expected_status) << GroupName(index);
      const auto& info = initialfrontsideradarlefthal::meta::kSignalGroups[index];
      ASSERT_EQ(info.field_count, raw[index].size());
      for (std::size_t k = 0; k < info.field_count; ++k) {
        const Expected expected = ExpectedValue(SignalOfSlot(index, k), raw[index][k]);
        const Expected actual = FieldValue(&record, info.fields[k]);
        ASSERT_EQ(actual.is_double, expected.is_double) << info.fields[k].name;
        if (expected.is_double) {
          EXPECT_EQ(actual.physical, expected.physical) << info.fields[k].name << " raw " << raw[index][k];
        } else {
          EXPECT_EQ(actual.integer, expected.integer) << info.fields[k].name << " raw " << raw[index][k];
        }
      }
    });
  }
}

using SignalAdapterDecodingTest = SignalAdapterTest;

TEST_F(SignalAdapterDecodingTest, RandomValuesMakeTheRoundTripThroughAllFiftyTwoGroupsFieldByField) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  std::mt19937_64 random(0x5EED2465U);
  std::vector<std::vector<std::uint64_t>> raw(kGroupCount);
  for (std::size_t index = 0; index < kGroupCount; ++index) {
    const SignalAdapter_SignalGroup& group = GroupRecord(index);
    std::vector<std::uint8_t> payload(PayloadLength(index));
    raw[index].resize(group.nbr_of_signals);
    for (std::size_t k = 0; k < group.nbr_of_signals; ++k) {
      const SignalAdapter_Signal& signal = SignalOfSlot(index, k);
      raw[index][k] = random() & AllOnes(signal.value_bit_length);
      zol::e2e::EncodeSignal(group, signal, raw[index][k], payload.data(), payload.size());
    }
    Protect(index, 0, payload);
    for (std::size_t k = 0; k < group.nbr_of_signals; ++k) {
      const SignalAdapter_Signal& signal = SignalOfSlot(index, k);
      const std::uint64_t placed =
          GetBits(payload, static_cast<unsigned>(signal.value_relative_bit_offset), signal.value_bit_length);
      if (IsE2eHeader(signal)) {
        raw[index][k] = placed;  // CRC and counter are the protection's
      } else {
        ASSERT_EQ(placed, raw[index][k]) << "the encoder misplaced a field";
      }
    }
    Publish(index, payload);
  }

  ExpectAllGroupsDecodeTo(*adapter, raw, ErrorCode::kSuccess, SignalPropertyStatusCode::kE2eOk);
  EXPECT_TRUE(sink_.lines().empty());
}

TEST_F(SignalAdapterDecodingTest, EveryKindOfSignalDecodesRawZero) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  std::vector<std::vector<std::uint64_t>> raw(kGroupCount);
  std::set<std::tuple<int, int, int>> kinds;
  for (std::size_t index = 0; index < kGroupCount; ++index) {
    raw[index].assign(GroupRecord(index).nbr_of_signals, 0U);
    for (std::size_t k = 0; k < raw[index].size(); ++k) {
      const SignalAdapter_Signal& signal = SignalOfSlot(index, k);
      kinds.emplace(signal.flags, signal.value_type, signal.value_byte_length);
    }
  }
  // Scaled floats, 8- and 16-bit enumerations, 8-bit integers with and without
  // limits, the 16-bit CRC and the 64-bit time stamps.
  ASSERT_EQ(kinds.size(), 7U);

  // Nothing was ever published: every snapshot is all zeros and not new. Bytes that never passed a check are no
  // data, so each read fails, but the record still shows what the bytes decode to.
  ExpectAllGroupsDecodeTo(*adapter, raw, ErrorCode::kNotAvailable, SignalPropertyStatusCode::kE2eNoNewData);

  RSDS4SigSts2 status2{};
  ASSERT_EQ(adapter->rsds4sig_sts2()->get(&status2), ErrorCode::kNotAvailable);
  EXPECT_EQ(status2.rsds4sig_sts2azi_mis_alnmnt_ang, -12.5);  // raw 0 is the offset
}

TEST_F(SignalAdapterDecodingTest, EveryKindOfSignalDecodesRawAllOnesLimitedWhereTheDatabaseLimitsIt) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  std::vector<std::vector<std::uint64_t>> raw(kGroupCount);
  for (std::size_t index = 0; index < kGroupCount; ++index) {
    raw[index].resize(GroupRecord(index).nbr_of_signals);
    for (std::size_t k = 0; k < raw[index].size(); ++k) {
      raw[index][k] = AllOnes(SignalOfSlot(index, k).value_bit_length);
    }
    // Unprotected on purpose, so that CRC and counter are all ones too: the
    // check fails, and the record is decoded all the same.
    Publish(index, std::vector<std::uint8_t>(PayloadLength(index), 0xFFU));
  }

  ExpectAllGroupsDecodeTo(*adapter, raw, ErrorCode::kFailure, SignalPropertyStatusCode::kE2eWrongCRC);

  zol::afw::core::Transaction::Begin();
  initialfrontsideradarlefthal::types::RSDS4Detn000To004 detections{};
  RSDS4SigSts2 status2{};
  // Only the values left in the records are examined here; what a read of a payload that already failed its check
  // returns is covered by the E2E tests.
  static_cast<void>(adapter->rsds4detn000to004()->get(&detections));
  static_cast<void>(adapter->rsds4sig_sts2()->get(&status2));
  EXPECT_EQ(detections.rsds4detn000to004range0, 300.0);                           // 327.67 limited to the maximum
  EXPECT_EQ(detections.rsds4detn000to004crc, 0xFFFFU);                            // not limited
  EXPECT_EQ(detections.rsds4detn000to004counter, 0xFFU);                          // not limited
  EXPECT_EQ(status2.rsds4sig_sts2interference_lev, 100U);                         // 127 limited to the maximum
  EXPECT_EQ(static_cast<unsigned>(status2.rsds4sig_sts2comm_flt_reason), 0xFFU);  // 16-bit enumeration, 8 bits
  EXPECT_EQ(status2.rsds4sig_sts2time_stamp_obj, ~std::uint64_t{0});
}

TEST_F(SignalAdapterDecodingTest, FieldStraddlingThreeBytesDecodesFromTheBitsOfAllThree) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  const SignalAdapter_Signal& rng_rt3 = SignalNamed("RSDS4Detn120To124RngRt3");
  // Bits 283..296: the top 5 bits of byte 35, all of byte 36, the lowest bit of byte 37.
  ASSERT_EQ(rng_rt3.value_relative_bit_offset, 283);
  ASSERT_EQ(rng_rt3.value_bit_length, 14U);
  std::vector<std::uint8_t> payload(PayloadLength(kDetn120To124));
  PutBits(payload, 283, 14, 0x2055U);  // 8277: bits in each of the three bytes
  ASSERT_NE(payload[35], 0U);
  ASSERT_NE(payload[36], 0U);
  ASSERT_NE(payload[37], 0U);
  Protect(kDetn120To124, 0, payload);
  Publish(kDetn120To124, payload);
  RSDS4Detn120To124 record{};

  ASSERT_EQ(adapter->rsds4detn120to124()->get(&record), ErrorCode::kSuccess);

  // 8277 x 0.025 - 106
  EXPECT_EQ(record.rsds4detn120to124rng_rt3, static_cast<double>(static_cast<float>(100.925)));
  EXPECT_EQ(record.rsds4detn120to124rng_rt2, -106.0);
  EXPECT_EQ(record.rsds4detn120to124rng_rt4, -106.0);
}

TEST_F(SignalAdapterDecodingTest, SixtyFourBitTimeStampsAtTheirUnalignedOffsetsArriveExactly) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  const std::uint64_t stamps[4] = {0x0123456789ABCDEFULL, 0xFEDCBA9876543210ULL, 0x8000000000000001ULL,
                                   0x001FFFFFFFFFFFFFULL + 2U};
  std::vector<std::uint8_t> sts1(PayloadLength(kSigSts1));
  for (unsigned i = 0; i < 4; ++i) {
    const SignalAdapter_Signal& signal = SignalNamed("RSDS4SigSts1TimeStamp" + std::to_string(i));
    // Bytes 3, 11, 19 and 27: none on an 8-byte boundary.
    ASSERT_EQ(signal.value_relative_bit_offset, 24 + 64 * static_cast<int>(i));
    ASSERT_EQ(signal.value_bit_length, 64U);
    PutBits(sts1, 24U + 64U * i, 64U, stamps[i]);
  }
  Protect(kSigSts1, 0, sts1);
  Publish(kSigSts1, sts1);
  std::vector<std::uint8_t> sts2(PayloadLength(kSigSts2));
  ASSERT_EQ(SignalNamed("RSDS4SigSts2TimeStampObj").value_relative_bit_offset, 24);
  PutBits(sts2, 24U, 64U, 0xC3A5F00F0FF05A3CULL);
  Protect(kSigSts2, 0, sts2);
  Publish(kSigSts2, sts2);
  RSDS4SigSts1 status1{};
  RSDS4SigSts2 status2{};

  ASSERT_EQ(adapter->rsds4sig_sts1()->get(&status1), ErrorCode::kSuccess);
  ASSERT_EQ(adapter->rsds4sig_sts2()->get(&status2), ErrorCode::kSuccess);

  EXPECT_EQ(status1.rsds4sig_sts1time_stamp0, stamps[0]);
  EXPECT_EQ(status1.rsds4sig_sts1time_stamp1, stamps[1]);
  EXPECT_EQ(status1.rsds4sig_sts1time_stamp2, stamps[2]);
  // Above 2^53: no double on the way.
  EXPECT_EQ(status1.rsds4sig_sts1time_stamp3, stamps[3]);
  EXPECT_EQ(status2.rsds4sig_sts2time_stamp_obj, 0xC3A5F00F0FF05A3CULL);
}

TEST_F(SignalAdapterDecodingTest, EnumerationValueWithoutEnumeratorIsKeptAsSent) {
  SignalAdapter::Ptr adapter = SignalAdapter::Create(&app_);
  ASSERT_TRUE(adapter);
  const SignalAdapter_Signal& reason = SignalNamed("RSDS4SigSts2CommFltReason");
  std::vector<std::uint8_t> payload(PayloadLength(kSigSts2));
  PutBits(payload, static_cast<unsigned>(reason.value_relative_bit_offset), reason.value_bit_length, 201U);
  Protect(kSigSts2, 0, payload);
  Publish(kSigSts2, payload);
  RSDS4SigSts2 record{};

  ASSERT_EQ(adapter->rsds4sig_sts2()->get(&record), ErrorCode::kSuccess);

  EXPECT_EQ(static_cast<unsigned>(record.rsds4sig_sts2comm_flt_reason), 201U);
}

}  // namespace
}  // namespace fsrl_test
