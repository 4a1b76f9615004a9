#include "zol/e2e/decode_plan.h"

#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "zol/e2e/signal_codec.h"

namespace zol {
namespace e2e {
namespace {

constexpr unsigned int kMaxBits = 64U;

// The 64-bit little-endian word at p, on hosts of either byte order.
std::uint64_t LoadLittleEndian64(const std::uint8_t* p) noexcept {
#if defined(__BYTE_ORDER__) && defined(__ORDER_LITTLE_ENDIAN__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  std::uint64_t word = 0U;
  std::memcpy(&word, p, sizeof(word));
  return word;
#else
  std::uint64_t word = 0U;
  for (unsigned int i = 0U; i < 8U; ++i) {
    word |= static_cast<std::uint64_t>(p[i]) << (8U * i);
  }
  return word;
#endif
}

std::int64_t AsSigned(std::uint64_t bits) noexcept {
  std::int64_t value = 0;
  std::memcpy(&value, &bits, sizeof(value));
  return value;
}

}  // namespace

constexpr std::size_t DecodePlan::kMaxSignals;
constexpr std::size_t DecodePlan::kMaxPayloadBytes;

DecodePlan::Kind DecodePlan::Classify(const SignalAdapter_SignalGroup& group, const SignalAdapter_Signal& signal,
                                      std::size_t payload_length, Step& step) noexcept {
  // The field, as DecodeSignal finds it: the group's payload offset plus the signal's own, at most 64 bits.
  const std::int64_t start = static_cast<std::int64_t>(group.packing_info.payload_bit_offset) +
                             static_cast<std::int64_t>(signal.value_relative_bit_offset);
  const unsigned int width = signal.value_bit_length > kMaxBits ? kMaxBits : signal.value_bit_length;
  // One 64-bit load must hold the whole field and stay within the payload and the 8 zero bytes after it. Fields
  // starting before the payload or beyond it, and empty ones, are left to DecodeSignal.
  if (start < 0 || width == 0U || static_cast<std::uint64_t>(start) / 8U > payload_length ||
      static_cast<unsigned int>(start % 8) + width > kMaxBits) {
    return Kind::kRecord;
  }
  step.byte = static_cast<std::uint16_t>(start / 8);
  step.shift = static_cast<std::uint8_t>(start % 8);
  step.mask = ~std::uint64_t{0} >> (kMaxBits - width);
  step.sign = 0U;

  const bool scaled = (signal.codec_flags & SIGNAL_DB_SIGNAL_CODEC_FLAGS_SKIP_FACTOR_OFFSET_CALC) == 0U;
  const bool float_factor = (signal.codec_flags & SIGNAL_DB_SIGNAL_CODEC_FLAGS_FACTOR_OFFSET_FLOAT) != 0U;
  // A byte array is never limited; every other value is unless its record says so.
  const bool limited = (signal.flags & SIGNAL_DB_SIGNAL_FLAGS_SKIP_MIN_MAX_CALC) == 0U &&
                       signal.value_type != SIGNAL_DB_SIGNAL_VALUE_TYPE_BYTE_ARRAY;
  // DecodeSignal reads the raw bits as signed for the signed codec, as a float for the 32- and 64-bit float codec,
  // and as unsigned otherwise.
  const bool signed_raw = signal.codec_type == SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_SIGNED_INTEGER;
  const bool float_raw = signal.codec_type == SIGNAL_DB_SIGNAL_CODEC_VALUE_TYPE_FLOAT && (width == 32U || width == 64U);

  if (signal.value_type == SIGNAL_DB_SIGNAL_VALUE_TYPE_FLOAT && scaled && float_factor && !float_raw) {
    // raw * factor + offset in double, from the raw bits as a signed number: exact for signed fields (sign-extended
    // below 64 bits, as DecodeSignal does) and for unsigned fields below 64 bits, whose values are all below 2^63.
    if (!signed_raw && width == kMaxBits) {
      return Kind::kRecord;
    }
    if (signed_raw && width < kMaxBits) {
      step.sign = std::uint64_t{1} << (width - 1U);
    }
    const Kind kind = signed_raw ? Kind::kSignedDouble : Kind::kDouble;
    step.scale = signal.value_factor_offset.scale_factor;
    step.offset = signal.value_factor_offset.offset;
    step.min.double_float = limited ? signal.value_min_max.min.double_float : -std::numeric_limits<double>::infinity();
    step.max.double_float = limited ? signal.value_min_max.max.double_float : std::numeric_limits<double>::infinity();
    // DecodeSignal tests the lower limit first; with reversed or missing limits the order would matter, so such a
    // signal keeps DecodeSignal.
    if (!(step.min.double_float <= step.max.double_float)) {
      return Kind::kRecord;
    }
    return kind;
  }

  const bool unsigned_value = signal.value_type == SIGNAL_DB_SIGNAL_VALUE_TYPE_UNSIGNED_INTEGER ||
                              signal.value_type == SIGNAL_DB_SIGNAL_VALUE_TYPE_ENUMERATED;
  if (unsigned_value && !signed_raw && !float_raw && !(scaled && float_factor)) {
    // Unsigned raw bits stay unsigned: unscaled (factor 1, offset 0), or scaled by integers with wrap-around.
    step.scale.unsigned_int = scaled ? signal.value_factor_offset.scale_factor.unsigned_int : 1U;
    step.offset.unsigned_int = scaled ? signal.value_factor_offset.offset.unsigned_int : 0U;
    step.min.unsigned_int = limited ? signal.value_min_max.min.unsigned_int : 0U;
    step.max.unsigned_int = limited ? signal.value_min_max.max.unsigned_int : ~std::uint64_t{0};
    if (step.min.unsigned_int > step.max.unsigned_int) {
      return Kind::kRecord;
    }
    return Kind::kUnsigned;
  }
  return Kind::kRecord;
}

void DecodePlan::Build(const SignalGroupContext& context, std::size_t payload_length) noexcept {
  *this = DecodePlan();
  const SignalAdapter_SignalGroup* group = context.signal_group_;
  if (group == nullptr || context.signals_ == nullptr || group->nbr_of_signals > kMaxSignals ||
      payload_length > kMaxPayloadBytes) {
    return;
  }
  const std::size_t count = group->nbr_of_signals;
  Step steps[kMaxSignals]{};
  Kind kinds[kMaxSignals]{};
  bool slot_taken[kMaxSignals] = {};
  for (std::size_t i = 0U; i < count; ++i) {
    const SignalAdapter_Signal& signal = context.signals_[i];
    Step& step = steps[i];
    step.slot = signal.value_storage_start_index;
    // Two signals writing one slot: the last one wins, an order the grouping by kind would not keep. A slot
    // beyond the plan's reach is equally unusual; both leave the group to DecodeSignal.
    if (step.slot >= kMaxSignals || slot_taken[step.slot]) {
      return;
    }
    slot_taken[step.slot] = true;
    kinds[i] = Classify(*group, signal, payload_length, step);
    if (kinds[i] == Kind::kRecord) {
      step.byte = static_cast<std::uint16_t>(i);
    }
    if (static_cast<std::size_t>(step.slot) + 1U > slots_needed_) {
      slots_needed_ = static_cast<std::size_t>(step.slot) + 1U;
    }
  }
  // Grouped by kind, each kind in signal order, so that Decode runs one tight loop per kind.
  std::size_t next = 0U;
  const auto take = [&](Kind kind) {
    const std::size_t first = next;
    for (std::size_t i = 0U; i < count; ++i) {
      if (kinds[i] == kind) {
        steps_[next++] = steps[i];
      }
    }
    return next - first;
  };
  double_count_ = take(Kind::kDouble);
  signed_double_count_ = take(Kind::kSignedDouble);
  unsigned_count_ = take(Kind::kUnsigned);
  record_count_ = take(Kind::kRecord);
  group_ = group;
  signals_ = context.signals_;
  payload_length_ = payload_length;
}

void DecodePlan::Decode(const std::uint8_t* payload, SignalAdapter_SignalValue* slots,
                        std::size_t slot_count) const noexcept {
  if (slots_needed_ > slot_count) {
    // Some signal's slot is missing: DecodeSignal signal by signal, skipping those slots, as without a plan.
    for (std::size_t i = 0U; i < group_->nbr_of_signals; ++i) {
      const SignalAdapter_Signal& signal = signals_[i];
      if (signal.value_storage_start_index < slot_count) {
        slots[signal.value_storage_start_index] = DecodeSignal(*group_, signal, payload, payload_length_);
      }
    }
    return;
  }
  // The payload with 8 zero bytes after it: every field is then one unaligned 64-bit load, and bits beyond the
  // payload read as zero, as DecodeSignal reads them.
  // Only the payload and the 8 bytes after it are written and read; zeroing the whole buffer would be wasted work.
  std::array<std::uint8_t, kMaxPayloadBytes + 8U> padded_payload;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  std::uint8_t* const padded = padded_payload.data();
  if (payload_length_ > 0U) {
    std::memcpy(padded, payload, payload_length_);
  }
  std::memset(padded + payload_length_, 0, 8U);

  const Step* step = &steps_[0];
  for (const Step* const end = step + double_count_; step != end; ++step) {
    const std::uint64_t raw = (LoadLittleEndian64(padded + step->byte) >> step->shift) & step->mask;
    // Below 2^63, so converting it as a signed number gives the same double, with a cheaper conversion.
    double physical = static_cast<double>(AsSigned(raw)) * step->scale.double_float + step->offset.double_float;
    // DecodeSignal's limit: below the minimum gives the minimum, else above the maximum the maximum; a NaN stays.
    physical = physical < step->min.double_float ? step->min.double_float : physical;
    physical = physical > step->max.double_float ? step->max.double_float : physical;
    slots[step->slot].double_float = physical;
  }
  for (const Step* const end = step + signed_double_count_; step != end; ++step) {
    const std::uint64_t raw = (LoadLittleEndian64(padded + step->byte) >> step->shift) & step->mask;
    // Sign extension by the field's sign bit, as DecodeSignal extends it.
    const std::int64_t value = AsSigned((raw ^ step->sign) - step->sign);
    double physical = static_cast<double>(value) * step->scale.double_float + step->offset.double_float;
    physical = physical < step->min.double_float ? step->min.double_float : physical;
    physical = physical > step->max.double_float ? step->max.double_float : physical;
    slots[step->slot].double_float = physical;
  }
  for (const Step* const end = step + unsigned_count_; step != end; ++step) {
    std::uint64_t raw = (LoadLittleEndian64(padded + step->byte) >> step->shift) & step->mask;
    raw = raw * step->scale.unsigned_int + step->offset.unsigned_int;
    raw = raw < step->min.unsigned_int ? step->min.unsigned_int : raw;
    raw = raw > step->max.unsigned_int ? step->max.unsigned_int : raw;
    slots[step->slot].unsigned_int = raw;
  }
  for (const Step* const end = step + record_count_; step != end; ++step) {
    slots[step->slot] = DecodeSignal(*group_, signals_[step->byte], payload, payload_length_);
  }
}

}  // namespace e2e
}  // namespace zol
