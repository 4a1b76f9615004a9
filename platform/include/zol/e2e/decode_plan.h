/// @file
/// @brief The decoding of one signal group, worked out once from its database records.
///
/// DecodeSignal interprets a signal's database record every time it decodes it: where the field starts, how wide
/// it is, which view the raw bits take, whether and how they are scaled, converted and limited. For a group that is
/// read many times per second those answers never change, so a profile 5 protection works them out once, when it
/// is created, and CheckSignalGroup then only executes them. Signals whose record takes a path the plan does not
/// cover are decoded by DecodeSignal itself, so that the values are always exactly DecodeSignal's.
///
/// Internal to the E2E library: E2eProtectionProfile5 holds a plan, CheckSignalGroup uses it.
#ifndef ZOL_E2E_DECODE_PLAN_H
#define ZOL_E2E_DECODE_PLAN_H

#include <cstddef>
#include <cstdint>

#include "zol/e2e/signal_database.h"
#include "zol/e2e/signal_group_context.h"
#include "zol/nodiscard.h"

namespace zol {
namespace e2e {

/// @brief Per signal of a group: what decoding it means, without the record.
///
/// Kept inside the protection, with a fixed capacity, so that creating a protection allocates nothing more than
/// it always did.
class DecodePlan {
 public:
  /// Signals a plan holds; a group with more is decoded signal by signal with DecodeSignal.
  static constexpr std::size_t kMaxSignals = 64U;
  /// Payload bytes a plan decodes from; a longer payload is decoded with DecodeSignal.
  static constexpr std::size_t kMaxPayloadBytes = 248U;

  /// @brief An empty plan: it matches no group, so everything goes through DecodeSignal.
  DecodePlan() noexcept = default;

  /// @brief Works out the plan of the group of @p context for a payload of @p payload_length bytes.
  ///
  /// Leaves the plan empty for a context without group or signal records, a group of more than kMaxSignals
  /// signals or a payload longer than kMaxPayloadBytes. The records must stay as they are while the plan is used,
  /// as the constant records of a signal database do.
  void Build(const SignalGroupContext& context, std::size_t payload_length) noexcept;

  /// @brief Whether the plan was made for exactly these records and this payload length.
  ZOL_NODISCARD bool Matches(const SignalGroupContext& context, std::size_t payload_length) const noexcept {
    return group_ != nullptr && context.signal_group_ == group_ && context.signals_ == signals_ &&
           payload_length == payload_length_;
  }

  /// @brief Whether decoding writes every one of @p slot_count slots: the signals' slots (each written by one
  /// signal only) are exactly 0 .. @p slot_count - 1.
  ZOL_NODISCARD bool WritesEverySlot(std::size_t slot_count) const noexcept {
    return group_ != nullptr && slots_needed_ == slot_count &&
           double_count_ + signed_double_count_ + unsigned_count_ + record_count_ == slot_count;
  }

  /// @brief Decodes the group's signals from @p payload (payload_length bytes, as matched) into @p slots.
  ///
  /// Writes signal i's value into slot `value_storage_start_index` of signal i, skipping a slot that is
  /// @p slot_count or beyond; each value is the one DecodeSignal gives.
  void Decode(const std::uint8_t* payload, SignalAdapter_SignalValue* slots, std::size_t slot_count) const noexcept;

 private:
  /// One signal that the plan decodes itself. Its field is `(64-bit little-endian word at payload byte `byte`)
  /// >> shift`, masked with `mask`; the payload is read with 8 zero bytes after its end, which is what bits beyond
  /// the payload read as. A limit that the record switches off is the whole range of the value's view, which
  /// changes no value.
  struct Step {
    SignalAdapter_SignalValue scale;   ///< factor, in the view the step computes in
    SignalAdapter_SignalValue offset;  ///< offset, in the view the step computes in
    SignalAdapter_SignalValue min;     ///< lower limit, in the view of the value
    SignalAdapter_SignalValue max;     ///< upper limit, in the view of the value
    std::uint64_t mask;                ///< the field's width in low bits
    std::uint64_t sign;                ///< signed double steps: the field's sign bit (0 for a 64-bit field)
    std::uint16_t slot;                ///< value slot
    std::uint16_t byte;                ///< first payload byte of the field; the signal's index for a record step
    std::uint8_t shift;                ///< bit of that byte that is the field's least significant bit
  };

  /// What DecodeSignal makes of a signal's record, if the plan can do it itself.
  enum class Kind : std::uint8_t {
    kDouble,        ///< unsigned raw bits as double, times factor plus offset, limited; double value
    kSignedDouble,  ///< as kDouble from signed (sign-extended) raw bits
    kUnsigned,      ///< unsigned raw bits, times factor plus offset with wrap-around, limited; unsigned value
    kRecord,        ///< anything else: DecodeSignal with the signal's record
  };

  static Kind Classify(const SignalAdapter_SignalGroup& group, const SignalAdapter_Signal& signal,
                       std::size_t payload_length, Step& step) noexcept;

  const SignalAdapter_SignalGroup* group_{nullptr};
  const SignalAdapter_Signal* signals_{nullptr};
  std::size_t payload_length_{0U};
  /// Largest slot a signal writes, plus one: with fewer slots the plan leaves the group to DecodeSignal.
  std::size_t slots_needed_{0U};
  /// The steps grouped by kind, each kind in signal order: double, signed double, unsigned and record steps.
  /// Every slot is written by one signal only (the plan is not used otherwise), so the order of the kinds changes
  /// nothing.
  std::size_t double_count_{0U};
  std::size_t signed_double_count_{0U};
  std::size_t unsigned_count_{0U};
  std::size_t record_count_{0U};
  Step steps_[kMaxSignals]{};
};

}  // namespace e2e
}  // namespace zol

#endif  // ZOL_E2E_DECODE_PLAN_H
