// Invariants of the signal database as a whole: group table, signal ranges,
// value slots, E2E parameters, bit field placement and the kinds of signals.
// Every expectation below is written out here by hand, so that a mistake in the
// catalogue or in the generator shows up as a difference.
#include "initialfrontsideradarlefthal_e2e_database.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr std::size_t kGroupCount = 52U;
constexpr std::size_t kSignalCount = 2465U;

struct ExpectedGroup {
  std::size_t index;
  const char* name;
  std::uint16_t nbr_of_signals;
  std::uint32_t signal_start_index;
  std::uint16_t packing_index;
  std::uint32_t storage_size;
  std::uint16_t data_id;
  std::uint16_t data_id_hex;  // the same id as written in hexadecimal, a second reading of the same column
  std::uint16_t data_length_bits;
  std::uint16_t payload_bytes;
};

// The group table, row by row.
const ExpectedGroup kExpectedGroups[kGroupCount] = {
    {0, "RSDS4Detn000To004", 48, 0, 1, 384, 2685, 0x0A7D, 384, 48},
    {1, "RSDS4Detn005To009", 48, 48, 2, 384, 2686, 0x0A7E, 384, 48},
    {2, "RSDS4Detn010To014", 48, 96, 3, 384, 2687, 0x0A7F, 384, 48},
    {3, "RSDS4Detn015To019", 48, 144, 4, 384, 2690, 0x0A82, 384, 48},
    {4, "RSDS4Detn020To024", 48, 192, 5, 384, 2689, 0x0A81, 384, 48},
    {5, "RSDS4Detn025To029", 48, 240, 6, 384, 2688, 0x0A80, 384, 48},
    {6, "RSDS4Detn030To034", 48, 288, 7, 384, 2724, 0x0AA4, 384, 48},
    {7, "RSDS4Detn035To039", 48, 336, 8, 384, 2723, 0x0AA3, 384, 48},
    {8, "RSDS4Detn040To044", 48, 384, 9, 384, 2722, 0x0AA2, 384, 48},
    {9, "RSDS4Detn045To049", 48, 432, 10, 384, 2721, 0x0AA1, 384, 48},
    {10, "RSDS4Detn050To054", 48, 480, 11, 384, 2720, 0x0AA0, 384, 48},
    {11, "RSDS4Detn055To059", 48, 528, 12, 384, 2719, 0x0A9F, 384, 48},
    {12, "RSDS4Detn060To064", 48, 576, 13, 384, 2718, 0x0A9E, 384, 48},
    {13, "RSDS4Detn065To069", 48, 624, 14, 384, 2717, 0x0A9D, 384, 48},
    {14, "RSDS4Detn070To074", 48, 672, 15, 384, 2716, 0x0A9C, 384, 48},
    {15, "RSDS4Detn075To079", 48, 720, 16, 384, 2715, 0x0A9B, 384, 48},
    {16, "RSDS4Detn080To084", 48, 768, 17, 384, 2714, 0x0A9A, 384, 48},
    {17, "RSDS4Detn085To089", 48, 816, 18, 384, 2713, 0x0A99, 384, 48},
    {18, "RSDS4Detn090To094", 48, 864, 19, 384, 2712, 0x0A98, 384, 48},
    {19, "RSDS4Detn095To099", 48, 912, 20, 384, 2711, 0x0A97, 384, 48},
    {20, "RSDS4Detn100To104", 48, 960, 21, 384, 2710, 0x0A96, 384, 48},
    {21, "RSDS4Detn105To109", 48, 1008, 22, 384, 2709, 0x0A95, 384, 48},
    {22, "RSDS4Detn110To114", 48, 1056, 23, 384, 2708, 0x0A94, 384, 48},
    {23, "RSDS4Detn115To119", 48, 1104, 24, 384, 2707, 0x0A93, 384, 48},
    {24, "RSDS4Detn120To124", 48, 1152, 25, 384, 2706, 0x0A92, 384, 48},
    {25, "RSDS4Detn125To129", 48, 1200, 26, 384, 2705, 0x0A91, 384, 48},
    {26, "RSDS4Detn130To134", 48, 1248, 27, 384, 2704, 0x0A90, 384, 48},
    {27, "RSDS4Detn135To139", 48, 1296, 28, 384, 2703, 0x0A8F, 384, 48},
    {28, "RSDS4Detn140To144", 48, 1344, 29, 384, 2702, 0x0A8E, 384, 48},
    {29, "RSDS4Detn145To149", 48, 1392, 30, 384, 2701, 0x0A8D, 384, 48},
    {30, "RSDS4Detn150To154", 48, 1440, 31, 384, 2700, 0x0A8C, 384, 48},
    {31, "RSDS4Detn155To159", 48, 1488, 32, 384, 2699, 0x0A8B, 384, 48},
    {32, "RSDS4Detn160To164", 48, 1536, 33, 384, 2698, 0x0A8A, 384, 48},
    {33, "RSDS4Detn165To169", 48, 1584, 34, 384, 2697, 0x0A89, 384, 48},
    {34, "RSDS4Detn170To174", 48, 1632, 35, 384, 2696, 0x0A88, 384, 48},
    {35, "RSDS4Detn175To179", 48, 1680, 36, 384, 2695, 0x0A87, 384, 48},
    {36, "RSDS4Detn180To184", 48, 1728, 37, 384, 2694, 0x0A86, 384, 48},
    {37, "RSDS4Detn185To189", 48, 1776, 38, 384, 2693, 0x0A85, 384, 48},
    {38, "RSDS4Detn190To194", 48, 1824, 39, 384, 2692, 0x0A84, 384, 48},
    {39, "RSDS4Detn195To199", 48, 1872, 40, 384, 2691, 0x0A83, 384, 48},
    {40, "RSDS4Obj00To01", 50, 1920, 41, 400, 2725, 0x0AA5, 400, 50},
    {41, "RSDS4Obj02To03", 50, 1970, 42, 400, 2726, 0x0AA6, 400, 50},
    {42, "RSDS4Obj04To05", 50, 2020, 43, 400, 2727, 0x0AA7, 400, 50},
    {43, "RSDS4Obj06To07", 50, 2070, 44, 400, 2728, 0x0AA8, 400, 50},
    {44, "RSDS4Obj08To09", 50, 2120, 45, 400, 2729, 0x0AA9, 400, 50},
    {45, "RSDS4Obj10To11", 50, 2170, 46, 400, 2730, 0x0AAA, 400, 50},
    {46, "RSDS4Obj12To13", 50, 2220, 47, 400, 2731, 0x0AAB, 400, 50},
    {47, "RSDS4Obj14To15", 50, 2270, 48, 400, 2732, 0x0AAC, 400, 50},
    {48, "RSDS4Obj16To17", 50, 2320, 49, 400, 2733, 0x0AAD, 400, 50},
    {49, "RSDS4Obj18To19", 50, 2370, 50, 400, 2734, 0x0AAE, 400, 50},
    {50, "RSDS4SigSts1", 26, 2420, 51, 208, 2373, 0x0945, 488, 61},
    {51, "RSDS4SigSts2", 19, 2446, 52, 152, 2745, 0x0AB9, 168, 21},
};

const SignalAdapter_SignalGroup& Group(std::size_t index) { return initialfrontsideradarlefthal_signal_groups[index]; }

// The name field is a fixed 129-byte array; never read past it, even if the
// terminator were missing.
std::string NameOf(const std::uint8_t (&name)[SIGNAL_DB_NAME_SIZE]) {
  const char* text = reinterpret_cast<const char*>(name);
  return std::string(text, strnlen(text, sizeof(name)));
}

std::vector<const SignalAdapter_Signal*> SignalsOf(const SignalAdapter_SignalGroup& group) {
  std::vector<const SignalAdapter_Signal*> signals;
  for (std::uint32_t k = 0; k < group.nbr_of_signals; ++k) {
    const std::uint32_t index = group.signal_start_index + k;
    if (index < kSignalCount) {
      signals.push_back(&initialfrontsideradarlefthal_signals[index]);
    }
  }
  return signals;
}

const unsigned char* BytesOf(const void* record) { return static_cast<const unsigned char*>(record); }

// The seven combinations of flags, value type, width, codec flags and codec
// type that this database uses; anything else is a catalogue mistake.
enum class SignalKind { kScaledFloat, kEnum8, kEnum16, kUInt8Unchecked, kUInt8Checked, kUInt16, kUInt64, kOther };

SignalKind KindOf(const SignalAdapter_Signal& s) {
  const bool unsigned_codec = s.codec_type == SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_UNSIGNED_INTEGER;
  if (!unsigned_codec) {
    return SignalKind::kOther;
  }
  if (s.flags == 0x80U && s.value_type == SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT && s.value_byte_length == 8U &&
      s.codec_flags == 0x03U) {
    return SignalKind::kScaledFloat;
  }
  if (s.codec_flags != 0x05U) {
    return SignalKind::kOther;
  }
  if (s.flags == 0x81U && s.value_type == SIGNAL_DB_SIGNAL_VALUE_TYPE_ENUMERATED) {
    if (s.value_byte_length == 1U) return SignalKind::kEnum8;
    if (s.value_byte_length == 2U) return SignalKind::kEnum16;
    return SignalKind::kOther;
  }
  if (s.value_type == SIGNAL_DB_SIGNAL_VALUE_TYPE_UNSIGNED_INTEGER) {
    if (s.flags == 0x81U && s.value_byte_length == 1U) return SignalKind::kUInt8Unchecked;
    if (s.flags == 0x80U && s.value_byte_length == 1U) return SignalKind::kUInt8Checked;
    if (s.flags == 0x81U && s.value_byte_length == 2U) return SignalKind::kUInt16;
    if (s.flags == 0x81U && s.value_byte_length == 8U) return SignalKind::kUInt64;
  }
  return SignalKind::kOther;
}

TEST(SignalDatabase, HoldsFiftyTwoGroupsAndTwoThousandFourHundredSixtyFiveSignals) {
  EXPECT_EQ(initialfrontsideradarlefthal_signal_group_count, kGroupCount);
  EXPECT_EQ(initialfrontsideradarlefthal_signal_count, kSignalCount);
  EXPECT_EQ(sizeof(initialfrontsideradarlefthal_signal_groups) / sizeof(SignalAdapter_SignalGroup), kGroupCount);
  EXPECT_EQ(sizeof(initialfrontsideradarlefthal_signals) / sizeof(SignalAdapter_Signal), kSignalCount);
}

TEST(SignalDatabase, GroupsAreStoredInTableOrderWithTheirNamesAndSignalCounts) {
  for (const ExpectedGroup& expected : kExpectedGroups) {
    SCOPED_TRACE(expected.name);
    const SignalAdapter_SignalGroup& group = Group(expected.index);
    EXPECT_EQ(NameOf(group.name), expected.name);
    EXPECT_EQ(group.nbr_of_signals, expected.nbr_of_signals);
    EXPECT_EQ(group.signal_start_index, expected.signal_start_index);
  }
}

TEST(SignalDatabase, GroupStartIndexesAreContiguousAndEndAtSignalCount) {
  std::uint32_t next = 0U;
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(Group(i).signal_start_index, next);
    next = Group(i).signal_start_index + Group(i).nbr_of_signals;
  }
  EXPECT_EQ(next, kSignalCount);
}

TEST(SignalDatabase, SignalCountsAreFortyEightPerDetectionFiftyPerObjectAndTwentySixAndNineteenForStatus) {
  for (std::size_t i = 0; i < 40U; ++i) {
    EXPECT_EQ(Group(i).nbr_of_signals, 48U) << "group " << i;
  }
  for (std::size_t i = 40U; i < 50U; ++i) {
    EXPECT_EQ(Group(i).nbr_of_signals, 50U) << "group " << i;
  }
  EXPECT_EQ(Group(50).nbr_of_signals, 26U);
  EXPECT_EQ(Group(51).nbr_of_signals, 19U);
}

TEST(SignalDatabase, DataIdsAreTheProtocolsOwnIdsExactlyAsListed) {
  for (const ExpectedGroup& expected : kExpectedGroups) {
    SCOPED_TRACE(expected.name);
    EXPECT_EQ(expected.data_id, expected.data_id_hex);  // the two columns of the table agree
    EXPECT_EQ(Group(expected.index).data_id, expected.data_id);
  }
}

TEST(SignalDatabase, DataIdsOfGroupsThreeAndFiveAreSwapped) {
  EXPECT_EQ(Group(2).data_id, 2687U);
  EXPECT_EQ(Group(3).data_id, 2690U);
  EXPECT_EQ(Group(4).data_id, 2689U);
  EXPECT_EQ(Group(5).data_id, 2688U);
}

TEST(SignalDatabase, DataIdsRunDownwardsFromGroupSixToGroupThirtyNine) {
  EXPECT_EQ(Group(6).data_id, 2724U);
  EXPECT_EQ(Group(39).data_id, 2691U);
  for (std::size_t i = 7U; i < 40U; ++i) {
    EXPECT_EQ(Group(i).data_id + 1U, Group(i - 1U).data_id) << "group " << i;
  }
}

TEST(SignalDatabase, EveryDataIdIsUsedByOneGroupOnly) {
  std::set<std::uint16_t> ids;
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    EXPECT_TRUE(ids.insert(Group(i).data_id).second) << "group " << i << " repeats id " << Group(i).data_id;
  }
}

TEST(SignalDatabase, DataLengthIsThePayloadLengthInBits) {
  for (const ExpectedGroup& expected : kExpectedGroups) {
    SCOPED_TRACE(expected.name);
    EXPECT_EQ(expected.data_length_bits, expected.payload_bytes * 8U);
    EXPECT_EQ(Group(expected.index).data_length, expected.data_length_bits);
  }
}

TEST(SignalDatabase, PayloadsAreFortyEightFiftySixtyOneAndTwentyOneBytes) {
  for (std::size_t i = 0; i < 40U; ++i) {
    EXPECT_EQ(Group(i).data_length, 48U * 8U) << "group " << i;
  }
  for (std::size_t i = 40U; i < 50U; ++i) {
    EXPECT_EQ(Group(i).data_length, 50U * 8U) << "group " << i;
  }
  EXPECT_EQ(Group(50).data_length, 61U * 8U);
  EXPECT_EQ(Group(51).data_length, 21U * 8U);
}

TEST(SignalDatabase, StatusOnePayloadLengthAndStorageSizeAreUnrelated) {
  // 61 bytes on the wire, 26 decoded values of 8 bytes in storage.
  EXPECT_EQ(Group(50).data_length, 488U);
  EXPECT_EQ(Group(50).signal_values_storage_total_size, 208U);
}

TEST(SignalDatabase, ValueStorageIsEightBytesPerSignal) {
  for (const ExpectedGroup& expected : kExpectedGroups) {
    SCOPED_TRACE(expected.name);
    const SignalAdapter_SignalGroup& group = Group(expected.index);
    EXPECT_EQ(group.signal_values_storage_total_size, expected.storage_size);
    EXPECT_EQ(group.signal_values_storage_total_size, 8U * group.nbr_of_signals);
  }
}

TEST(SignalDatabase, ValueStorageSlotsRunOverEachGroupOnceInRecordOrder) {
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    SCOPED_TRACE(kExpectedGroups[i].name);
    const std::vector<const SignalAdapter_Signal*> signals = SignalsOf(Group(i));
    ASSERT_EQ(signals.size(), kExpectedGroups[i].nbr_of_signals);
    for (std::size_t k = 0; k < signals.size(); ++k) {
      EXPECT_EQ(signals[k]->value_storage_start_index, k) << NameOf(signals[k]->name);
    }
  }
}

TEST(SignalDatabase, PackingIndexIsPositionPlusOneWithNoPayloadBitOffset) {
  for (const ExpectedGroup& expected : kExpectedGroups) {
    SCOPED_TRACE(expected.name);
    EXPECT_EQ(expected.packing_index, expected.index + 1U);
    EXPECT_EQ(Group(expected.index).packing_info.index, expected.packing_index);
    EXPECT_EQ(Group(expected.index).packing_info.payload_bit_offset, 0U);
  }
}

TEST(SignalDatabase, EveryGroupCarriesTheCommonProfileFiveParameters) {
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    SCOPED_TRACE(kExpectedGroups[i].name);
    const SignalAdapter_SignalGroup& group = Group(i);
    EXPECT_EQ(group.profile_name, SIGNAL_DB_E2E_PROFILE_05);
    EXPECT_EQ(static_cast<int>(group.profile_name), 5);
    EXPECT_EQ(group.offset, 0U);
    EXPECT_EQ(group.counter_offset, 0U);
    EXPECT_EQ(group.data_id_mode, SIGNAL_DB_E2E_DATA_ID_MODE_BOTH);
    EXPECT_EQ(static_cast<int>(group.data_id_mode), 0);
    EXPECT_EQ(group.crc_offset, 0U);
    EXPECT_EQ(group.data_nibble_offset, 0U);
    EXPECT_EQ(group.max_delta_counter, 14U);
    EXPECT_EQ(group.max_delta_counter_init, 0U);
    EXPECT_EQ(group.max_no_new_or_repeated_data, 0U);
    EXPECT_EQ(group.sync_counter_init, 0U);
  }
}

TEST(SignalDatabase, EverySignalNameBeginsWithItsGroupName) {
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    const std::string group_name = NameOf(Group(i).name);
    for (const SignalAdapter_Signal* signal : SignalsOf(Group(i))) {
      const std::string name = NameOf(signal->name);
      EXPECT_EQ(name.compare(0, group_name.size(), group_name), 0) << name << " in " << group_name;
      EXPECT_GT(name.size(), group_name.size()) << name;
    }
  }
}

TEST(SignalDatabase, SignalNamesAreUniqueWithinTheDatabase) {
  std::set<std::string> names;
  for (const SignalAdapter_Signal& signal : initialfrontsideradarlefthal_signals) {
    EXPECT_TRUE(names.insert(NameOf(signal.name)).second) << NameOf(signal.name);
  }
}

TEST(SignalDatabase, RawBitFieldsOfAGroupDoNotOverlapAndLieWithinTheDataLength) {
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    const SignalAdapter_SignalGroup& group = Group(i);
    SCOPED_TRACE(NameOf(group.name));
    std::vector<std::pair<int, int>> fields;  // [first bit, one past the last bit)
    for (const SignalAdapter_Signal* signal : SignalsOf(group)) {
      const int first = group.packing_info.payload_bit_offset + signal->value_relative_bit_offset;
      const int end = first + signal->value_bit_length;
      EXPECT_GE(first, 0) << NameOf(signal->name);
      EXPECT_GE(signal->value_bit_length, 1U) << NameOf(signal->name);
      EXPECT_LE(signal->value_bit_length, 64U) << NameOf(signal->name);
      EXPECT_LE(end, static_cast<int>(group.data_length)) << NameOf(signal->name);
      fields.emplace_back(first, end);
    }
    std::sort(fields.begin(), fields.end());
    for (std::size_t k = 1; k < fields.size(); ++k) {
      EXPECT_LE(fields[k - 1].second, fields[k].first)
          << "field at bit " << fields[k - 1].first << " overlaps field at bit " << fields[k].first;
    }
  }
}

TEST(SignalDatabase, EveryGroupBeginsWithSixteenBitCrcAtBitZeroAndEightBitCounterAtBitSixteen) {
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    const std::string group_name = NameOf(Group(i).name);
    SCOPED_TRACE(group_name);
    int crc_found = 0;
    int counter_found = 0;
    for (const SignalAdapter_Signal* signal : SignalsOf(Group(i))) {
      const std::string name = NameOf(signal->name);
      if (name == group_name + "CRC") {
        ++crc_found;
        EXPECT_EQ(signal->value_relative_bit_offset, 0);
        EXPECT_EQ(signal->value_bit_length, 16U);
        EXPECT_EQ(signal->value_type, SIGNAL_DB_SIGNAL_VALUE_TYPE_UNSIGNED_INTEGER);
        EXPECT_EQ(signal->value_byte_length, 2U);
        EXPECT_EQ(signal->value_min_max.min.unsigned_int, 0U);
        EXPECT_EQ(signal->value_min_max.max.unsigned_int, 65535U);
      } else if (name == group_name + "Counter") {
        ++counter_found;
        EXPECT_EQ(signal->value_relative_bit_offset, 16);
        EXPECT_EQ(signal->value_bit_length, 8U);
        EXPECT_EQ(signal->value_type, SIGNAL_DB_SIGNAL_VALUE_TYPE_UNSIGNED_INTEGER);
        EXPECT_EQ(signal->value_byte_length, 1U);
        EXPECT_EQ(signal->value_min_max.min.unsigned_int, 0U);
        EXPECT_EQ(signal->value_min_max.max.unsigned_int, 255U);
      }
    }
    EXPECT_EQ(crc_found, 1);
    EXPECT_EQ(counter_found, 1);
  }
}

TEST(SignalDatabase, SignalsFallIntoTheSevenKindsWithTheDocumentedCounts) {
  int scaled_float = 0;
  int enum8 = 0;
  int enum16 = 0;
  int uint8_unchecked = 0;
  int uint8_checked = 0;
  int uint16 = 0;
  int uint64 = 0;
  for (const SignalAdapter_Signal& signal : initialfrontsideradarlefthal_signals) {
    switch (KindOf(signal)) {
      case SignalKind::kScaledFloat:
        ++scaled_float;
        break;
      case SignalKind::kEnum8:
        ++enum8;
        break;
      case SignalKind::kEnum16:
        ++enum16;
        break;
      case SignalKind::kUInt8Unchecked:
        ++uint8_unchecked;
        break;
      case SignalKind::kUInt8Checked:
        ++uint8_checked;
        break;
      case SignalKind::kUInt16:
        ++uint16;
        break;
      case SignalKind::kUInt64:
        ++uint64;
        break;
      case SignalKind::kOther:
        ADD_FAILURE() << NameOf(signal.name) << " is of none of the seven kinds: flags " << int{signal.flags}
                      << ", value type " << int{signal.value_type} << ", width " << signal.value_byte_length
                      << ", codec flags " << int{signal.codec_flags} << ", codec type " << int{signal.codec_type};
        break;
    }
  }
  EXPECT_EQ(scaled_float, 1508);
  EXPECT_EQ(enum8, 716);
  EXPECT_EQ(enum16, 3);
  EXPECT_EQ(uint8_unchecked, 106);
  EXPECT_EQ(uint8_checked, 75);
  EXPECT_EQ(uint16, 52);
  EXPECT_EQ(uint64, 5);
}

TEST(SignalDatabase, SixteenBitUnsignedSignalsAreExactlyTheFiftyTwoCrcs) {
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    const std::string group_name = NameOf(Group(i).name);
    for (const SignalAdapter_Signal* signal : SignalsOf(Group(i))) {
      if (KindOf(*signal) == SignalKind::kUInt16) {
        EXPECT_EQ(NameOf(signal->name), group_name + "CRC");
      }
    }
  }
}

TEST(SignalDatabase, NoSignalIsSignedBooleanFlaggedOrAByteArray) {
  for (const SignalAdapter_Signal& signal : initialfrontsideradarlefthal_signals) {
    SCOPED_TRACE(NameOf(signal.name));
    EXPECT_NE(signal.value_type, SIGNAL_DB_SIGNAL_VALUE_TYPE_SIGNED_INTEGER);
    EXPECT_NE(signal.value_type, SIGNAL_DB_SIGNAL_VALUE_TYPE_BYTE_ARRAY);
    EXPECT_EQ(signal.codec_type, SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_UNSIGNED_INTEGER);
    EXPECT_EQ(signal.flags & SIGNAL_DB_SIGNAL_FLAGS_TYPE_IS_BOOLEAN, 0);
    EXPECT_NE(signal.flags & SIGNAL_DB_SIGNAL_FLAGS_HAS_CODEC_INFO, 0);
    EXPECT_NE(signal.codec_flags & SIGNAL_DB_SIGNAL_CODEC_FLAGS_LITTLE_ENDIAN, 0);
  }
}

TEST(SignalDatabase, MinMaxCheckAppliesToEveryFloatAndToExactlySeventyFiveUnsignedEightBitSignals) {
  int checked_integers = 0;
  for (const SignalAdapter_Signal& signal : initialfrontsideradarlefthal_signals) {
    SCOPED_TRACE(NameOf(signal.name));
    const bool skips_min_max = (signal.flags & SIGNAL_DB_SIGNAL_FLAGS_SKIP_MIN_MAX_CALC) != 0;
    if (signal.value_type == SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT) {
      EXPECT_FALSE(skips_min_max);
    } else if (!skips_min_max) {
      ++checked_integers;
      EXPECT_EQ(signal.value_type, SIGNAL_DB_SIGNAL_VALUE_TYPE_UNSIGNED_INTEGER);
      EXPECT_EQ(signal.value_byte_length, 1U);
    }
  }
  EXPECT_EQ(checked_integers, 75);
}

TEST(SignalDatabase, FloatSignalsAreScaledInDoubleAndIntegerSignalsAreNotScaled) {
  for (const SignalAdapter_Signal& signal : initialfrontsideradarlefthal_signals) {
    SCOPED_TRACE(NameOf(signal.name));
    const bool float_factor = (signal.codec_flags & SIGNAL_DB_SIGNAL_CODEC_FLAGS_FACTOR_OFFSET_FLOAT) != 0;
    const bool skip_factor = (signal.codec_flags & SIGNAL_DB_SIGNAL_CODEC_FLAGS_SKIP_FACTOR_OFFSET_CALC) != 0;
    if (signal.value_type == SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT) {
      EXPECT_TRUE(float_factor);
      EXPECT_FALSE(skip_factor);
      EXPECT_GT(signal.value_factor_offset.scale_factor.double_float, 0.0);
      EXPECT_LT(signal.value_min_max.min.double_float, signal.value_min_max.max.double_float);
    } else {
      EXPECT_FALSE(float_factor);
      EXPECT_TRUE(skip_factor);
      EXPECT_EQ(signal.value_factor_offset.scale_factor.unsigned_int, 1U);
      EXPECT_EQ(signal.value_factor_offset.offset.unsigned_int, 0U);
      EXPECT_EQ(signal.value_min_max.min.unsigned_int, 0U);
      EXPECT_LT(signal.value_min_max.min.unsigned_int, signal.value_min_max.max.unsigned_int);
    }
  }
}

TEST(SignalDatabase, GroupNameFieldsHoldOneHundredTwentyNineBytes) {
  EXPECT_EQ(SIGNAL_DB_NAME_SIZE, 129);
  EXPECT_EQ(sizeof(SignalAdapter_SignalGroup{}.name), 129U);
  EXPECT_EQ(sizeof(SignalAdapter_Signal{}.name), 129U);
  EXPECT_EQ(offsetof(SignalAdapter_SignalGroup, nbr_of_signals), 130U);
  EXPECT_EQ(offsetof(SignalAdapter_Signal, flags), 129U);
}

// A name is followed by its terminator and then only terminators up to the
// end of the field: the E2E library may compare whole fields.
void ExpectNulPaddedName(const std::uint8_t (&name)[SIGNAL_DB_NAME_SIZE]) {
  std::size_t length = 0;
  while (length < sizeof(name) && name[length] != 0U) {
    ++length;
  }
  ASSERT_LT(length, sizeof(name)) << "name without terminator";
  EXPECT_GT(length, 0U);
  for (std::size_t k = length; k < sizeof(name); ++k) {
    EXPECT_EQ(name[k], 0U) << "byte " << k << " after " << NameOf(name);
  }
}

TEST(SignalDatabase, GroupNamesAreNulTerminatedAndNulPadded) {
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    ExpectNulPaddedName(Group(i).name);
  }
}

TEST(SignalDatabase, SignalNamesAreNulTerminatedAndNulPadded) {
  for (const SignalAdapter_Signal& signal : initialfrontsideradarlefthal_signals) {
    ExpectNulPaddedName(signal.name);
  }
}

TEST(SignalDatabase, PaddingBytesOfEveryGroupRecordAreZero) {
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    EXPECT_EQ(BytesOf(&Group(i))[129], 0U) << "group " << i;
  }
}

TEST(SignalDatabase, PaddingBytesOfEverySignalRecordAreZero) {
  const std::size_t padding[] = {131U, 154U, 155U, 156U, 157U, 158U, 159U, 180U, 181U, 182U, 183U};
  for (const SignalAdapter_Signal& signal : initialfrontsideradarlefthal_signals) {
    const unsigned char* bytes = BytesOf(&signal);
    for (const std::size_t offset : padding) {
      EXPECT_EQ(bytes[offset], 0U) << NameOf(signal.name) << " byte " << offset;
    }
  }
}

}  // namespace
