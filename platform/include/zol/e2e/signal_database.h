/// @file
/// @brief Record formats of a constant signal database, as read by the E2E library.
///
/// A signal database is two constant arrays: one SignalAdapter_SignalGroup per
/// signal group and one SignalAdapter_Signal per signal, grouped contiguously by
/// group. The E2E library reads them to set up the end-to-end check of a group
/// and to decode its payload, so the byte layout is an interface: it is fixed
/// below and guarded by static_asserts. These are C-compatible plain structures.
#ifndef ZOL_E2E_SIGNAL_DATABASE_H
#define ZOL_E2E_SIGNAL_DATABASE_H

#include <cstddef>
#include <cstdint>

/// Size of the name fields, a NUL-terminated name of up to 128 characters.
#define SIGNAL_DB_NAME_SIZE 129

/// E2E profile of a signal group.
enum SignalAdapter_E2eProfile : std::int32_t {
  SIGNAL_DB_E2E_PROFILE_TAV = 0,
  SIGNAL_DB_E2E_PROFILE_01 = 1,
  SIGNAL_DB_E2E_PROFILE_05 = 5,
};

/// How the data id enters the CRC (profile 1 only).
enum SignalAdapter_E2eDataIdMode : std::int32_t {
  SIGNAL_DB_E2E_DATA_ID_MODE_BOTH = 0,
  SIGNAL_DB_E2E_DATA_ID_MODE_ALT = 1,
  SIGNAL_DB_E2E_DATA_ID_MODE_LOW = 2,
  SIGNAL_DB_E2E_DATA_ID_MODE_NIBBLE = 3,
};

/// Kind of a decoded value; stored in 8 bits of SignalAdapter_Signal::value_type.
enum SignalAdapter_SignalValueType : std::uint8_t {
  SIGNAL_DB_SIGNAL_VALUE_TYPE_SIGNED_INTEGER = 0,
  SIGNAL_DB_SIGNAL_VALUE_TYPE_ENUMERATED = 1,
  SIGNAL_DB_SIGNAL_VALUE_TYPE_UNSIGNED_INTEGER = 2,
  SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT = 3,
  SIGNAL_DB_SIGNAL_VALUE_TYPE_BYTE_ARRAY = 4,
};

/// How the raw bits of a signal are read; stored in 8 bits of SignalAdapter_Signal::codec_type.
enum SignalAdapter_SignalCodecValueType : std::uint8_t {
  SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_NOT_AVAILABLE = 0,
  SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_SIGNED_INTEGER = 1,
  SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_UNSIGNED_INTEGER = 2,
  SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_FLOAT = 3,
  SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_BYTE_ARRAY = 4,
};

/// Bit set of SignalAdapter_Signal::flags.
enum SignalAdapter_SignalFlags : std::uint8_t {
  SIGNAL_DB_SIGNAL_FLAGS_NONE = 0x00,
  SIGNAL_DB_SIGNAL_FLAGS_SKIP_MIN_MAX_CALC = 0x01,
  SIGNAL_DB_SIGNAL_FLAGS_TYPE_IS_BOOLEAN = 0x02,
  SIGNAL_DB_SIGNAL_FLAGS_HAS_CODEC_INFO = 0x80,
};

/// Bit set of SignalAdapter_Signal::codec_flags.
enum SignalAdapter_SignalCodecFlags : std::uint8_t {
  SIGNAL_DB_SIGNAL_CODEC_FLAGS_NONE = 0x00,
  SIGNAL_DB_SIGNAL_CODEC_FLAGS_LITTLE_ENDIAN = 0x01,
  SIGNAL_DB_SIGNAL_CODEC_FLAGS_FACTOR_OFFSET_FLOAT = 0x02,
  SIGNAL_DB_SIGNAL_CODEC_FLAGS_SKIP_FACTOR_OFFSET_CALC = 0x04,
};

/// One 64-bit word seen four ways; which view applies depends on a type field
/// of the record that holds it.
union SignalAdapter_SignalValue {
  std::int64_t signed_int;
  std::uint64_t unsigned_int;
  double double_float;
  std::uint64_t byte_array;
};

/// Physical range of a signal, in the view its value_type selects.
struct SignalAdapter_SignalMinMax {
  SignalAdapter_SignalValue min;
  SignalAdapter_SignalValue max;
};

/// Scaling of a signal: physical = raw * scale_factor + offset.
struct SignalAdapter_SignalValueFactorOffset {
  SignalAdapter_SignalValue scale_factor;
  SignalAdapter_SignalValue offset;
};

/// Where a group's payload sits inside its frame.
struct SignalAdapter_FrameSignalGroupMapping {
  std::uint16_t index;               ///< 1-based number of the group within the frame packing
  std::uint16_t payload_bit_offset;  ///< bit position of the group's payload within the frame
};

/// One signal group: its signals, decoded-value storage and E2E parameters.
struct SignalAdapter_SignalGroup {
  std::uint8_t name[SIGNAL_DB_NAME_SIZE];
  std::uint16_t nbr_of_signals;
  std::uint32_t signal_start_index;
  SignalAdapter_FrameSignalGroupMapping packing_info;
  std::uint32_t signal_values_storage_total_size;
  SignalAdapter_E2eProfile profile_name;
  std::uint16_t data_id;
  std::uint16_t data_length;  ///< in bits
  std::uint16_t offset;       ///< E2E header offset in bits
  std::uint16_t counter_offset;
  SignalAdapter_E2eDataIdMode data_id_mode;
  std::uint16_t crc_offset;
  std::uint16_t data_nibble_offset;
  std::uint8_t max_delta_counter;
  std::uint8_t max_delta_counter_init;
  std::uint8_t max_no_new_or_repeated_data;
  std::uint8_t sync_counter_init;
};

/// One signal: where its raw bits lie, how they are scaled and limited, and
/// which 8-byte slot of the group's value storage receives the decoded value.
struct SignalAdapter_Signal {
  std::uint8_t name[SIGNAL_DB_NAME_SIZE];
  std::uint8_t flags;       ///< SignalAdapter_SignalFlags
  std::uint8_t value_type;  ///< SignalAdapter_SignalValueType
  std::uint16_t value_storage_start_index;
  std::uint16_t value_byte_length;
  SignalAdapter_SignalMinMax value_min_max;
  std::uint8_t codec_flags;  ///< SignalAdapter_SignalCodecFlags
  std::uint8_t codec_type;   ///< SignalAdapter_SignalCodecValueType
  SignalAdapter_SignalValueFactorOffset value_factor_offset;
  std::int16_t value_relative_bit_offset;
  std::uint16_t value_bit_length;
};

// The layout is read by a library built separately from the database: keep it
// byte for byte, padding included.
static_assert(sizeof(SignalAdapter_SignalValue) == 8, "SignalAdapter_SignalValue layout");
static_assert(sizeof(SignalAdapter_SignalMinMax) == 16, "SignalAdapter_SignalMinMax layout");
static_assert(sizeof(SignalAdapter_SignalValueFactorOffset) == 16, "SignalAdapter_SignalValueFactorOffset layout");
static_assert(sizeof(SignalAdapter_FrameSignalGroupMapping) == 4, "SignalAdapter_FrameSignalGroupMapping layout");
static_assert(offsetof(SignalAdapter_FrameSignalGroupMapping, payload_bit_offset) == 2, "packing_info layout");

static_assert(sizeof(SignalAdapter_SignalGroup) == 168, "SignalAdapter_SignalGroup layout");
static_assert(offsetof(SignalAdapter_SignalGroup, name) == 0, "SignalAdapter_SignalGroup::name");
static_assert(offsetof(SignalAdapter_SignalGroup, nbr_of_signals) == 130, "SignalAdapter_SignalGroup::nbr_of_signals");
static_assert(offsetof(SignalAdapter_SignalGroup, signal_start_index) == 132,
              "SignalAdapter_SignalGroup::signal_start_index");
static_assert(offsetof(SignalAdapter_SignalGroup, packing_info) == 136, "SignalAdapter_SignalGroup::packing_info");
static_assert(offsetof(SignalAdapter_SignalGroup, signal_values_storage_total_size) == 140,
              "SignalAdapter_SignalGroup::signal_values_storage_total_size");
static_assert(offsetof(SignalAdapter_SignalGroup, profile_name) == 144, "SignalAdapter_SignalGroup::profile_name");
static_assert(offsetof(SignalAdapter_SignalGroup, data_id) == 148, "SignalAdapter_SignalGroup::data_id");
static_assert(offsetof(SignalAdapter_SignalGroup, data_length) == 150, "SignalAdapter_SignalGroup::data_length");
static_assert(offsetof(SignalAdapter_SignalGroup, offset) == 152, "SignalAdapter_SignalGroup::offset");
static_assert(offsetof(SignalAdapter_SignalGroup, counter_offset) == 154, "SignalAdapter_SignalGroup::counter_offset");
static_assert(offsetof(SignalAdapter_SignalGroup, data_id_mode) == 156, "SignalAdapter_SignalGroup::data_id_mode");
static_assert(offsetof(SignalAdapter_SignalGroup, crc_offset) == 160, "SignalAdapter_SignalGroup::crc_offset");
static_assert(offsetof(SignalAdapter_SignalGroup, data_nibble_offset) == 162,
              "SignalAdapter_SignalGroup::data_nibble_offset");
static_assert(offsetof(SignalAdapter_SignalGroup, max_delta_counter) == 164,
              "SignalAdapter_SignalGroup::max_delta_counter");
static_assert(offsetof(SignalAdapter_SignalGroup, max_delta_counter_init) == 165,
              "SignalAdapter_SignalGroup::max_delta_counter_init");
static_assert(offsetof(SignalAdapter_SignalGroup, max_no_new_or_repeated_data) == 166,
              "SignalAdapter_SignalGroup::max_no_new_or_repeated_data");
static_assert(offsetof(SignalAdapter_SignalGroup, sync_counter_init) == 167,
              "SignalAdapter_SignalGroup::sync_counter_init");

static_assert(sizeof(SignalAdapter_Signal) == 184, "SignalAdapter_Signal layout");
static_assert(offsetof(SignalAdapter_Signal, name) == 0, "SignalAdapter_Signal::name");
static_assert(offsetof(SignalAdapter_Signal, flags) == 129, "SignalAdapter_Signal::flags");
static_assert(offsetof(SignalAdapter_Signal, value_type) == 130, "SignalAdapter_Signal::value_type");
static_assert(offsetof(SignalAdapter_Signal, value_storage_start_index) == 132,
              "SignalAdapter_Signal::value_storage_start_index");
static_assert(offsetof(SignalAdapter_Signal, value_byte_length) == 134, "SignalAdapter_Signal::value_byte_length");
static_assert(offsetof(SignalAdapter_Signal, value_min_max) == 136, "SignalAdapter_Signal::value_min_max");
static_assert(offsetof(SignalAdapter_Signal, codec_flags) == 152, "SignalAdapter_Signal::codec_flags");
static_assert(offsetof(SignalAdapter_Signal, codec_type) == 153, "SignalAdapter_Signal::codec_type");
static_assert(offsetof(SignalAdapter_Signal, value_factor_offset) == 160, "SignalAdapter_Signal::value_factor_offset");
static_assert(offsetof(SignalAdapter_Signal, value_relative_bit_offset) == 176,
              "SignalAdapter_Signal::value_relative_bit_offset");
static_assert(offsetof(SignalAdapter_Signal, value_bit_length) == 178, "SignalAdapter_Signal::value_bit_length");

#endif  // ZOL_E2E_SIGNAL_DATABASE_H
