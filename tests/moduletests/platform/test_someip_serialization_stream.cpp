#include "zol/someip_serialization/stream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "zol/memory/span.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using zol::memory::span;
using zol::someip_serialization::InputStream;
using zol::someip_serialization::OutputStream;
using zol::someip_serialization::Status;

enum class Mode : std::uint16_t { kIdle = 0x0102, kRunning = 0xABCD };
enum class Signed8 : std::int8_t { kMinusOne = -1, kMax = 127 };
enum Unscoped : std::int32_t { kUnscopedValue = -2 };

// Writes one value into a fresh buffer and returns the bytes written.
template <typename T>
std::vector<std::uint8_t> Bytes(T value) {
  std::vector<std::uint8_t> buffer(16, 0xEE);
  OutputStream out{span<std::uint8_t>(buffer)};
  EXPECT_EQ(out.Write(value), Status::kOk);
  buffer.resize(out.size());
  return buffer;
}

// Writes and reads back one value.
template <typename T>
T RoundTrip(T value) {
  std::uint8_t buffer[8] = {};
  OutputStream out{span<std::uint8_t>(buffer)};
  EXPECT_EQ(out.Write(value), Status::kOk);
  InputStream in(out.written());
  T back{};
  EXPECT_EQ(in.Read(back), Status::kOk);
  EXPECT_EQ(in.remaining(), 0U);
  return back;
}

TEST(OutputStream, WritesUnsignedIntegersBigEndian) {
  EXPECT_THAT(Bytes(std::uint8_t{0xA5}), ElementsAre(0xA5));
  EXPECT_THAT(Bytes(std::uint16_t{0x1234}), ElementsAre(0x12, 0x34));
  EXPECT_THAT(Bytes(std::uint32_t{0x12345678}), ElementsAre(0x12, 0x34, 0x56, 0x78));
  EXPECT_THAT(Bytes(std::uint64_t{0x0102030405060708}), ElementsAre(0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08));
}

TEST(OutputStream, WritesSignedIntegersAsTwosComplementBigEndian) {
  EXPECT_THAT(Bytes(std::int8_t{-1}), ElementsAre(0xFF));
  EXPECT_THAT(Bytes(std::int16_t{-2}), ElementsAre(0xFF, 0xFE));
  EXPECT_THAT(Bytes(std::int32_t{-123456789}), ElementsAre(0xF8, 0xA4, 0x32, 0xEB));
  EXPECT_THAT(Bytes(std::numeric_limits<std::int64_t>::min()), ElementsAre(0x80, 0, 0, 0, 0, 0, 0, 0));
}

TEST(OutputStream, WritesBoolAsOneByteZeroOrOne) {
  EXPECT_THAT(Bytes(true), ElementsAre(0x01));
  EXPECT_THAT(Bytes(false), ElementsAre(0x00));
}

TEST(OutputStream, WritesFloatingPointAsIeee754BitsBigEndian) {
  EXPECT_THAT(Bytes(1.0F), ElementsAre(0x3F, 0x80, 0x00, 0x00));
  EXPECT_THAT(Bytes(-2.5F), ElementsAre(0xC0, 0x20, 0x00, 0x00));
  EXPECT_THAT(Bytes(-2.5), ElementsAre(0xC0, 0x04, 0, 0, 0, 0, 0, 0));
  EXPECT_THAT(Bytes(0.1), ElementsAre(0x3F, 0xB9, 0x99, 0x99, 0x99, 0x99, 0x99, 0x9A));
  EXPECT_THAT(Bytes(-0.0F), ElementsAre(0x80, 0x00, 0x00, 0x00));
}

TEST(OutputStream, WritesEnumerationsAsTheirUnderlyingType) {
  EXPECT_THAT(Bytes(Mode::kRunning), ElementsAre(0xAB, 0xCD));
  EXPECT_THAT(Bytes(Signed8::kMinusOne), ElementsAre(0xFF));
  EXPECT_THAT(Bytes(kUnscopedValue), ElementsAre(0xFF, 0xFF, 0xFF, 0xFE));
}

TEST(OutputStream, AppendsConsecutiveValues) {
  std::uint8_t buffer[7] = {};
  OutputStream out{span<std::uint8_t>(buffer)};
  EXPECT_EQ(out.Write(std::uint16_t{0x0102}), Status::kOk);
  EXPECT_EQ(out.Write(true), Status::kOk);
  EXPECT_EQ(out.Write(std::int32_t{-1}), Status::kOk);
  EXPECT_EQ(out.size(), 7U);
  EXPECT_TRUE(out.ok());
  const std::uint8_t expected[] = {0x01, 0x02, 0x01, 0xFF, 0xFF, 0xFF, 0xFF};
  EXPECT_THAT(out.written(), ElementsAreArray(expected));
  EXPECT_EQ(out.written().data(), buffer);
}

TEST(OutputStream, AWriteThatDoesNotFitChangesNothingAndFailsTheStream) {
  std::uint8_t buffer[3] = {0xEE, 0xEE, 0xEE};
  OutputStream out{span<std::uint8_t>(buffer)};
  ASSERT_EQ(out.Write(std::uint16_t{0x1234}), Status::kOk);
  EXPECT_EQ(out.Write(std::uint16_t{0x5678}), Status::kNotEnoughSpace);
  EXPECT_EQ(out.size(), 2U);
  EXPECT_EQ(buffer[2], 0xEE);
  EXPECT_EQ(out.status(), Status::kNotEnoughSpace);
  EXPECT_FALSE(out.ok());
  // A value that would fit is refused too: the stream stays failed.
  EXPECT_EQ(out.Write(std::uint8_t{0x99}), Status::kNotEnoughSpace);
  EXPECT_EQ(buffer[2], 0xEE);
  EXPECT_THAT(out.written(), ElementsAre(0x12, 0x34));
}

TEST(OutputStream, AnEmptyBufferTakesNothing) {
  OutputStream out{span<std::uint8_t>()};
  EXPECT_EQ(out.Write(false), Status::kNotEnoughSpace);
  EXPECT_EQ(out.size(), 0U);
  EXPECT_TRUE(out.written().empty());
}

TEST(InputStream, ReadsBigEndianValuesFromHandWrittenBytes) {
  const std::uint8_t bytes[] = {0x12, 0x34,                                      // uint16
                                0xFF, 0xFF, 0xFF, 0xFE,                          // int32 -2
                                0x01,                                            // bool
                                0x3F, 0x80, 0x00, 0x00,                          // float 1.0
                                0xC0, 0x04, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // double -2.5
                                0xAB, 0xCD,                                      // Mode::kRunning
                                0x80};                                           // int8 -128
  InputStream in{span<const std::uint8_t>(bytes)};
  std::uint16_t u16 = 0;
  std::int32_t i32 = 0;
  bool flag = false;
  float f = 0.0F;
  double d = 0.0;
  Mode mode = Mode::kIdle;
  std::int8_t i8 = 0;
  EXPECT_EQ(in.Read(u16), Status::kOk);
  EXPECT_EQ(in.Read(i32), Status::kOk);
  EXPECT_EQ(in.Read(flag), Status::kOk);
  EXPECT_EQ(in.Read(f), Status::kOk);
  EXPECT_EQ(in.Read(d), Status::kOk);
  EXPECT_EQ(in.Read(mode), Status::kOk);
  EXPECT_EQ(in.Read(i8), Status::kOk);
  EXPECT_EQ(u16, 0x1234);
  EXPECT_EQ(i32, -2);
  EXPECT_TRUE(flag);
  EXPECT_EQ(f, 1.0F);
  EXPECT_EQ(d, -2.5);
  EXPECT_EQ(mode, Mode::kRunning);
  EXPECT_EQ(i8, -128);
  EXPECT_EQ(in.remaining(), 0U);
  EXPECT_EQ(in.position(), sizeof(bytes));
}

TEST(InputStream, ReadsAnyNonZeroByteAsTrue) {
  const std::uint8_t bytes[] = {0x00, 0x02};
  InputStream in{span<const std::uint8_t>(bytes)};
  bool first = true;
  bool second = false;
  in.Read(first);
  in.Read(second);
  EXPECT_FALSE(first);
  EXPECT_TRUE(second);
}

TEST(InputStream, AReadBeyondTheEndChangesNothingAndFailsTheStream) {
  const std::uint8_t bytes[] = {0x01, 0x02, 0x03};
  InputStream in{span<const std::uint8_t>(bytes)};
  std::uint16_t first = 0;
  ASSERT_EQ(in.Read(first), Status::kOk);
  std::uint16_t second = 0x7777;
  EXPECT_EQ(in.Read(second), Status::kNotEnoughData);
  EXPECT_EQ(second, 0x7777);
  EXPECT_EQ(in.remaining(), 1U);
  EXPECT_EQ(in.status(), Status::kNotEnoughData);
  EXPECT_FALSE(in.ok());
  // The remaining byte would satisfy a one-byte read, but the stream stays failed.
  std::uint8_t third = 0x55;
  EXPECT_EQ(in.Read(third), Status::kNotEnoughData);
  EXPECT_EQ(third, 0x55);
  EXPECT_EQ(in.remaining(), 1U);
}

template <typename T>
class StreamRoundTrip : public ::testing::Test {};

using RoundTripTypes = ::testing::Types<bool, std::int8_t, std::uint8_t, std::int16_t, std::uint16_t, std::int32_t,
                                        std::uint32_t, std::int64_t, std::uint64_t, float, double, Mode, Signed8>;

// Readable test names per type, e.g. StreamRoundTrip/uint16.
struct TypeName {
  template <typename T>
  static std::string GetName(int /*index*/) {
    if (std::is_same<T, bool>::value) return "bool";
    if (std::is_same<T, std::int8_t>::value) return "int8";
    if (std::is_same<T, std::uint8_t>::value) return "uint8";
    if (std::is_same<T, std::int16_t>::value) return "int16";
    if (std::is_same<T, std::uint16_t>::value) return "uint16";
    if (std::is_same<T, std::int32_t>::value) return "int32";
    if (std::is_same<T, std::uint32_t>::value) return "uint32";
    if (std::is_same<T, std::int64_t>::value) return "int64";
    if (std::is_same<T, std::uint64_t>::value) return "uint64";
    if (std::is_same<T, float>::value) return "float";
    if (std::is_same<T, double>::value) return "double";
    if (std::is_same<T, Mode>::value) return "enum_uint16";
    return "enum_int8";
  }
};
TYPED_TEST_SUITE(StreamRoundTrip, RoundTripTypes, TypeName);

TYPED_TEST(StreamRoundTrip, ExtremesAndZeroComeBackUnchanged) {
  using Limits = std::numeric_limits<TypeParam>;
  if (Limits::is_specialized) {
    EXPECT_EQ(RoundTrip<TypeParam>(Limits::lowest()), Limits::lowest());
    EXPECT_EQ(RoundTrip<TypeParam>(Limits::max()), Limits::max());
    EXPECT_EQ(RoundTrip<TypeParam>(Limits::min()), Limits::min());
  }
  EXPECT_EQ(RoundTrip<TypeParam>(TypeParam{}), TypeParam{});
}

TEST(StreamRoundTrip, EnumeratorsComeBackUnchanged) {
  EXPECT_EQ(RoundTrip(Mode::kIdle), Mode::kIdle);
  EXPECT_EQ(RoundTrip(Mode::kRunning), Mode::kRunning);
  EXPECT_EQ(RoundTrip(Signed8::kMinusOne), Signed8::kMinusOne);
  EXPECT_EQ(RoundTrip(Signed8::kMax), Signed8::kMax);
  EXPECT_EQ(RoundTrip(kUnscopedValue), kUnscopedValue);
}

TEST(StreamRoundTrip, FloatingPointBitsAreKeptExactly) {
  const double values[] = {0.1, -0.0, 5e-324, std::numeric_limits<double>::infinity(),
                           std::numeric_limits<double>::quiet_NaN()};
  for (double value : values) {
    const double back = RoundTrip(value);
    EXPECT_EQ(std::memcmp(&back, &value, sizeof(double)), 0) << value;
  }
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float back = RoundTrip(nan);
  EXPECT_EQ(std::memcmp(&back, &nan, sizeof(float)), 0);
}

}  // namespace
