/// @file
/// @brief Reading and writing signal values in a payload as a signal database describes them.
///
/// Decoding is the one code path that checking a signal group uses; encoding is its inverse, for producers of
/// payloads (tests, simulators).
#ifndef ZOL_E2E_SIGNAL_CODEC_H
#define ZOL_E2E_SIGNAL_CODEC_H

#include <cstddef>
#include <cstdint>

#include "zol/e2e/signal_database.h"

namespace zol {
namespace e2e {

/// @brief Reads a little-endian bit field: bit n of the payload is bit n % 8 of byte n / 8, and the field's
/// least significant bit is @p start_bit.
///
/// Bits beyond @p length bytes (or all bits, when @p data is null) read as zero; nothing outside the buffer is
/// touched. A @p bit_length of 0 gives 0; more than 64 is read as 64.
std::uint64_t ReadRawBits(const std::uint8_t* data, std::size_t length, std::uint32_t start_bit,
                          std::uint16_t bit_length);

/// @brief Writes the low @p bit_length bits of @p raw as a little-endian bit field (layout as ReadRawBits).
///
/// The other bits of the payload keep their values; bits that would land beyond @p length bytes are dropped.
void WriteRawBits(std::uint8_t* data, std::size_t length, std::uint32_t start_bit, std::uint16_t bit_length,
                  std::uint64_t raw);

/// @brief Decodes one signal of @p group from a payload, as checking a signal group does.
///
/// 1. The raw field: `value_bit_length` bits from bit `packing_info.payload_bit_offset + value_relative_bit_offset`
///    (bits before the payload's start or beyond its end read as zero). Every field is read least significant
///    bit first; the codec's little-endian flag is not consulted.
/// 2. `codec_type`: UNSIGNED_INTEGER (and NOT_AVAILABLE, BYTE_ARRAY) as is; SIGNED_INTEGER sign-extended from the
///    field width; FLOAT as an IEEE-754 single (32 bits) or double (64 bits), other widths as unsigned.
/// 3. Unless SKIP_FACTOR_OFFSET_CALC: raw * factor + offset, in double arithmetic with FACTOR_OFFSET_FLOAT, else
///    in 64-bit integer arithmetic (wrapping) in the raw value's signed or unsigned view.
/// 4. Conversion to the view `value_type` selects: double for FLOAT; signed for SIGNED_INTEGER; unsigned for
///    UNSIGNED_INTEGER, ENUMERATED and BYTE_ARRAY. Integer views convert by two's complement; a double converts
///    to an integer rounded to nearest and saturated (NaN gives 0).
/// 5. Unless SKIP_MIN_MAX_CALC (and never for BYTE_ARRAY): clamped to [value_min_max.min, value_min_max.max] in
///    that view.
/// @return the value in that view (`double_float`, `signed_int`, `unsigned_int` or `byte_array`)
SignalAdapter_SignalValue DecodeSignal(const SignalAdapter_SignalGroup& group, const SignalAdapter_Signal& signal,
                                       const std::uint8_t* data, std::size_t length);

/// @brief The raw field value that decodes to @p physical: round((physical - offset) / factor), saturated to the
/// field's range (unsigned or two's-complement signed in `value_bit_length` bits, masked to that width).
///
/// With SKIP_FACTOR_OFFSET_CALC the value is only rounded; integer factor and offset are taken in the raw value's
/// signed or unsigned view; a zero factor gives raw 0. A FLOAT codec field of 32 or 64 bits receives the IEEE-754
/// bits of the unscaled value. NaN gives raw 0.
std::uint64_t EncodePhysical(const SignalAdapter_Signal& signal, double physical);

/// @brief Writes @p raw into the field of @p signal in a payload (the placement DecodeSignal reads from).
///
/// Bits of the field before the payload's start or beyond its end are dropped.
void EncodeSignal(const SignalAdapter_SignalGroup& group, const SignalAdapter_Signal& signal, std::uint64_t raw,
                  std::uint8_t* data, std::size_t length);

}  // namespace e2e
}  // namespace zol

#endif  // ZOL_E2E_SIGNAL_CODEC_H
