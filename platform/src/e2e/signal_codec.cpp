#include "zol/e2e/signal_codec.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace zol {
namespace e2e {
namespace {

constexpr std::uint16_t kMaxBits = 64U;

enum class View { kUnsigned, kSigned, kDouble };

// A value between decoding steps: which view is current, and the value in it. Integers are kept as their 64-bit
// pattern so that signed arithmetic can wrap without undefined behaviour.
struct Number {
  View view;
  std::uint64_t bits;
  double real;
};

std::uint64_t LowMask(unsigned int width) {
  return width >= 64U ? std::numeric_limits<std::uint64_t>::max() : ((std::uint64_t{1} << width) - 1U);
}

std::int64_t AsSigned(std::uint64_t bits) {
  std::int64_t value = 0;
  std::memcpy(&value, &bits, sizeof(value));
  return value;
}

std::uint64_t AsBits(std::int64_t value) {
  std::uint64_t bits = 0U;
  std::memcpy(&bits, &value, sizeof(bits));
  return bits;
}

// Converting an out-of-range double to an integer is undefined; saturate instead, after rounding to nearest so
// that a scaled value such as 2.9999999999 (binary factors are inexact) lands on 3.
std::uint64_t RoundToUnsigned(double value, unsigned int width) {
  const double rounded = std::round(value);
  if (!(rounded > 0.0)) {  // also NaN
    return 0U;
  }
  if (rounded >= std::ldexp(1.0, static_cast<int>(width))) {
    return LowMask(width);
  }
  return static_cast<std::uint64_t>(rounded);
}

std::int64_t RoundToSigned(double value, unsigned int width) {
  const double rounded = std::round(value);
  if (std::isnan(rounded)) {
    return 0;
  }
  const double half = std::ldexp(1.0, static_cast<int>(width) - 1);
  const std::uint64_t max_bits = LowMask(width - 1U);
  if (rounded >= half) {
    return static_cast<std::int64_t>(max_bits);
  }
  if (rounded < -half) {
    return -static_cast<std::int64_t>(max_bits) - 1;
  }
  return static_cast<std::int64_t>(rounded);
}

double ToDouble(const Number& number) {
  switch (number.view) {
    case View::kUnsigned:
      return static_cast<double>(number.bits);
    case View::kSigned:
      return static_cast<double>(AsSigned(number.bits));
    case View::kDouble:
      return number.real;
  }
  return number.real;
}

Number ConvertTo(const Number& number, View target) {
  if (number.view == target) {
    return number;
  }
  switch (target) {
    case View::kDouble:
      return Number{View::kDouble, 0U, ToDouble(number)};
    case View::kUnsigned:
      return Number{View::kUnsigned,
                    number.view == View::kDouble ? RoundToUnsigned(number.real, kMaxBits) : number.bits, 0.0};
    case View::kSigned:
      return Number{View::kSigned,
                    number.view == View::kDouble ? AsBits(RoundToSigned(number.real, kMaxBits)) : number.bits, 0.0};
  }
  return number;
}

// Start of a signal's field relative to the payload; may be negative for a malformed record.
std::int64_t FieldStart(const SignalAdapter_SignalGroup& group, const SignalAdapter_Signal& signal) {
  return static_cast<std::int64_t>(group.packing_info.payload_bit_offset) +
         static_cast<std::int64_t>(signal.value_relative_bit_offset);
}

std::uint16_t FieldWidth(const SignalAdapter_Signal& signal) {
  return signal.value_bit_length > kMaxBits ? kMaxBits : signal.value_bit_length;
}

std::uint64_t ReadField(const std::uint8_t* data, std::size_t length, std::int64_t start, std::uint16_t width) {
  if (start >= 0) {
    return ReadRawBits(data, length, static_cast<std::uint32_t>(start), width);
  }
  // Bits before the payload do not exist: they read as zero like bits beyond its end.
  const auto missing = static_cast<std::uint64_t>(-start);
  if (missing >= width) {
    return 0U;
  }
  return ReadRawBits(data, length, 0U, static_cast<std::uint16_t>(width - missing)) << missing;
}

Number ReadRaw(const SignalAdapter_Signal& signal, std::uint64_t raw, std::uint16_t width) {
  switch (signal.codec_type) {
    case SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_SIGNED_INTEGER:
      if (width > 0U && width < kMaxBits && ((raw >> (width - 1U)) & 1U) != 0U) {
        raw |= ~LowMask(width);
      }
      return Number{View::kSigned, raw, 0.0};
    case SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_FLOAT:
      if (width == 32U) {
        const auto narrow = static_cast<std::uint32_t>(raw);
        float value = 0.0F;
        std::memcpy(&value, &narrow, sizeof(value));
        return Number{View::kDouble, 0U, static_cast<double>(value)};
      }
      if (width == 64U) {
        double value = 0.0;
        std::memcpy(&value, &raw, sizeof(value));
        return Number{View::kDouble, 0U, value};
      }
      return Number{View::kUnsigned, raw, 0.0};
    default:
      return Number{View::kUnsigned, raw, 0.0};
  }
}

Number Scale(const SignalAdapter_Signal& signal, const Number& value) {
  const SignalAdapter_SignalValueFactorOffset& scaling = signal.value_factor_offset;
  if ((signal.codec_flags & SIGNAL_DB_SIGNAL_CODEC_FLAGS_FACTOR_OFFSET_FLOAT) != 0U) {
    return Number{View::kDouble, 0U, ToDouble(value) * scaling.scale_factor.double_float + scaling.offset.double_float};
  }
  if (value.view == View::kDouble) {
    return Number{View::kDouble, 0U,
                  value.real * static_cast<double>(scaling.scale_factor.signed_int) +
                      static_cast<double>(scaling.offset.signed_int)};
  }
  // Unsigned 64-bit arithmetic wraps, and gives the same bit pattern as two's-complement signed arithmetic.
  return Number{value.view, value.bits * scaling.scale_factor.unsigned_int + scaling.offset.unsigned_int, 0.0};
}

View TargetView(std::uint8_t value_type) {
  switch (value_type) {
    case SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT:
      return View::kDouble;
    case SIGNAL_DB_SIGNAL_VALUE_TYPE_SIGNED_INTEGER:
      return View::kSigned;
    default:
      return View::kUnsigned;
  }
}

Number Limit(const SignalAdapter_Signal& signal, const Number& value) {
  const SignalAdapter_SignalMinMax& range = signal.value_min_max;
  Number limited = value;
  switch (value.view) {
    case View::kDouble:
      if (value.real < range.min.double_float) {
        limited.real = range.min.double_float;
      } else if (value.real > range.max.double_float) {
        limited.real = range.max.double_float;
      }
      break;
    case View::kSigned:
      if (AsSigned(value.bits) < range.min.signed_int) {
        limited.bits = AsBits(range.min.signed_int);
      } else if (AsSigned(value.bits) > range.max.signed_int) {
        limited.bits = AsBits(range.max.signed_int);
      }
      break;
    case View::kUnsigned:
      if (value.bits < range.min.unsigned_int) {
        limited.bits = range.min.unsigned_int;
      } else if (value.bits > range.max.unsigned_int) {
        limited.bits = range.max.unsigned_int;
      }
      break;
  }
  return limited;
}

}  // namespace

std::uint64_t ReadRawBits(const std::uint8_t* data, std::size_t length, std::uint32_t start_bit,
                          std::uint16_t bit_length) {
  const unsigned int width = bit_length > kMaxBits ? kMaxBits : bit_length;
  if (data == nullptr) {
    return 0U;
  }
  std::uint64_t raw = 0U;
  std::uint64_t position = start_bit;
  unsigned int done = 0U;
  while (done < width) {
    const std::uint64_t byte = position / 8U;
    if (byte >= length) {
      break;  // every further bit lies beyond the buffer too and reads as zero
    }
    const auto shift = static_cast<unsigned int>(position % 8U);
    const unsigned int take = (8U - shift) < (width - done) ? (8U - shift) : (width - done);
    const std::uint64_t bits = (static_cast<std::uint64_t>(data[byte]) >> shift) & LowMask(take);
    raw |= bits << done;
    done += take;
    position += take;
  }
  return raw;
}

void WriteRawBits(std::uint8_t* data, std::size_t length, std::uint32_t start_bit, std::uint16_t bit_length,
                  std::uint64_t raw) {
  const unsigned int width = bit_length > kMaxBits ? kMaxBits : bit_length;
  if (data == nullptr) {
    return;
  }
  std::uint64_t position = start_bit;
  unsigned int done = 0U;
  while (done < width) {
    const std::uint64_t byte = position / 8U;
    if (byte >= length) {
      break;
    }
    const auto shift = static_cast<unsigned int>(position % 8U);
    const unsigned int take = (8U - shift) < (width - done) ? (8U - shift) : (width - done);
    const unsigned int mask = static_cast<unsigned int>(LowMask(take)) << shift;
    const unsigned int bits = static_cast<unsigned int>((raw >> done) & LowMask(take)) << shift;
    data[byte] = static_cast<std::uint8_t>((data[byte] & ~mask) | bits);
    done += take;
    position += take;
  }
}

SignalAdapter_SignalValue DecodeSignal(const SignalAdapter_SignalGroup& group, const SignalAdapter_Signal& signal,
                                       const std::uint8_t* data, std::size_t length) {
  const std::uint16_t width = FieldWidth(signal);
  Number value = ReadRaw(signal, ReadField(data, length, FieldStart(group, signal), width), width);
  if ((signal.codec_flags & SIGNAL_DB_SIGNAL_CODEC_FLAGS_SKIP_FACTOR_OFFSET_CALC) == 0U) {
    value = Scale(signal, value);
  }
  value = ConvertTo(value, TargetView(signal.value_type));
  // A byte array has no order, so a range means nothing for it.
  if ((signal.flags & SIGNAL_DB_SIGNAL_FLAGS_SKIP_MIN_MAX_CALC) == 0U &&
      signal.value_type != SIGNAL_DB_SIGNAL_VALUE_TYPE_BYTE_ARRAY) {
    value = Limit(signal, value);
  }

  SignalAdapter_SignalValue result{};
  switch (signal.value_type) {
    case SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT:
      result.double_float = value.real;
      break;
    case SIGNAL_DB_SIGNAL_VALUE_TYPE_SIGNED_INTEGER:
      result.signed_int = AsSigned(value.bits);
      break;
    case SIGNAL_DB_SIGNAL_VALUE_TYPE_BYTE_ARRAY:
      result.byte_array = value.bits;
      break;
    default:
      result.unsigned_int = value.bits;
      break;
  }
  return result;
}

std::uint64_t EncodePhysical(const SignalAdapter_Signal& signal, double physical) {
  const std::uint16_t width = FieldWidth(signal);
  if (width == 0U || std::isnan(physical)) {
    return 0U;
  }
  const bool is_signed = signal.codec_type == SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_SIGNED_INTEGER;
  double value = physical;
  if ((signal.codec_flags & SIGNAL_DB_SIGNAL_CODEC_FLAGS_SKIP_FACTOR_OFFSET_CALC) == 0U) {
    const SignalAdapter_SignalValueFactorOffset& scaling = signal.value_factor_offset;
    double factor = 0.0;
    double offset = 0.0;
    if ((signal.codec_flags & SIGNAL_DB_SIGNAL_CODEC_FLAGS_FACTOR_OFFSET_FLOAT) != 0U) {
      factor = scaling.scale_factor.double_float;
      offset = scaling.offset.double_float;
    } else if (is_signed || signal.codec_type == SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_FLOAT) {
      factor = static_cast<double>(scaling.scale_factor.signed_int);
      offset = static_cast<double>(scaling.offset.signed_int);
    } else {
      factor = static_cast<double>(scaling.scale_factor.unsigned_int);
      offset = static_cast<double>(scaling.offset.unsigned_int);
    }
    if (factor == 0.0) {
      return 0U;  // every raw value decodes to the offset; 0 is as good as any
    }
    value = (value - offset) / factor;
  }
  if (signal.codec_type == SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_FLOAT && (width == 32U || width == 64U)) {
    if (width == 32U) {
      const auto narrow = static_cast<float>(value);
      std::uint32_t bits = 0U;
      std::memcpy(&bits, &narrow, sizeof(bits));
      return bits;
    }
    std::uint64_t bits = 0U;
    std::memcpy(&bits, &value, sizeof(bits));
    return bits;
  }
  if (is_signed) {
    return AsBits(RoundToSigned(value, width)) & LowMask(width);
  }
  return RoundToUnsigned(value, width);
}

void EncodeSignal(const SignalAdapter_SignalGroup& group, const SignalAdapter_Signal& signal, std::uint64_t raw,
                  std::uint8_t* data, std::size_t length) {
  const std::uint16_t width = FieldWidth(signal);
  const std::int64_t start = FieldStart(group, signal);
  if (start >= 0) {
    WriteRawBits(data, length, static_cast<std::uint32_t>(start), width, raw);
    return;
  }
  const auto missing = static_cast<std::uint64_t>(-start);
  if (missing >= width) {
    return;
  }
  WriteRawBits(data, length, 0U, static_cast<std::uint16_t>(width - missing), raw >> missing);
}

}  // namespace e2e
}  // namespace zol
