#include "zol/e2e/signal_codec.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <limits>

namespace {

using zol::e2e::DecodeSignal;
using zol::e2e::EncodePhysical;
using zol::e2e::EncodeSignal;
using zol::e2e::ReadRawBits;
using zol::e2e::WriteRawBits;

SignalAdapter_Signal UnsignedSignal(std::int16_t start, std::uint16_t bits) {
  SignalAdapter_Signal signal{};
  signal.flags = SIGNAL_DB_SIGNAL_FLAGS_HAS_CODEC_INFO | SIGNAL_DB_SIGNAL_FLAGS_SKIP_MIN_MAX_CALC;
  signal.value_type = SIGNAL_DB_SIGNAL_VALUE_TYPE_UNSIGNED_INTEGER;
  signal.codec_flags =
      SIGNAL_DB_SIGNAL_CODEC_FLAGS_LITTLE_ENDIAN | SIGNAL_DB_SIGNAL_CODEC_FLAGS_SKIP_FACTOR_OFFSET_CALC;
  signal.codec_type = SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_UNSIGNED_INTEGER;
  signal.value_factor_offset.scale_factor.unsigned_int = 1;
  signal.value_relative_bit_offset = start;
  signal.value_bit_length = bits;
  return signal;
}

SignalAdapter_Signal ScaledFloatSignal(std::int16_t start, std::uint16_t bits, double factor, double offset, double min,
                                       double max) {
  SignalAdapter_Signal signal{};
  signal.flags = SIGNAL_DB_SIGNAL_FLAGS_HAS_CODEC_INFO;
  signal.value_type = SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT;
  signal.codec_flags = SIGNAL_DB_SIGNAL_CODEC_FLAGS_LITTLE_ENDIAN | SIGNAL_DB_SIGNAL_CODEC_FLAGS_FACTOR_OFFSET_FLOAT;
  signal.codec_type = SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_UNSIGNED_INTEGER;
  signal.value_factor_offset.scale_factor.double_float = factor;
  signal.value_factor_offset.offset.double_float = offset;
  signal.value_min_max.min.double_float = min;
  signal.value_min_max.max.double_float = max;
  signal.value_relative_bit_offset = start;
  signal.value_bit_length = bits;
  return signal;
}

SignalAdapter_SignalGroup Group(std::uint16_t payload_bit_offset = 0) {
  SignalAdapter_SignalGroup group{};
  group.packing_info.index = 1;
  group.packing_info.payload_bit_offset = payload_bit_offset;
  return group;
}

TEST(E2eSignalCodecTest, AllZeroPayloadReadsZero) {
  const std::array<std::uint8_t, 8> data{};
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 0, 64), 0u);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 13, 7), 0u);
}

TEST(E2eSignalCodecTest, AllOnesPayloadReadsAllOnesOfTheFieldWidth) {
  std::array<std::uint8_t, 9> data;
  data.fill(0xFF);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 3, 5), 0x1Fu);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 5, 13), 0x1FFFu);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 7, 64), std::numeric_limits<std::uint64_t>::max());
}

TEST(E2eSignalCodecTest, SixteenBitsAtBitZeroAreByteZeroLowAndByteOneHigh) {
  const std::array<std::uint8_t, 3> data{0x34, 0x12, 0x56};
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 0, 16), 0x1234u);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 16, 8), 0x56u);
}

TEST(E2eSignalCodecTest, FieldStraddlingBytesIsReadLeastSignificantBitFirst) {
  // 15 bits from bit 40: all 8 bits of byte 5 and the low 7 bits of byte 6.
  std::array<std::uint8_t, 8> data{};
  data[5] = 0xA5;
  data[6] = 0xF3;  // the top bit belongs to the next field
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 40, 15), 0x73A5u);
}

TEST(E2eSignalCodecTest, FieldStartingMidByteTakesTheUpperBitsFirst) {
  const std::array<std::uint8_t, 2> data{0xB0, 0x05};  // bits 4..11 = 0x5B
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 4, 8), 0x5Bu);
}

TEST(E2eSignalCodecTest, SixtyFourBitFieldAtBit24SpansBytes3To11) {
  std::array<std::uint8_t, 12> data{};
  data[3] = 0x08;
  data[4] = 0x07;
  data[5] = 0x06;
  data[6] = 0x05;
  data[7] = 0x04;
  data[8] = 0x03;
  data[9] = 0x02;
  data[10] = 0x81;
  data[11] = 0xEE;  // beyond the field
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 24, 64), 0x8102030405060708u);
}

TEST(E2eSignalCodecTest, SixtyFourBitFieldAtAnUnalignedStartSpansNineBytes) {
  std::array<std::uint8_t, 10> data{};
  WriteRawBits(data.data(), data.size(), 5, 64, 0xFEDCBA9876543210u);
  EXPECT_EQ(data[0] & 0x1F, 0);
  EXPECT_EQ(data[8] >> 5, 0);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 5, 64), 0xFEDCBA9876543210u);
}

TEST(E2eSignalCodecTest, BitsBeyondTheBufferReadAsZero) {
  std::array<std::uint8_t, 2> data;
  data.fill(0xFF);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 12, 16), 0xFu);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 16, 8), 0u);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 4000000000u, 64), 0u);
  EXPECT_EQ(ReadRawBits(nullptr, 8, 0, 8), 0u);
}

TEST(E2eSignalCodecTest, ZeroWidthReadsZeroAndWidthAbove64ReadsSixtyFourBits) {
  std::array<std::uint8_t, 9> data;
  data.fill(0xFF);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 0, 0), 0u);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 0, 70), std::numeric_limits<std::uint64_t>::max());
}

TEST(E2eSignalCodecTest, WriteThenReadGivesTheValueBackAndKeepsNeighbouringBits) {
  std::array<std::uint8_t, 8> data;
  data.fill(0xFF);
  WriteRawBits(data.data(), data.size(), 40, 15, 0x1234);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 40, 15), 0x1234u);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 32, 8), 0xFFu);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 55, 9), 0x1FFu);
}

TEST(E2eSignalCodecTest, WriteDropsBitsAboveTheFieldWidth) {
  std::array<std::uint8_t, 2> data{};
  WriteRawBits(data.data(), data.size(), 2, 3, 0xFF);
  EXPECT_EQ(data[0], 0x1C);
  EXPECT_EQ(data[1], 0x00);
}

TEST(E2eSignalCodecTest, WriteBeyondTheBufferIsDroppedWithoutTouchingOtherMemory) {
  std::array<std::uint8_t, 4> storage{0, 0, 0xAA, 0xAA};
  WriteRawBits(storage.data(), 2, 12, 16, 0xFFFF);
  EXPECT_EQ(storage[1], 0xF0);
  EXPECT_EQ(storage[2], 0xAA);
  EXPECT_EQ(storage[3], 0xAA);
}

TEST(E2eSignalCodecTest, DecodeReadsFromPayloadBitOffsetPlusRelativeOffset) {
  std::array<std::uint8_t, 4> data{};
  WriteRawBits(data.data(), data.size(), 16 + 3, 6, 45);
  EXPECT_EQ(DecodeSignal(Group(16), UnsignedSignal(3, 6), data.data(), data.size()).unsigned_int, 45u);
}

TEST(E2eSignalCodecTest, FieldStartingBeforeThePayloadReadsTheMissingLowBitsAsZero) {
  const std::array<std::uint8_t, 1> data{0x0F};
  // Bits -2..5: the two missing low bits are zero, bits 0..5 of byte 0 follow.
  EXPECT_EQ(DecodeSignal(Group(), UnsignedSignal(-2, 8), data.data(), data.size()).unsigned_int, 0x0Fu << 2);
}

TEST(E2eSignalCodecTest, SignedCodecIsSignExtendedFromTheFieldWidth) {
  SignalAdapter_Signal signal = UnsignedSignal(0, 12);
  signal.codec_type = SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_SIGNED_INTEGER;
  signal.value_type = SIGNAL_DB_SIGNAL_VALUE_TYPE_SIGNED_INTEGER;
  std::array<std::uint8_t, 2> data{};
  WriteRawBits(data.data(), data.size(), 0, 12, 0xFFE);  // -2
  EXPECT_EQ(DecodeSignal(Group(), signal, data.data(), data.size()).signed_int, -2);
  WriteRawBits(data.data(), data.size(), 0, 12, 0x7FF);
  EXPECT_EQ(DecodeSignal(Group(), signal, data.data(), data.size()).signed_int, 2047);
}

TEST(E2eSignalCodecTest, SignedValueIsScaledInIntegerArithmeticAndLimitedInTheSignedView) {
  SignalAdapter_Signal signal = UnsignedSignal(0, 8);
  signal.flags = SIGNAL_DB_SIGNAL_FLAGS_HAS_CODEC_INFO;
  signal.codec_flags = SIGNAL_DB_SIGNAL_CODEC_FLAGS_LITTLE_ENDIAN;
  signal.codec_type = SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_SIGNED_INTEGER;
  signal.value_type = SIGNAL_DB_SIGNAL_VALUE_TYPE_SIGNED_INTEGER;
  signal.value_factor_offset.scale_factor.signed_int = 3;
  signal.value_factor_offset.offset.signed_int = -10;
  signal.value_min_max.min.signed_int = -100;
  signal.value_min_max.max.signed_int = 100;
  std::array<std::uint8_t, 1> data{static_cast<std::uint8_t>(-5)};
  EXPECT_EQ(DecodeSignal(Group(), signal, data.data(), data.size()).signed_int, -25);
  data[0] = static_cast<std::uint8_t>(-50);  // -160 before limiting
  EXPECT_EQ(DecodeSignal(Group(), signal, data.data(), data.size()).signed_int, -100);
}

TEST(E2eSignalCodecTest, UnsignedValueIsScaledInIntegerArithmeticWithoutTheFloatFlag) {
  SignalAdapter_Signal signal = UnsignedSignal(0, 8);
  signal.codec_flags = SIGNAL_DB_SIGNAL_CODEC_FLAGS_LITTLE_ENDIAN;
  signal.value_factor_offset.scale_factor.unsigned_int = 4;
  signal.value_factor_offset.offset.unsigned_int = 7;
  const std::array<std::uint8_t, 1> data{10};
  EXPECT_EQ(DecodeSignal(Group(), signal, data.data(), data.size()).unsigned_int, 47u);
}

TEST(E2eSignalCodecTest, FloatCodecOf32BitsIsReadAsIeeeSingle) {
  SignalAdapter_Signal signal = UnsignedSignal(8, 32);
  signal.codec_type = SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_FLOAT;
  signal.value_type = SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT;
  const float value = -1.5F;
  std::uint32_t bits = 0;
  std::memcpy(&bits, &value, sizeof(bits));
  std::array<std::uint8_t, 5> data{};
  WriteRawBits(data.data(), data.size(), 8, 32, bits);
  EXPECT_DOUBLE_EQ(DecodeSignal(Group(), signal, data.data(), data.size()).double_float, -1.5);
  EXPECT_EQ(EncodePhysical(signal, -1.5), bits);
}

TEST(E2eSignalCodecTest, FloatScaledValueIsLimitedToItsRange) {
  const SignalAdapter_Signal signal = ScaledFloatSignal(0, 15, 0.01, 0.0, 0.0, 300.0);
  std::array<std::uint8_t, 2> data{};
  WriteRawBits(data.data(), data.size(), 0, 15, 32767);
  EXPECT_DOUBLE_EQ(DecodeSignal(Group(), signal, data.data(), data.size()).double_float, 300.0);
  WriteRawBits(data.data(), data.size(), 0, 15, 12345);
  EXPECT_DOUBLE_EQ(DecodeSignal(Group(), signal, data.data(), data.size()).double_float, 12345 * 0.01);
}

TEST(E2eSignalCodecTest, FloatValueTypeWithIntegerFactorIsStoredAsDouble) {
  SignalAdapter_Signal signal = UnsignedSignal(0, 8);
  signal.value_type = SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT;
  const std::array<std::uint8_t, 1> data{200};
  EXPECT_DOUBLE_EQ(DecodeSignal(Group(), signal, data.data(), data.size()).double_float, 200.0);
}

TEST(E2eSignalCodecTest, DoubleScaledValueStoredAsIntegerIsRoundedToNearest) {
  SignalAdapter_Signal signal = ScaledFloatSignal(0, 8, 0.1, 0.0, 0.0, 0.0);
  signal.flags |= SIGNAL_DB_SIGNAL_FLAGS_SKIP_MIN_MAX_CALC;
  signal.value_type = SIGNAL_DB_SIGNAL_VALUE_TYPE_UNSIGNED_INTEGER;
  const std::array<std::uint8_t, 1> data{29};  // 2.9000000000000004
  EXPECT_EQ(DecodeSignal(Group(), signal, data.data(), data.size()).unsigned_int, 3u);
}

TEST(E2eSignalCodecTest, EncodePhysicalInvertsTheScaling) {
  const SignalAdapter_Signal range = ScaledFloatSignal(0, 15, 0.01, 0.0, 0.0, 300.0);
  EXPECT_EQ(EncodePhysical(range, 123.45), 12345u);
  EXPECT_EQ(EncodePhysical(range, 0.004), 0u);
  const SignalAdapter_Signal angle = ScaledFloatSignal(0, 12, 0.1, -204.8, -180.0, 180.0);
  EXPECT_EQ(EncodePhysical(angle, -204.8), 0u);
  EXPECT_EQ(EncodePhysical(angle, 0.0), 2048u);
}

TEST(E2eSignalCodecTest, EncodePhysicalSaturatesToTheFieldWidth) {
  const SignalAdapter_Signal range = ScaledFloatSignal(0, 15, 0.01, 0.0, 0.0, 300.0);
  EXPECT_EQ(EncodePhysical(range, 1000.0), 0x7FFFu);
  EXPECT_EQ(EncodePhysical(range, -5.0), 0u);
  EXPECT_EQ(EncodePhysical(range, std::numeric_limits<double>::quiet_NaN()), 0u);
  EXPECT_EQ(EncodePhysical(UnsignedSignal(0, 64), 1e30), std::numeric_limits<std::uint64_t>::max());
}

TEST(E2eSignalCodecTest, EncodePhysicalOfASignedFieldGivesTwosComplementOfTheFieldWidth) {
  SignalAdapter_Signal signal = UnsignedSignal(0, 12);
  signal.codec_type = SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_SIGNED_INTEGER;
  EXPECT_EQ(EncodePhysical(signal, -2.0), 0xFFEu);
  EXPECT_EQ(EncodePhysical(signal, -5000.0), 0x800u);
  EXPECT_EQ(EncodePhysical(signal, 5000.0), 0x7FFu);
}

TEST(E2eSignalCodecTest, EncodeSignalThenDecodeSignalRoundTripsThePhysicalValue) {
  const SignalAdapter_SignalGroup group = Group(8);
  const SignalAdapter_Signal angle = ScaledFloatSignal(21, 12, 0.1, -204.8, -180.0, 180.0);
  std::array<std::uint8_t, 8> data{};
  EncodeSignal(group, angle, EncodePhysical(angle, -12.3), data.data(), data.size());
  EXPECT_NEAR(DecodeSignal(group, angle, data.data(), data.size()).double_float, -12.3, 1e-9);
  EXPECT_EQ(ReadRawBits(data.data(), data.size(), 8 + 21, 12), EncodePhysical(angle, -12.3));
}

TEST(E2eSignalCodecTest, EncodeSignalDropsBitsBeforeThePayload) {
  std::array<std::uint8_t, 1> data{};
  EncodeSignal(Group(), UnsignedSignal(-4, 8), 0xAB, data.data(), data.size());
  EXPECT_EQ(data[0], 0x0A);
}

}  // namespace
