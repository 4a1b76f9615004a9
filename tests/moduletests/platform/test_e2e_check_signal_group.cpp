#include "zol/e2e/check_signal_group.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "zol/e2e/crc.h"
#include "zol/e2e/signal_codec.h"
#include "zol/e2e/signal_group_context.h"
#include "zol/pmr/counting_resource.h"

namespace {

using zol::afw::core::ErrorCode;
using zol::afw::core::SignalPropertyStatusCode;
using zol::e2e::CheckResultErrorCode;
using zol::e2e::CheckResultStatusCode;
using zol::e2e::CheckSignalGroup;
using zol::e2e::E2eProtectionProfile5;
using zol::e2e::E2eProtectionProfile5Ptr;
using zol::e2e::PackCheckResult;
using zol::e2e::SignalGroupContext;
using zol::e2e::SignalStorageBuffer;

// ---------------------------------------------------------------------------------------------------------------
// A small database of three groups, built from the record types the way a generator lays them out.
// ---------------------------------------------------------------------------------------------------------------

template <std::size_t N>
void SetName(std::uint8_t (&field)[N], const char* name) {
  std::strncpy(reinterpret_cast<char*>(field), name, N - 1);
}

enum class Kind { kFloat, kEnum8, kEnum16, kUnsigned8Skip, kUnsigned8MinMax, kCrc, kUnsigned64 };

// The seven kinds of signal of the radar's database, with their flag combinations.
SignalAdapter_Signal MakeSignal(const char* name, Kind kind, std::uint16_t slot, std::int16_t start,
                                std::uint16_t bits) {
  SignalAdapter_Signal signal{};
  SetName(signal.name, name);
  signal.value_storage_start_index = slot;
  signal.value_relative_bit_offset = start;
  signal.value_bit_length = bits;
  signal.codec_type = SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_UNSIGNED_INTEGER;
  if (kind == Kind::kFloat) {
    signal.flags = 0x80;
    signal.value_type = SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT;
    signal.value_byte_length = 8;
    signal.codec_flags = 0x03;
    return signal;
  }
  signal.flags = (kind == Kind::kUnsigned8MinMax) ? 0x80 : 0x81;
  signal.value_type = (kind == Kind::kEnum8 || kind == Kind::kEnum16) ? SIGNAL_DB_SIGNAL_VALUE_TYPE_ENUMERATED
                                                                      : SIGNAL_DB_SIGNAL_VALUE_TYPE_UNSIGNED_INTEGER;
  signal.value_byte_length = (kind == Kind::kEnum16 || kind == Kind::kCrc) ? 2 : (kind == Kind::kUnsigned64 ? 8 : 1);
  signal.codec_flags = 0x05;
  signal.value_factor_offset.scale_factor.unsigned_int = 1;
  signal.value_factor_offset.offset.unsigned_int = 0;
  signal.value_min_max.min.unsigned_int = 0;
  signal.value_min_max.max.unsigned_int = bits >= 64 ? ~std::uint64_t{0} : ((std::uint64_t{1} << bits) - 1);
  return signal;
}

SignalAdapter_Signal MakeFloat(const char* name, std::uint16_t slot, std::int16_t start, std::uint16_t bits,
                               double factor, double offset, double min, double max) {
  SignalAdapter_Signal signal = MakeSignal(name, Kind::kFloat, slot, start, bits);
  signal.value_factor_offset.scale_factor.double_float = factor;
  signal.value_factor_offset.offset.double_float = offset;
  signal.value_min_max.min.double_float = min;
  signal.value_min_max.max.double_float = max;
  return signal;
}

SignalAdapter_SignalGroup MakeGroup(const char* name, SignalAdapter_E2eProfile profile, std::uint16_t signals,
                                    std::uint32_t start, std::uint16_t index, std::uint16_t data_id,
                                    std::uint16_t bytes) {
  SignalAdapter_SignalGroup group{};
  SetName(group.name, name);
  group.nbr_of_signals = signals;
  group.signal_start_index = start;
  group.packing_info.index = index;
  group.signal_values_storage_total_size = 8U * signals;
  group.profile_name = profile;
  group.data_id = data_id;
  group.data_length = static_cast<std::uint16_t>(bytes * 8);
  group.max_delta_counter = 14;
  return group;
}

// Slots of the main group, in record order (which is not bit order).
enum Slot : std::uint16_t { kCrc, kCounter, kRange, kAngle, kQuality, kMode, kScanId, kLevel, kTimeStamp };

constexpr std::size_t kMainBytes = 24;
constexpr std::uint16_t kMainDataId = 0x0A7D;
constexpr std::size_t kShortBytes = 4;
constexpr std::uint16_t kShortDataId = 0x0945;

struct TestDatabase {
  std::vector<SignalAdapter_SignalGroup> groups;
  std::vector<SignalAdapter_Signal> signals;
};

const TestDatabase& Database() {
  static const TestDatabase database = [] {
    TestDatabase db;
    db.signals = {
        // Group 0 "TestMain", 24 bytes.
        MakeSignal("TestMainCRC", Kind::kCrc, kCrc, 0, 16),
        MakeSignal("TestMainCounter", Kind::kUnsigned8Skip, kCounter, 16, 8),
        MakeFloat("TestMainRange", kRange, 24, 15, 0.01, 0.0, 0.0, 300.0),
        MakeFloat("TestMainAngle", kAngle, 130, 12, 0.1, -204.8, -180.0, 180.0),
        MakeSignal("TestMainQuality", Kind::kEnum8, kQuality, 39, 2),
        MakeSignal("TestMainMode", Kind::kEnum16, kMode, 41, 10),
        MakeSignal("TestMainScanId", Kind::kUnsigned8Skip, kScanId, 51, 8),
        MakeSignal("TestMainLevel", Kind::kUnsigned8MinMax, kLevel, 59, 7),
        MakeSignal("TestMainTimeStamp", Kind::kUnsigned64, kTimeStamp, 66, 64),
        // Group 1 "TestShort", 4 bytes: a field running past the end and a slot beyond the storage.
        MakeSignal("TestShortCRC", Kind::kCrc, 0, 0, 16),
        MakeSignal("TestShortCounter", Kind::kUnsigned8Skip, 1, 16, 8),
        MakeSignal("TestShortTail", Kind::kUnsigned8Skip, 2, 28, 8),
        MakeSignal("TestShortStray", Kind::kUnsigned8Skip, 7, 24, 4),
        // Group 2 "TestP01", 8 bytes, profile 1.
        MakeSignal("TestP01CRC", Kind::kCrc, 0, 0, 16),
        MakeSignal("TestP01Value", Kind::kUnsigned8Skip, 1, 16, 8),
    };
    // The level signal carries a real range; the scan id carries one too but switches the check off.
    db.signals[kLevel].value_min_max.max.unsigned_int = 100;
    db.signals[kScanId].value_min_max.max.unsigned_int = 100;
    db.groups = {
        MakeGroup("TestMain", SIGNAL_DB_E2E_PROFILE_05, 9, 0, 1, kMainDataId, kMainBytes),
        MakeGroup("TestShort", SIGNAL_DB_E2E_PROFILE_05, 4, 9, 2, kShortDataId, kShortBytes),
        MakeGroup("TestP01", SIGNAL_DB_E2E_PROFILE_01, 2, 13, 3, 0x0100, 8),
    };
    return db;
  }();
  return database;
}

SignalGroupContext Context(unsigned int index) {
  return zol::e2e::InitializeSignalGroup(index, Database().groups.data(), Database().signals.data(), nullptr);
}

const SignalAdapter_Signal& MainSignal(Slot slot) { return Database().signals[slot]; }

SignalStorageBuffer ReservedValues(unsigned int group_index) {
  SignalStorageBuffer values;
  values.elements = Database().groups[group_index].signal_values_storage_total_size / 8U;
  values.data.reserve(values.elements);
  return values;
}

// A protection that is not profile 5, to see the check refuse it.
class Profile1Protection : public zol::e2e::E2eProtection {
 public:
  explicit Profile1Protection(std::size_t length)
      : E2eProtection(SIGNAL_DB_E2E_PROFILE_01, 2, length, 0, zol::pmr::get_default_resource()) {}
  void Initialize() override {}
};

// Claims profile 5 but is not the profile 5 class: the check must not treat it as one.
class ImpostorProtection : public zol::e2e::E2eProtection {
 public:
  explicit ImpostorProtection(std::size_t length)
      : E2eProtection(SIGNAL_DB_E2E_PROFILE_05, 3, length, 0, zol::pmr::get_default_resource()) {}
  void Initialize() override {}
};

class E2eCheckSignalGroupTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(protection_);
    ASSERT_EQ(protection_->payload_buffer_length(), kMainBytes);
  }

  // Writes a frame of the main group into the protection's payload buffer, as the signal service would.
  void WriteMainFrame(std::uint8_t counter) {
    std::uint8_t* payload = protection_->payload_buffer();
    const SignalAdapter_SignalGroup& group = Database().groups[0];
    std::memset(payload, 0, kMainBytes);
    zol::e2e::EncodeSignal(group, MainSignal(kRange), range_raw_, payload, kMainBytes);
    zol::e2e::EncodeSignal(group, MainSignal(kAngle), zol::e2e::EncodePhysical(MainSignal(kAngle), -12.3), payload,
                           kMainBytes);
    zol::e2e::EncodeSignal(group, MainSignal(kQuality), 2, payload, kMainBytes);
    zol::e2e::EncodeSignal(group, MainSignal(kMode), 0x2A5, payload, kMainBytes);
    zol::e2e::EncodeSignal(group, MainSignal(kScanId), 200, payload, kMainBytes);
    zol::e2e::EncodeSignal(group, MainSignal(kLevel), level_raw_, payload, kMainBytes);
    zol::e2e::EncodeSignal(group, MainSignal(kTimeStamp), 0x0123456789ABCDEFu, payload, kMainBytes);
    zol::e2e::ProtectProfile5(kMainDataId, counter, payload, kMainBytes);
  }

  std::uint64_t Check(bool updated = true) { return CheckSignalGroup(context_, values_, updated, *protection_); }

  std::uint64_t Raw(Slot slot) const { return values_.data.at(slot).unsigned_int; }

  SignalGroupContext context_ = Context(0);
  E2eProtectionProfile5Ptr protection_ = E2eProtectionProfile5::Create(context_);
  SignalStorageBuffer values_ = ReservedValues(0);
  std::uint64_t range_raw_ = 12345;
  std::uint64_t level_raw_ = 42;
};

TEST(E2eCheckResultTest, ErrorCodeIsTheLowHalfAndStatusCodeTheHighHalf) {
  const std::uint64_t packed = PackCheckResult(ErrorCode::kFailure, SignalPropertyStatusCode::kE2eWrongSequence);
  EXPECT_EQ(packed & 0xFFFFFFFFu, 0xFFFFFFFFu);
  EXPECT_EQ(packed >> 32, 0xFFFFFFFDu);
  EXPECT_EQ(CheckResultErrorCode(packed), ErrorCode::kFailure);
  EXPECT_EQ(CheckResultStatusCode(packed), SignalPropertyStatusCode::kE2eWrongSequence);
  EXPECT_EQ(PackCheckResult(ErrorCode::kSuccess, SignalPropertyStatusCode::kE2eOk), std::uint64_t{1} << 32);
}

TEST(E2eCheckResultTest, PackingRoundTripsEveryCombinationOfNamedCodes) {
  for (int error = -11; error <= 1; ++error) {
    for (int status = -4; status <= 5; ++status) {
      const auto e = static_cast<ErrorCode>(error);
      const auto s = static_cast<SignalPropertyStatusCode>(status);
      const std::uint64_t packed = PackCheckResult(e, s);
      EXPECT_EQ(CheckResultErrorCode(packed), e);
      EXPECT_EQ(CheckResultStatusCode(packed), s);
    }
  }
}

TEST_F(E2eCheckSignalGroupTest, GoodFrameGivesSuccessWithE2eOk) {
  WriteMainFrame(0);
  const std::uint64_t result = Check();
  EXPECT_EQ(CheckResultErrorCode(result), ErrorCode::kSuccess);
  EXPECT_EQ(CheckResultStatusCode(result), SignalPropertyStatusCode::kE2eOk);
  EXPECT_EQ(values_.data.size(), values_.elements);
}

TEST_F(E2eCheckSignalGroupTest, CrcSignalDecodesToTheSixteenBitCrcOfTheFrame) {
  WriteMainFrame(0);
  Check();
  const std::uint8_t* payload = protection_->payload_buffer();
  EXPECT_EQ(Raw(kCrc), static_cast<std::uint64_t>(payload[0] | (payload[1] << 8)));
  EXPECT_EQ(Raw(kCrc), zol::e2e::ComputeProfile5Crc(kMainDataId, payload, kMainBytes, 0));
}

TEST_F(E2eCheckSignalGroupTest, CounterSignalDecodesToTheFrameCounter) {
  WriteMainFrame(0x5C);
  Check();
  EXPECT_EQ(Raw(kCounter), 0x5Cu);
}

TEST_F(E2eCheckSignalGroupTest, FloatSignalIsScaledByItsFactor) {
  WriteMainFrame(0);
  Check();
  EXPECT_DOUBLE_EQ(values_.data[kRange].double_float, 12345 * 0.01);
}

TEST_F(E2eCheckSignalGroupTest, FloatSignalOfRaw32767WithFactorHundredthIsLimitedTo300) {
  range_raw_ = 32767;
  WriteMainFrame(0);
  Check();
  EXPECT_DOUBLE_EQ(values_.data[kRange].double_float, 300.0);
}

TEST_F(E2eCheckSignalGroupTest, FloatSignalWithNegativeOffsetDecodesToItsPhysicalValue) {
  WriteMainFrame(0);
  Check();
  EXPECT_NEAR(values_.data[kAngle].double_float, -12.3, 1e-9);
}

TEST_F(E2eCheckSignalGroupTest, EightBitEnumerationDecodesItsRawValue) {
  WriteMainFrame(0);
  Check();
  EXPECT_EQ(Raw(kQuality), 2u);
}

TEST_F(E2eCheckSignalGroupTest, SixteenBitEnumerationDecodesItsRawValue) {
  WriteMainFrame(0);
  Check();
  EXPECT_EQ(Raw(kMode), 0x2A5u);
}

TEST_F(E2eCheckSignalGroupTest, UnsignedSignalThatSkipsMinMaxKeepsAValueAboveItsMax) {
  WriteMainFrame(0);
  Check();
  EXPECT_EQ(Raw(kScanId), 200u);
}

TEST_F(E2eCheckSignalGroupTest, UnsignedSignalWithMinMaxKeepsAValueInsideTheRange) {
  WriteMainFrame(0);
  Check();
  EXPECT_EQ(Raw(kLevel), 42u);
}

TEST_F(E2eCheckSignalGroupTest, UnsignedSignalWithMinMaxLimits127ToItsMax100) {
  level_raw_ = 127;
  WriteMainFrame(0);
  Check();
  EXPECT_EQ(Raw(kLevel), 100u);
}

TEST_F(E2eCheckSignalGroupTest, SixtyFourBitSignalDecodesAllSixtyFourBits) {
  WriteMainFrame(0);
  Check();
  EXPECT_EQ(Raw(kTimeStamp), 0x0123456789ABCDEFu);
}

TEST_F(E2eCheckSignalGroupTest, CorruptedFrameGivesFailureWithWrongCrcAndIsStillDecoded) {
  WriteMainFrame(0);
  protection_->payload_buffer()[20] ^= 0x01;
  const std::uint64_t result = Check();
  EXPECT_EQ(CheckResultErrorCode(result), ErrorCode::kFailure);
  EXPECT_EQ(CheckResultStatusCode(result), SignalPropertyStatusCode::kE2eWrongCRC);
  EXPECT_DOUBLE_EQ(values_.data[kRange].double_float, 123.45);
  EXPECT_EQ(Raw(kTimeStamp), 0x0123456789ABCDEFu);
  EXPECT_EQ(Raw(kScanId), 200u);
}

TEST_F(E2eCheckSignalGroupTest, FrameWithTheSameCounterGivesFailureWithRepeatedAndIsStillDecoded) {
  WriteMainFrame(3);
  Check();
  level_raw_ = 7;
  WriteMainFrame(3);
  const std::uint64_t result = Check();
  EXPECT_EQ(CheckResultErrorCode(result), ErrorCode::kFailure);
  EXPECT_EQ(CheckResultStatusCode(result), SignalPropertyStatusCode::kE2eRepeated);
  EXPECT_EQ(Raw(kLevel), 7u);
}

TEST_F(E2eCheckSignalGroupTest, CounterJumpBeyondTheLimitGivesFailureWithWrongSequence) {
  WriteMainFrame(0);
  Check();
  WriteMainFrame(15);
  const std::uint64_t result = Check();
  EXPECT_EQ(CheckResultErrorCode(result), ErrorCode::kFailure);
  EXPECT_EQ(CheckResultStatusCode(result), SignalPropertyStatusCode::kE2eWrongSequence);
  EXPECT_EQ(Raw(kCounter), 15u);
}

TEST_F(E2eCheckSignalGroupTest, CounterJumpWithinTheLimitGivesSuccessWithE2eOk) {
  WriteMainFrame(0);
  Check();
  WriteMainFrame(14);
  const std::uint64_t result = Check();
  EXPECT_EQ(protection_->last_p05_status(), zol::e2e::E2E_P05STATUS_OKSOMELOST);
  EXPECT_EQ(CheckResultErrorCode(result), ErrorCode::kSuccess);
  EXPECT_EQ(CheckResultStatusCode(result), SignalPropertyStatusCode::kE2eOk);
}

TEST_F(E2eCheckSignalGroupTest, NotUpdatedAfterAnAcceptedFrameGivesSuccessWithE2eNoNewDataAndStillDecodes) {
  WriteMainFrame(0);
  ASSERT_EQ(CheckResultErrorCode(Check()), ErrorCode::kSuccess);
  const std::uint64_t result = Check(false);
  EXPECT_EQ(CheckResultErrorCode(result), ErrorCode::kSuccess);
  EXPECT_EQ(CheckResultStatusCode(result), SignalPropertyStatusCode::kE2eNoNewData);
  EXPECT_EQ(protection_->counter(), 0);
  EXPECT_EQ(Raw(kMode), 0x2A5u);
}

TEST_F(E2eCheckSignalGroupTest, NotUpdatedBeforeAnyFrameArrivedGivesNotAvailableAndStillDecodes) {
  WriteMainFrame(0);
  const std::uint64_t result = Check(false);
  EXPECT_EQ(CheckResultErrorCode(result), ErrorCode::kNotAvailable);
  EXPECT_EQ(CheckResultStatusCode(result), SignalPropertyStatusCode::kE2eNoNewData);
  EXPECT_EQ(protection_->counter(), 0xFF);
  EXPECT_EQ(Raw(kMode), 0x2A5u);
}

TEST_F(E2eCheckSignalGroupTest, ManyReadsWithoutUpdateAfterAnAcceptedFrameAllSucceed) {
  WriteMainFrame(0);
  ASSERT_EQ(CheckResultErrorCode(Check()), ErrorCode::kSuccess);
  for (int read = 0; read < 5; ++read) {
    EXPECT_EQ(Check(false), PackCheckResult(ErrorCode::kSuccess, SignalPropertyStatusCode::kE2eNoNewData)) << read;
  }
}

TEST_F(E2eCheckSignalGroupTest, InitializeForgetsTheAcceptedFrame) {
  WriteMainFrame(0);
  ASSERT_EQ(CheckResultErrorCode(Check()), ErrorCode::kSuccess);
  protection_->Initialize();
  EXPECT_EQ(Check(false), PackCheckResult(ErrorCode::kNotAvailable, SignalPropertyStatusCode::kE2eNoNewData));
}

// How a rejected frame is made, and the status its check reports.
struct RejectedFrame {
  const char* name;
  SignalPropertyStatusCode status;
};

class E2eCheckAfterRejectedFrameTest : public E2eCheckSignalGroupTest,
                                       public ::testing::WithParamInterface<RejectedFrame> {
 protected:
  // An accepted frame with counter 3, then one rejected in the way the parameter names.
  void ReceiveAcceptedThenRejectedFrame() {
    WriteMainFrame(3);
    ASSERT_EQ(CheckResultErrorCode(Check()), ErrorCode::kSuccess);
    const std::string kind = GetParam().name;
    if (kind == "WrongLength") {
      // A frame shorter than the group: the check sees a length other than the group's.
      WriteMainFrame(4);
      ASSERT_EQ(protection_->Check(true, protection_->payload_buffer(), kMainBytes - 1), zol::e2e::E2E_P05STATUS_ERROR);
      return;
    }
    if (kind == "WrongCrc") {
      WriteMainFrame(4);
      protection_->payload_buffer()[kMainBytes - 1] ^= 0x10U;
    } else if (kind == "Repeated") {
      WriteMainFrame(3);
    } else {
      WriteMainFrame(100);
    }
    const std::uint64_t rejected = Check();
    ASSERT_EQ(CheckResultErrorCode(rejected), ErrorCode::kFailure);
    ASSERT_EQ(CheckResultStatusCode(rejected), GetParam().status);
  }
};

TEST_P(E2eCheckAfterRejectedFrameTest, OneReadWithoutUpdateGivesNotAvailable) {
  ReceiveAcceptedThenRejectedFrame();
  EXPECT_EQ(Check(false), PackCheckResult(ErrorCode::kNotAvailable, SignalPropertyStatusCode::kE2eNoNewData));
}

TEST_P(E2eCheckAfterRejectedFrameTest, EveryFurtherReadWithoutUpdateGivesNotAvailable) {
  ReceiveAcceptedThenRejectedFrame();
  for (int read = 0; read < 5; ++read) {
    EXPECT_EQ(Check(false), PackCheckResult(ErrorCode::kNotAvailable, SignalPropertyStatusCode::kE2eNoNewData)) << read;
  }
}

TEST_P(E2eCheckAfterRejectedFrameTest, TheNextAcceptedFrameMakesReadsWithoutUpdateSucceedAgain) {
  ReceiveAcceptedThenRejectedFrame();
  ASSERT_EQ(CheckResultErrorCode(Check(false)), ErrorCode::kNotAvailable);
  WriteMainFrame(static_cast<std::uint8_t>(protection_->counter() + 1U));
  ASSERT_EQ(Check(), PackCheckResult(ErrorCode::kSuccess, SignalPropertyStatusCode::kE2eOk));
  EXPECT_EQ(Check(false), PackCheckResult(ErrorCode::kSuccess, SignalPropertyStatusCode::kE2eNoNewData));
}

INSTANTIATE_TEST_SUITE_P(EachRejection, E2eCheckAfterRejectedFrameTest,
                         ::testing::Values(RejectedFrame{"WrongCrc", SignalPropertyStatusCode::kE2eWrongCRC},
                                           RejectedFrame{"WrongLength", SignalPropertyStatusCode::kE2eWrongCRC},
                                           RejectedFrame{"Repeated", SignalPropertyStatusCode::kE2eRepeated},
                                           RejectedFrame{"WrongSequence", SignalPropertyStatusCode::kE2eWrongSequence}),
                         [](const ::testing::TestParamInfo<RejectedFrame>& info) { return info.param.name; });

TEST_F(E2eCheckSignalGroupTest, CheckStateCarriesOverFromOneCallToTheNext) {
  for (std::uint8_t counter = 0; counter < 20; ++counter) {
    WriteMainFrame(counter);
    EXPECT_EQ(CheckResultStatusCode(Check()), SignalPropertyStatusCode::kE2eOk) << int{counter};
  }
}

TEST_F(E2eCheckSignalGroupTest, ExactlyReservedValueBufferIsNeverReallocated) {
  const SignalAdapter_SignalValue* storage = values_.data.data();
  const std::size_t capacity = values_.data.capacity();
  ASSERT_EQ(capacity, values_.elements);
  for (std::uint8_t counter = 0; counter < 3; ++counter) {
    WriteMainFrame(counter);
    Check();
    EXPECT_EQ(values_.data.data(), storage);
    EXPECT_EQ(values_.data.capacity(), capacity);
    EXPECT_EQ(values_.data.size(), values_.elements);
  }
}

TEST_F(E2eCheckSignalGroupTest, CheckingIntoAReservedBufferAllocatesNothing) {
  zol::pmr::CountingResource counting;
  zol::pmr::ScopedDefaultResource scoped(&counting);
  WriteMainFrame(0);
  Check();
  EXPECT_EQ(counting.allocation_count(), 0u);
}

TEST_F(E2eCheckSignalGroupTest, EmptyUnreservedBufferIsGrownToElements) {
  SignalStorageBuffer values;
  values.elements = 9;
  WriteMainFrame(0);
  CheckSignalGroup(context_, values, true, *protection_);
  ASSERT_EQ(values.data.size(), 9u);
  EXPECT_EQ(values.data[kTimeStamp].unsigned_int, 0x0123456789ABCDEFu);
}

TEST_F(E2eCheckSignalGroupTest, SignalsWhoseSlotIsBeyondElementsAreSkipped) {
  SignalStorageBuffer values;
  values.elements = 3;  // CRC, counter, range only
  values.data.reserve(3);
  WriteMainFrame(0);
  CheckSignalGroup(context_, values, true, *protection_);
  ASSERT_EQ(values.data.size(), 3u);
  EXPECT_EQ(values.data.capacity(), 3u);
  EXPECT_DOUBLE_EQ(values.data[kRange].double_float, 123.45);
}

TEST(E2eCheckSignalGroupShortTest, FieldRunningPastThePayloadReadsMissingBitsAsZeroAndStraySlotIsSkipped) {
  const SignalGroupContext context = Context(1);
  const E2eProtectionProfile5Ptr protection = E2eProtectionProfile5::Create(context);
  ASSERT_TRUE(protection);
  SignalStorageBuffer values = ReservedValues(1);
  ASSERT_EQ(values.elements, 4u);
  std::uint8_t* payload = protection->payload_buffer();
  payload[3] = 0xF7;  // bits 24..31: the tail field gets the upper nibble 0xF, bits 32..35 do not exist
  zol::e2e::ProtectProfile5(kShortDataId, 0, payload, kShortBytes);

  const std::uint64_t result = CheckSignalGroup(context, values, true, *protection);

  EXPECT_EQ(CheckResultStatusCode(result), SignalPropertyStatusCode::kE2eOk);
  ASSERT_EQ(values.data.size(), 4u);
  EXPECT_EQ(values.data[2].unsigned_int, 0x0Fu);
  EXPECT_EQ(values.data[3].unsigned_int, 0u);  // no signal writes slot 3; slot 7 is beyond the storage
}

TEST(E2eCheckSignalGroupProfileTest, ProtectionOfAnotherProfileGivesNotSupportedAndStillDecodes) {
  const SignalGroupContext context = Context(2);
  Profile1Protection protection(8);
  protection.payload_buffer()[2] = 0x99;
  SignalStorageBuffer values = ReservedValues(2);

  const std::uint64_t result = CheckSignalGroup(context, values, true, protection);

  EXPECT_EQ(CheckResultErrorCode(result), ErrorCode::kNotSupported);
  EXPECT_EQ(CheckResultStatusCode(result), SignalPropertyStatusCode::kNotAvailable);
  ASSERT_EQ(values.data.size(), 2u);
  EXPECT_EQ(values.data[1].unsigned_int, 0x99u);
}

TEST(E2eCheckSignalGroupProfileTest, ProtectionClaimingProfile5WithoutBeingOneGivesNotSupported) {
  const SignalGroupContext context = Context(0);
  ImpostorProtection protection(kMainBytes);
  SignalStorageBuffer values = ReservedValues(0);

  const std::uint64_t result = CheckSignalGroup(context, values, true, protection);

  EXPECT_EQ(CheckResultErrorCode(result), ErrorCode::kNotSupported);
  EXPECT_EQ(CheckResultStatusCode(result), SignalPropertyStatusCode::kNotAvailable);
  EXPECT_EQ(values.data.size(), values.elements);
}

TEST(E2eCheckSignalGroupProfileTest, ContextWithoutGroupGivesBadArgumentAndZeroFilledSlots) {
  const E2eProtectionProfile5Ptr protection = E2eProtectionProfile5::Create(Context(0));
  ASSERT_TRUE(protection);
  SignalStorageBuffer values;
  values.elements = 4;
  values.data.reserve(4);

  const std::uint64_t result = CheckSignalGroup(SignalGroupContext{}, values, true, *protection);

  EXPECT_EQ(CheckResultErrorCode(result), ErrorCode::kBadArgument);
  EXPECT_EQ(CheckResultStatusCode(result), SignalPropertyStatusCode::kNotAvailable);
  ASSERT_EQ(values.data.size(), 4u);
  for (const SignalAdapter_SignalValue& value : values.data) {
    EXPECT_EQ(value.unsigned_int, 0u);
  }
  EXPECT_EQ(protection->last_check_status(), zol::e2e::E2E_P_NOTAVAILABLE);
}

TEST(E2eCheckSignalGroupProfileTest, ContextWithoutSignalRecordsGivesBadArgumentWithoutCheckingTheFrame) {
  SignalGroupContext context = Context(0);
  context.signals_ = nullptr;
  const E2eProtectionProfile5Ptr protection = E2eProtectionProfile5::Create(context);
  ASSERT_TRUE(protection);
  zol::e2e::ProtectProfile5(kMainDataId, 0, protection->payload_buffer(), kMainBytes);
  SignalStorageBuffer values = ReservedValues(0);

  const std::uint64_t result = CheckSignalGroup(context, values, true, *protection);

  EXPECT_EQ(CheckResultErrorCode(result), ErrorCode::kBadArgument);
  EXPECT_EQ(protection->counter(), 0xFF);
}

}  // namespace
