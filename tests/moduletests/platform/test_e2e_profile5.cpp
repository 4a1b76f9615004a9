#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "zol/e2e/crc.h"
#include "zol/e2e/e2e_protection.h"
#include "zol/pmr/counting_resource.h"

namespace {

using zol::e2e::E2eProtectionProfile5;
using zol::e2e::E2eProtectionProfile5Ptr;
using zol::e2e::SignalGroupContext;

constexpr std::uint16_t kDataId = 0x0A7D;
constexpr std::size_t kLength = 8;

SignalAdapter_SignalGroup MakeGroup(std::uint16_t data_length_bits = kLength * 8, std::uint16_t offset_bits = 0,
                                    SignalAdapter_E2eProfile profile = SIGNAL_DB_E2E_PROFILE_05) {
  SignalAdapter_SignalGroup group{};
  group.profile_name = profile;
  group.data_id = kDataId;
  group.data_length = data_length_bits;
  group.offset = offset_bits;
  group.max_delta_counter = 14;
  return group;
}

E2eProtectionProfile5Ptr CreateFor(const SignalAdapter_SignalGroup& group) {
  SignalGroupContext context;
  context.signal_group_ = &group;
  return E2eProtectionProfile5::Create(context);
}

// A correctly protected frame with the given counter; the other bytes vary with it so that frames differ.
std::vector<std::uint8_t> Frame(std::uint8_t counter, std::size_t length = kLength, std::size_t offset = 0) {
  std::vector<std::uint8_t> frame(length);
  for (std::size_t i = 0; i < length; ++i) {
    frame[i] = static_cast<std::uint8_t>(counter + i * 3);
  }
  zol::e2e::ProtectProfile5(kDataId, counter, frame.data(), frame.size(), offset);
  return frame;
}

class E2eProfile5Test : public ::testing::Test {
 protected:
  zol::e2e::E2E_P05CheckStatusType CheckFrame(std::uint8_t counter) {
    const std::vector<std::uint8_t> frame = Frame(counter);
    return protection_->Check(true, frame.data(), frame.size());
  }

  SignalAdapter_SignalGroup group_ = MakeGroup();
  E2eProtectionProfile5Ptr protection_ = CreateFor(group_);
};

TEST(E2eProfile5StatusTest, StatusEnumeratorsHaveTheirProtocolValues) {
  EXPECT_EQ(zol::e2e::E2E_P_OK, 0);
  EXPECT_EQ(zol::e2e::E2E_P_REPEATED, 1);
  EXPECT_EQ(zol::e2e::E2E_P_WRONGSEQUENCE, 2);
  EXPECT_EQ(zol::e2e::E2E_P_ERROR, 3);
  EXPECT_EQ(zol::e2e::E2E_P_NOTAVAILABLE, 4);
  EXPECT_EQ(zol::e2e::E2E_P_NONEWDATA, 5);
  EXPECT_EQ(zol::e2e::E2E_P05STATUS_OK, 0x00);
  EXPECT_EQ(zol::e2e::E2E_P05STATUS_NONEWDATA, 0x01);
  EXPECT_EQ(zol::e2e::E2E_P05STATUS_ERROR, 0x07);
  EXPECT_EQ(zol::e2e::E2E_P05STATUS_REPEATED, 0x08);
  EXPECT_EQ(zol::e2e::E2E_P05STATUS_OKSOMELOST, 0x20);
  EXPECT_EQ(zol::e2e::E2E_P05STATUS_WRONGSEQUENCE, 0x40);
}

TEST_F(E2eProfile5Test, CreatedProtectionDescribesTheGroupAndStartsUnchecked) {
  ASSERT_TRUE(protection_);
  EXPECT_EQ(protection_->profile(), SIGNAL_DB_E2E_PROFILE_05);
  EXPECT_EQ(protection_->protection_size(), 3u);
  EXPECT_EQ(protection_->payload_buffer_length(), kLength);
  ASSERT_NE(protection_->payload_buffer(), nullptr);
  for (std::size_t i = 0; i < kLength; ++i) {
    EXPECT_EQ(protection_->payload_buffer()[i], 0) << i;
  }
  EXPECT_EQ(protection_->tav_payload_buffer(), nullptr);
  EXPECT_EQ(protection_->tav_payload_buffer_length(), 0u);
  EXPECT_EQ(protection_->last_check_status(), zol::e2e::E2E_P_NOTAVAILABLE);
  EXPECT_EQ(protection_->last_p05_status(), zol::e2e::E2E_P05STATUS_NONEWDATA);
  EXPECT_EQ(protection_->counter(), 0xFF);
  EXPECT_EQ(protection_->data_id(), kDataId);
  EXPECT_EQ(protection_->data_length_bytes(), kLength);
  EXPECT_EQ(protection_->offset_bytes(), 0u);
  EXPECT_EQ(protection_->max_delta_counter(), 14);
}

TEST(E2eProfile5CreateTest, ObjectAndPayloadBufferComeFromTheDefaultResourceAndGoBackToIt) {
  zol::pmr::CountingResource counting;
  {
    zol::pmr::ScopedDefaultResource scoped(&counting);
    const SignalAdapter_SignalGroup group = MakeGroup(61 * 8);
    E2eProtectionProfile5Ptr protection = CreateFor(group);
    ASSERT_TRUE(protection);
    EXPECT_EQ(counting.allocation_count(), 2u);
    EXPECT_EQ(counting.outstanding_bytes(), sizeof(E2eProtectionProfile5) + 61);
  }
  EXPECT_EQ(counting.outstanding_allocations(), 0u);
  EXPECT_EQ(counting.mismatched_deallocations(), 0u);
}

TEST(E2eProfile5CreateTest, ProtectionIsReleasedToItsOwnResourceAfterTheDefaultChanged) {
  zol::pmr::CountingResource counting;
  E2eProtectionProfile5Ptr protection;
  const SignalAdapter_SignalGroup group = MakeGroup();
  {
    zol::pmr::ScopedDefaultResource scoped(&counting);
    protection = CreateFor(group);
  }
  ASSERT_TRUE(protection);
  protection.reset();
  EXPECT_EQ(counting.outstanding_allocations(), 0u);
  EXPECT_EQ(counting.mismatched_deallocations(), 0u);
}

TEST(E2eProfile5CreateTest, RejectsAContextWithoutGroup) {
  EXPECT_FALSE(E2eProtectionProfile5::Create(SignalGroupContext{}));
}

TEST(E2eProfile5CreateTest, RejectsProfile1Group) {
  EXPECT_FALSE(CreateFor(MakeGroup(64, 0, SIGNAL_DB_E2E_PROFILE_01)));
}

TEST(E2eProfile5CreateTest, RejectsTavProfileGroup) {
  EXPECT_FALSE(CreateFor(MakeGroup(64, 0, SIGNAL_DB_E2E_PROFILE_TAV)));
}

TEST(E2eProfile5CreateTest, RejectsDataLengthThatIsNotWholeBytes) { EXPECT_FALSE(CreateFor(MakeGroup(63))); }

TEST(E2eProfile5CreateTest, RejectsDataLengthShorterThanTheThreeByteHeader) {
  EXPECT_FALSE(CreateFor(MakeGroup(16)));
  EXPECT_FALSE(CreateFor(MakeGroup(0)));
}

TEST(E2eProfile5CreateTest, AcceptsDataLengthOfExactlyTheHeader) { EXPECT_TRUE(CreateFor(MakeGroup(24))); }

TEST(E2eProfile5CreateTest, RejectsOffsetThatIsNotByteAligned) { EXPECT_FALSE(CreateFor(MakeGroup(64, 4))); }

TEST(E2eProfile5CreateTest, RejectsOffsetThatLeavesNoRoomForCrcAndCounter) {
  EXPECT_FALSE(CreateFor(MakeGroup(64, 48)));
}

TEST(E2eProfile5CreateTest, AcceptsHeaderEndingExactlyAtTheEndOfTheData) {
  const E2eProtectionProfile5Ptr protection = CreateFor(MakeGroup(64, 40));
  ASSERT_TRUE(protection);
  EXPECT_EQ(protection->offset_bytes(), 5u);
}

TEST_F(E2eProfile5Test, FirstFrameWithCounterZeroIsOk) {
  EXPECT_EQ(CheckFrame(0), zol::e2e::E2E_P05STATUS_OK);
  EXPECT_EQ(protection_->counter(), 0);
  EXPECT_EQ(protection_->last_p05_status(), zol::e2e::E2E_P05STATUS_OK);
  EXPECT_EQ(protection_->last_check_status(), zol::e2e::E2E_P_OK);
}

TEST_F(E2eProfile5Test, CounterAdvancedByOneIsOk) {
  CheckFrame(0);
  EXPECT_EQ(CheckFrame(1), zol::e2e::E2E_P05STATUS_OK);
  EXPECT_EQ(protection_->counter(), 1);
}

TEST_F(E2eProfile5Test, CounterWrappingFrom0xFFTo0x00IsOk) {
  CheckFrame(0xFE);
  EXPECT_EQ(CheckFrame(0xFF), zol::e2e::E2E_P05STATUS_OK);
  EXPECT_EQ(CheckFrame(0x00), zol::e2e::E2E_P05STATUS_OK);
}

TEST_F(E2eProfile5Test, SameCounterAgainIsRepeated) {
  CheckFrame(7);
  EXPECT_EQ(CheckFrame(7), zol::e2e::E2E_P05STATUS_REPEATED);
  EXPECT_EQ(protection_->last_check_status(), zol::e2e::E2E_P_REPEATED);
  EXPECT_EQ(protection_->counter(), 7);
  EXPECT_EQ(CheckFrame(8), zol::e2e::E2E_P05STATUS_OK);
}

TEST_F(E2eProfile5Test, CounterJumpOfTwoIsOkSomeLostAndCountsAsOkGenerically) {
  CheckFrame(0);
  EXPECT_EQ(CheckFrame(2), zol::e2e::E2E_P05STATUS_OKSOMELOST);
  EXPECT_EQ(protection_->last_check_status(), zol::e2e::E2E_P_OK);
  EXPECT_EQ(protection_->counter(), 2);
}

TEST_F(E2eProfile5Test, CounterJumpOfMaxDeltaCounterFourteenIsOkSomeLost) {
  CheckFrame(0);
  EXPECT_EQ(CheckFrame(14), zol::e2e::E2E_P05STATUS_OKSOMELOST);
}

TEST_F(E2eProfile5Test, CounterJumpOfFifteenIsWrongSequence) {
  CheckFrame(0);
  EXPECT_EQ(CheckFrame(15), zol::e2e::E2E_P05STATUS_WRONGSEQUENCE);
  EXPECT_EQ(protection_->last_check_status(), zol::e2e::E2E_P_WRONGSEQUENCE);
}

TEST_F(E2eProfile5Test, CounterJumpAcrossTheWrapIsMeasuredModulo256) {
  CheckFrame(0xF5);
  EXPECT_EQ(CheckFrame(0x03), zol::e2e::E2E_P05STATUS_OKSOMELOST);     // 14 steps
  EXPECT_EQ(CheckFrame(0x12), zol::e2e::E2E_P05STATUS_WRONGSEQUENCE);  // 15 steps
}

TEST_F(E2eProfile5Test, WrongSequenceAdoptsTheReceivedCounterSoTheNextStepIsOk) {
  CheckFrame(0);
  EXPECT_EQ(CheckFrame(100), zol::e2e::E2E_P05STATUS_WRONGSEQUENCE);
  EXPECT_EQ(protection_->counter(), 100);
  EXPECT_EQ(CheckFrame(101), zol::e2e::E2E_P05STATUS_OK);
}

TEST_F(E2eProfile5Test, CorruptedPayloadByteIsError) {
  CheckFrame(0);
  std::vector<std::uint8_t> frame = Frame(1);
  frame[5] ^= 0x01;
  EXPECT_EQ(protection_->Check(true, frame.data(), frame.size()), zol::e2e::E2E_P05STATUS_ERROR);
  EXPECT_EQ(protection_->last_p05_status(), zol::e2e::E2E_P05STATUS_ERROR);
  EXPECT_EQ(protection_->last_check_status(), zol::e2e::E2E_P_ERROR);
}

TEST_F(E2eProfile5Test, ErrorLeavesTheCounterSoTheNextGoodFrameIsJudgedAgainstTheOneBefore) {
  CheckFrame(0);
  std::vector<std::uint8_t> corrupted = Frame(1);
  corrupted[3] ^= 0x80;
  ASSERT_EQ(protection_->Check(true, corrupted.data(), corrupted.size()), zol::e2e::E2E_P05STATUS_ERROR);
  EXPECT_EQ(protection_->counter(), 0);
  // Counter 1 follows 0, the last good one: OK, not REPEATED.
  EXPECT_EQ(CheckFrame(1), zol::e2e::E2E_P05STATUS_OK);
}

TEST_F(E2eProfile5Test, CorruptedCounterIsErrorAndNotTakenOver) {
  CheckFrame(0);
  std::vector<std::uint8_t> frame = Frame(1);
  frame[2] = 50;
  EXPECT_EQ(protection_->Check(true, frame.data(), frame.size()), zol::e2e::E2E_P05STATUS_ERROR);
  EXPECT_EQ(protection_->counter(), 0);
}

TEST_F(E2eProfile5Test, FrameOfAnotherDataIdIsError) {
  std::vector<std::uint8_t> frame(kLength);
  zol::e2e::ProtectProfile5(kDataId + 1, 0, frame.data(), frame.size());
  EXPECT_EQ(protection_->Check(true, frame.data(), frame.size()), zol::e2e::E2E_P05STATUS_ERROR);
  EXPECT_EQ(protection_->counter(), 0xFF);
}

TEST_F(E2eProfile5Test, LengthOtherThanTheDataLengthIsError) {
  const std::vector<std::uint8_t> longer = Frame(0, kLength + 1);
  EXPECT_EQ(protection_->Check(true, longer.data(), longer.size()), zol::e2e::E2E_P05STATUS_ERROR);
  const std::vector<std::uint8_t> shorter = Frame(0, kLength - 1);
  EXPECT_EQ(protection_->Check(true, shorter.data(), shorter.size()), zol::e2e::E2E_P05STATUS_ERROR);
  EXPECT_EQ(protection_->counter(), 0xFF);
}

TEST_F(E2eProfile5Test, NullDataIsError) {
  EXPECT_EQ(protection_->Check(true, nullptr, kLength), zol::e2e::E2E_P05STATUS_ERROR);
}

TEST_F(E2eProfile5Test, NoNewDataReportsNoNewDataAndChangesNothingElse) {
  CheckFrame(4);
  std::vector<std::uint8_t> garbage(kLength, 0xEE);
  EXPECT_EQ(protection_->Check(false, garbage.data(), garbage.size()), zol::e2e::E2E_P05STATUS_NONEWDATA);
  EXPECT_EQ(protection_->last_check_status(), zol::e2e::E2E_P_NONEWDATA);
  EXPECT_EQ(protection_->counter(), 4);
  EXPECT_EQ(CheckFrame(5), zol::e2e::E2E_P05STATUS_OK);
}

TEST_F(E2eProfile5Test, InitializeReturnsToTheCreatedState) {
  CheckFrame(0);
  CheckFrame(9);
  protection_->Initialize();
  EXPECT_EQ(protection_->counter(), 0xFF);
  EXPECT_EQ(protection_->last_p05_status(), zol::e2e::E2E_P05STATUS_NONEWDATA);
  EXPECT_EQ(protection_->last_check_status(), zol::e2e::E2E_P_NOTAVAILABLE);
  EXPECT_EQ(CheckFrame(0), zol::e2e::E2E_P05STATUS_OK);
}

TEST_F(E2eProfile5Test, InitializeThroughTheBaseClassResetsTheProfile5State) {
  CheckFrame(3);
  zol::e2e::E2eProtection& base = *protection_;
  base.Initialize();
  EXPECT_EQ(protection_->counter(), 0xFF);
}

TEST(E2eProfile5OffsetTest, HeaderAtAByteOffsetIsCheckedThere) {
  const SignalAdapter_SignalGroup group = MakeGroup(16 * 8, 4 * 8);
  const E2eProtectionProfile5Ptr protection = CreateFor(group);
  ASSERT_TRUE(protection);
  const std::vector<std::uint8_t> first = Frame(0, 16, 4);
  EXPECT_EQ(protection->Check(true, first.data(), first.size()), zol::e2e::E2E_P05STATUS_OK);
  const std::vector<std::uint8_t> second = Frame(1, 16, 4);
  EXPECT_EQ(protection->Check(true, second.data(), second.size()), zol::e2e::E2E_P05STATUS_OK);
  // Protected at offset 0 instead: the CRC lies elsewhere.
  const std::vector<std::uint8_t> misplaced = Frame(2, 16, 0);
  EXPECT_EQ(protection->Check(true, misplaced.data(), misplaced.size()), zol::e2e::E2E_P05STATUS_ERROR);
}

TEST(E2eProfile5MappingTest, GenericStatusOfEveryProfile5Status) {
  EXPECT_EQ(E2eProtectionProfile5::ToGenericStatus(zol::e2e::E2E_P05STATUS_OK), zol::e2e::E2E_P_OK);
  EXPECT_EQ(E2eProtectionProfile5::ToGenericStatus(zol::e2e::E2E_P05STATUS_OKSOMELOST), zol::e2e::E2E_P_OK);
  EXPECT_EQ(E2eProtectionProfile5::ToGenericStatus(zol::e2e::E2E_P05STATUS_NONEWDATA), zol::e2e::E2E_P_NONEWDATA);
  EXPECT_EQ(E2eProtectionProfile5::ToGenericStatus(zol::e2e::E2E_P05STATUS_REPEATED), zol::e2e::E2E_P_REPEATED);
  EXPECT_EQ(E2eProtectionProfile5::ToGenericStatus(zol::e2e::E2E_P05STATUS_WRONGSEQUENCE),
            zol::e2e::E2E_P_WRONGSEQUENCE);
  EXPECT_EQ(E2eProtectionProfile5::ToGenericStatus(zol::e2e::E2E_P05STATUS_ERROR), zol::e2e::E2E_P_ERROR);
}

TEST(E2eProfile5MaxDeltaTest, MaxDeltaCounterOfOneRejectsAnyGap) {
  SignalAdapter_SignalGroup group = MakeGroup();
  group.max_delta_counter = 1;
  const E2eProtectionProfile5Ptr protection = CreateFor(group);
  ASSERT_TRUE(protection);
  const std::vector<std::uint8_t> first = Frame(0);
  ASSERT_EQ(protection->Check(true, first.data(), first.size()), zol::e2e::E2E_P05STATUS_OK);
  const std::vector<std::uint8_t> gap = Frame(2);
  EXPECT_EQ(protection->Check(true, gap.data(), gap.size()), zol::e2e::E2E_P05STATUS_WRONGSEQUENCE);
}

}  // namespace
