// Byte layout of the database records as the separately built E2E library reads
// them: each record below is compared, byte for byte, with an image assembled
// here from the documented offsets, widths and little-endian values.
#include "initialfrontsideradarlefthal_e2e_database.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace {

constexpr std::size_t kGroupRecordSize = 168U;
constexpr std::size_t kSignalRecordSize = 184U;

// Expected bytes of one record. Bytes not written stay zero, which is what the
// padding must hold.
template <std::size_t N>
class Image {
 public:
  Image& Name(const char* name) {
    std::memcpy(bytes_.data(), name, std::strlen(name));
    return *this;
  }
  Image& Unsigned(std::size_t offset, std::uint64_t value, std::size_t width) {
    for (std::size_t k = 0; k < width; ++k) {
      bytes_.at(offset + k) = static_cast<unsigned char>((value >> (8U * k)) & 0xFFU);
    }
    return *this;
  }
  Image& Double(std::size_t offset, double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return Unsigned(offset, bits, 8U);
  }
  const std::array<unsigned char, N>& bytes() const { return bytes_; }

 private:
  std::array<unsigned char, N> bytes_{};
};

template <typename Record>
std::array<unsigned char, sizeof(Record)> BytesOf(const Record& record) {
  std::array<unsigned char, sizeof(Record)> bytes{};
  std::memcpy(bytes.data(), reinterpret_cast<const unsigned char*>(&record), sizeof(Record));
  return bytes;
}

template <std::size_t N>
void ExpectSameBytes(const std::array<unsigned char, N>& actual, const std::array<unsigned char, N>& expected) {
  for (std::size_t k = 0; k < N; ++k) {
    EXPECT_EQ(int{actual[k]}, int{expected[k]}) << "byte at offset " << k;
  }
}

// Reads a little-endian field straight from the record's bytes.
template <typename Record>
std::uint64_t FieldAt(const Record& record, std::size_t offset, std::size_t width) {
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&record) + offset;
  std::uint64_t value = 0;
  for (std::size_t k = 0; k < width; ++k) {
    value |= static_cast<std::uint64_t>(bytes[k]) << (8U * k);
  }
  return value;
}

template <typename Record>
double DoubleAt(const Record& record, std::size_t offset) {
  const std::uint64_t bits = FieldAt(record, offset, 8U);
  double value = 0.0;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

const SignalAdapter_Signal* FindSignal(const char* name) {
  for (const SignalAdapter_Signal& signal : initialfrontsideradarlefthal_signals) {
    if (std::strncmp(reinterpret_cast<const char*>(signal.name), name, SIGNAL_DB_NAME_SIZE) == 0) {
      return &signal;
    }
  }
  return nullptr;
}

struct GroupFields {
  const char* name;
  std::uint16_t nbr_of_signals;
  std::uint32_t signal_start_index;
  std::uint16_t packing_index;
  std::uint32_t storage_size;
  std::uint16_t data_id;
  std::uint16_t data_length;
};

Image<kGroupRecordSize> GroupImage(const GroupFields& g) {
  Image<kGroupRecordSize> image;
  image.Name(g.name)
      .Unsigned(130, g.nbr_of_signals, 2)
      .Unsigned(132, g.signal_start_index, 4)
      .Unsigned(136, g.packing_index, 2)
      .Unsigned(138, 0U, 2)  // payload_bit_offset
      .Unsigned(140, g.storage_size, 4)
      .Unsigned(144, 5U, 4)  // SIGNAL_DB_E2E_PROFILE_05
      .Unsigned(148, g.data_id, 2)
      .Unsigned(150, g.data_length, 2)
      .Unsigned(152, 0U, 2)  // offset
      .Unsigned(154, 0U, 2)  // counter_offset
      .Unsigned(156, 0U, 4)  // SIGNAL_DB_E2E_DATA_ID_MODE_BOTH
      .Unsigned(160, 0U, 2)  // crc_offset
      .Unsigned(162, 0U, 2)  // data_nibble_offset
      .Unsigned(164, 14U, 1)
      .Unsigned(165, 0U, 1)
      .Unsigned(166, 0U, 1)
      .Unsigned(167, 0U, 1);
  return image;
}

// Common part of a float signal: flags 0x80, FLOAT, 8 bytes, codec 0x03, unsigned codec.
Image<kSignalRecordSize> FloatSignalImage(const char* name, std::uint16_t slot, double min, double max, double factor,
                                          double offset, std::int16_t bit, std::uint16_t bits) {
  Image<kSignalRecordSize> image;
  image.Name(name)
      .Unsigned(129, 0x80U, 1)
      .Unsigned(130, 3U, 1)
      .Unsigned(132, slot, 2)
      .Unsigned(134, 8U, 2)
      .Double(136, min)
      .Double(144, max)
      .Unsigned(152, 0x03U, 1)
      .Unsigned(153, 2U, 1)
      .Double(160, factor)
      .Double(168, offset)
      .Unsigned(176, static_cast<std::uint16_t>(bit), 2)
      .Unsigned(178, bits, 2);
  return image;
}

// Common part of an integer or enumerated signal: codec 0x05, unsigned codec,
// factor 1 and offset 0 in the integer view.
Image<kSignalRecordSize> IntegerSignalImage(const char* name, std::uint8_t flags, std::uint8_t value_type,
                                            std::uint16_t slot, std::uint16_t width, std::uint64_t min,
                                            std::uint64_t max, std::int16_t bit, std::uint16_t bits) {
  Image<kSignalRecordSize> image;
  image.Name(name)
      .Unsigned(129, flags, 1)
      .Unsigned(130, value_type, 1)
      .Unsigned(132, slot, 2)
      .Unsigned(134, width, 2)
      .Unsigned(136, min, 8)
      .Unsigned(144, max, 8)
      .Unsigned(152, 0x05U, 1)
      .Unsigned(153, 2U, 1)
      .Unsigned(160, 1U, 8)
      .Unsigned(168, 0U, 8)
      .Unsigned(176, static_cast<std::uint16_t>(bit), 2)
      .Unsigned(178, bits, 2);
  return image;
}

TEST(SignalDatabaseLayout, RecordsHaveTheDocumentedSizes) {
  EXPECT_EQ(sizeof(SignalAdapter_SignalGroup), kGroupRecordSize);
  EXPECT_EQ(sizeof(SignalAdapter_Signal), kSignalRecordSize);
  EXPECT_EQ(sizeof(SignalAdapter_SignalValue), 8U);
  EXPECT_EQ(sizeof(SignalAdapter_SignalMinMax), 16U);
  EXPECT_EQ(sizeof(SignalAdapter_SignalValueFactorOffset), 16U);
  EXPECT_EQ(sizeof(SignalAdapter_FrameSignalGroupMapping), 4U);
}

TEST(SignalDatabaseLayout, TheIeeeBitPatternsUsedBelowAreTheDocumentedDoubles) {
  // Hand-computed patterns, so that the image helper is not trusted blindly.
  Image<8> image;
  image.Double(0, 300.0);
  EXPECT_EQ(FieldAt(image.bytes(), 0, 8), UINT64_C(0x4072C00000000000));
  image.Double(0, 0.01);
  EXPECT_EQ(FieldAt(image.bytes(), 0, 8), UINT64_C(0x3F847AE147AE147B));
  image.Double(0, -0.5);
  EXPECT_EQ(FieldAt(image.bytes(), 0, 8), UINT64_C(0xBFE0000000000000));
}

TEST(SignalDatabaseLayout, FirstDetectionGroupIsByteForByteTheDocumentedRecord) {
  const SignalAdapter_SignalGroup& group = initialfrontsideradarlefthal_signal_groups[0];
  ExpectSameBytes(BytesOf(group), GroupImage({"RSDS4Detn000To004", 48, 0, 1, 384, 2685, 384}).bytes());
}

TEST(SignalDatabaseLayout, FirstDetectionGroupDataIdIsLittleEndianAtOffset148) {
  const SignalAdapter_SignalGroup& group = initialfrontsideradarlefthal_signal_groups[0];
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&group);
  EXPECT_EQ(bytes[148], 0x7DU);
  EXPECT_EQ(bytes[149], 0x0AU);
  EXPECT_EQ(FieldAt(group, 148, 2), 2685U);
  EXPECT_EQ(FieldAt(group, 144, 4), 5U);
  EXPECT_EQ(FieldAt(group, 164, 1), 14U);
}

TEST(SignalDatabaseLayout, LastObjectGroupIsByteForByteTheDocumentedRecord) {
  const SignalAdapter_SignalGroup& group = initialfrontsideradarlefthal_signal_groups[49];
  ExpectSameBytes(BytesOf(group), GroupImage({"RSDS4Obj18To19", 50, 2370, 50, 400, 2734, 400}).bytes());
}

TEST(SignalDatabaseLayout, StatusOneGroupIsByteForByteTheDocumentedRecord) {
  const SignalAdapter_SignalGroup& group = initialfrontsideradarlefthal_signal_groups[50];
  ExpectSameBytes(BytesOf(group), GroupImage({"RSDS4SigSts1", 26, 2420, 51, 208, 2373, 488}).bytes());
}

TEST(SignalDatabaseLayout, StatusOneDataLength488IsLittleEndianAtOffset150) {
  const SignalAdapter_SignalGroup& group = initialfrontsideradarlefthal_signal_groups[50];
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&group);
  EXPECT_EQ(bytes[150], 0xE8U);
  EXPECT_EQ(bytes[151], 0x01U);
  EXPECT_EQ(FieldAt(group, 150, 2), 488U);
  EXPECT_EQ(FieldAt(group, 140, 4), 208U);
  EXPECT_EQ(FieldAt(group, 148, 2), 2373U);
}

TEST(SignalDatabaseLayout, StatusTwoGroupIsByteForByteTheDocumentedRecord) {
  const SignalAdapter_SignalGroup& group = initialfrontsideradarlefthal_signal_groups[51];
  ExpectSameBytes(BytesOf(group), GroupImage({"RSDS4SigSts2", 19, 2446, 52, 152, 2745, 168}).bytes());
}

TEST(SignalDatabaseLayout, RangeSignalIsByteForByteTheDocumentedRecord) {
  const SignalAdapter_Signal* signal = FindSignal("RSDS4Detn000To004Range2");
  ASSERT_NE(signal, nullptr);
  ExpectSameBytes(BytesOf(*signal),
                  FloatSignalImage("RSDS4Detn000To004Range2", 0, 0.0, 300.0, 0.01, 0.0, 178, 15).bytes());
}

TEST(SignalDatabaseLayout, RangeSignalFieldsReadAtTheirOffsets) {
  const SignalAdapter_Signal* signal = FindSignal("RSDS4Detn000To004Range2");
  ASSERT_NE(signal, nullptr);
  EXPECT_EQ(FieldAt(*signal, 129, 1), 0x80U);
  EXPECT_EQ(FieldAt(*signal, 130, 1), 3U);  // SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT
  EXPECT_EQ(FieldAt(*signal, 134, 2), 8U);
  EXPECT_EQ(DoubleAt(*signal, 136), 0.0);
  EXPECT_EQ(DoubleAt(*signal, 136 + 8), 300.0);
  EXPECT_EQ(FieldAt(*signal, 144, 8), UINT64_C(0x4072C00000000000));
  EXPECT_EQ(FieldAt(*signal, 152, 1), 0x03U);
  EXPECT_EQ(FieldAt(*signal, 153, 1), 2U);  // SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_UNSIGNED_INTEGER
  EXPECT_EQ(DoubleAt(*signal, 160), 0.01);
  EXPECT_EQ(DoubleAt(*signal, 160 + 8), 0.0);
  EXPECT_EQ(FieldAt(*signal, 176, 2), 178U);
  EXPECT_EQ(FieldAt(*signal, 178, 2), 15U);
}

TEST(SignalDatabaseLayout, RadarCrossSectionSignalStoresItsNegativeOffsetAsDouble) {
  const SignalAdapter_Signal* signal = FindSignal("RSDS4Detn000To004RCS0");
  ASSERT_NE(signal, nullptr);
  ExpectSameBytes(BytesOf(*signal),
                  FloatSignalImage("RSDS4Detn000To004RCS0", 9, -40.005, 40.32, 0.315, -40.005, 93, 8).bytes());
  EXPECT_EQ(DoubleAt(*signal, 168), -40.005);
}

TEST(SignalDatabaseLayout, QualityEnumerationIsByteForByteTheDocumentedRecord) {
  const SignalAdapter_Signal* signal = FindSignal("RSDS4Detn000To004Quality3");
  ASSERT_NE(signal, nullptr);
  // flags 0x81, ENUMERATED, one byte, limits 0..3, bits 297..298.
  ExpectSameBytes(BytesOf(*signal),
                  IntegerSignalImage("RSDS4Detn000To004Quality3", 0x81, 1, 6, 1, 0, 3, 297, 2).bytes());
  EXPECT_EQ(FieldAt(*signal, 144, 8), 3U);
  EXPECT_EQ(FieldAt(*signal, 160, 8), 1U);
}

TEST(SignalDatabaseLayout, CrcSignalIsByteForByteTheDocumentedRecord) {
  const SignalAdapter_Signal* signal = FindSignal("RSDS4Detn000To004CRC");
  ASSERT_NE(signal, nullptr);
  // flags 0x81, UNSIGNED_INTEGER, two bytes, limits 0..65535, bits 0..15.
  ExpectSameBytes(BytesOf(*signal),
                  IntegerSignalImage("RSDS4Detn000To004CRC", 0x81, 2, 29, 2, 0, 65535, 0, 16).bytes());
  EXPECT_EQ(FieldAt(*signal, 176, 2), 0U);
  EXPECT_EQ(FieldAt(*signal, 178, 2), 16U);
}

TEST(SignalDatabaseLayout, SixtyFourBitTimeStampHasAnAllOnesMaximum) {
  const SignalAdapter_Signal* signal = FindSignal("RSDS4SigSts1TimeStamp0");
  ASSERT_NE(signal, nullptr);
  ExpectSameBytes(
      BytesOf(*signal),
      IntegerSignalImage("RSDS4SigSts1TimeStamp0", 0x81, 2, 10, 8, 0, UINT64_C(18446744073709551615), 24, 64).bytes());
  EXPECT_EQ(FieldAt(*signal, 144, 8), UINT64_C(0xFFFFFFFFFFFFFFFF));
}

TEST(SignalDatabaseLayout, SixteenBitFaultReasonEnumerationIsByteForByteTheDocumentedRecord) {
  const SignalAdapter_Signal* signal = FindSignal("RSDS4SigSts1DtnListFaultReason");
  ASSERT_NE(signal, nullptr);
  ExpectSameBytes(BytesOf(*signal),
                  IntegerSignalImage("RSDS4SigSts1DtnListFaultReason", 0x81, 1, 3, 2, 0, 128, 424, 8).bytes());
}

TEST(SignalDatabaseLayout, AxisOffsetKeepsItsOwnFactor) {
  const SignalAdapter_Signal* signal = FindSignal("RSDS4SigSts1XAxisOffs");
  ASSERT_NE(signal, nullptr);
  ExpectSameBytes(BytesOf(*signal),
                  FloatSignalImage("RSDS4SigSts1XAxisOffs", 19, -25.0, 25.0, 0.00145204372, -25.0, 280, 16).bytes());
}

TEST(SignalDatabaseLayout, CheckedObjectCounterClearsTheSkipFlag) {
  const SignalAdapter_Signal* signal = FindSignal("RSDS4Obj00To01CoastCntr0");
  ASSERT_NE(signal, nullptr);
  // flags 0x80: the min/max check applies; limits 0..15, bits 131..134.
  ExpectSameBytes(BytesOf(*signal),
                  IntegerSignalImage("RSDS4Obj00To01CoastCntr0", 0x80, 2, 0, 1, 0, 15, 131, 4).bytes());
}

TEST(SignalDatabaseLayout, LastSignalOfTheDatabaseIsByteForByteTheDocumentedRecord) {
  const SignalAdapter_Signal& signal = initialfrontsideradarlefthal_signals[2464];
  ExpectSameBytes(BytesOf(signal),
                  IntegerSignalImage("RSDS4SigSts2PCANSyncStatusInfo", 0x81, 1, 18, 1, 0, 1, 142, 1).bytes());
}

}  // namespace
