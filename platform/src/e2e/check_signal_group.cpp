#include "zol/e2e/check_signal_group.h"

#include <cstring>
#include <typeinfo>

#include "zol/e2e/signal_codec.h"

namespace zol {
namespace e2e {
namespace {

using zol::afw::core::ErrorCode;
using zol::afw::core::SignalPropertyStatusCode;

std::uint64_t MapProfile5Status(E2E_P05CheckStatusType status, bool payload_accepted) {
  switch (status) {
    case E2E_P05STATUS_OK:
      // The expected next frame: data is fresh and authentic.
    case E2E_P05STATUS_OKSOMELOST:
      // Frames were lost within the tolerated gap; the frame itself is fresh and authentic, so it is usable.
      return PackCheckResult(ErrorCode::kSuccess, SignalPropertyStatusCode::kE2eOk);
    case E2E_P05STATUS_NONEWDATA:
      if (payload_accepted) {
        // Nothing arrived since the last read and what is held passed its check: not a fault, the reader keeps
        // working with what it had.
        return PackCheckResult(ErrorCode::kSuccess, SignalPropertyStatusCode::kE2eNoNewData);
      }
      // Nothing arrived, and what is held either failed its check or was never checked (nothing has arrived
      // since start). Answering success here would hand rejected bytes out as data as soon as the reader cycles
      // faster than the sender, so the read fails until a payload passes.
      return PackCheckResult(ErrorCode::kNotAvailable, SignalPropertyStatusCode::kE2eNoNewData);
    case E2E_P05STATUS_ERROR:
      // CRC or length wrong: the bytes are corrupted or belong to another group; must not be used.
      return PackCheckResult(ErrorCode::kFailure, SignalPropertyStatusCode::kE2eWrongCRC);
    case E2E_P05STATUS_REPEATED:
      // The sender did not advance its counter: stale data presented as new (sender stuck or replay).
      return PackCheckResult(ErrorCode::kFailure, SignalPropertyStatusCode::kE2eRepeated);
    case E2E_P05STATUS_WRONGSEQUENCE:
      // More frames lost than tolerated: continuity is broken and the data cannot be relied on.
      return PackCheckResult(ErrorCode::kFailure, SignalPropertyStatusCode::kE2eWrongSequence);
  }
  // Not reachable with a real check result; an unknown status is treated as corruption.
  return PackCheckResult(ErrorCode::kFailure, SignalPropertyStatusCode::kE2eWrongCRC);
}

void DecodeAll(const SignalGroupContext& context, SignalStorageBuffer& values, const E2eProtection& protection,
               const E2eProtectionProfile5* profile5) {
  // The plan its protection worked out for exactly these records gives the same values without interpreting every
  // record again; any other context is decoded record by record.
  if (profile5 != nullptr && profile5->decode_plan().Matches(context, protection.payload_buffer_length())) {
    const std::size_t slot_count = values.elements < values.data.size() ? values.elements : values.data.size();
    profile5->decode_plan().Decode(protection.payload_buffer(), values.data.data(), slot_count);
    return;
  }
  const SignalAdapter_SignalGroup& group = *context.signal_group_;
  for (std::uint16_t i = 0U; i < group.nbr_of_signals; ++i) {
    const SignalAdapter_Signal& signal = context.signals_[i];
    const std::size_t slot = signal.value_storage_start_index;
    if (slot >= values.elements || slot >= values.data.size()) {
      continue;  // a slot the caller did not provide for; writing it would corrupt memory or reallocate
    }
    values.data[slot] = DecodeSignal(group, signal, protection.payload_buffer(), protection.payload_buffer_length());
  }
}

}  // namespace

std::uint64_t CheckSignalGroup(const SignalGroupContext& context, SignalStorageBuffer& values, bool updated,
                               E2eProtection& protection) {
  // The profile field alone is not enough: only the profile 5 class carries the state the check needs. The class
  // is final, so comparing the dynamic type answers what a dynamic_cast would, without its search of the class
  // hierarchy on every read.
  E2eProtectionProfile5* profile5 = nullptr;
  if (typeid(protection) == typeid(E2eProtectionProfile5)) {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-static-cast-downcast): the dynamic type was compared just above
    profile5 = static_cast<E2eProtectionProfile5*>(&protection);
  }

  if (values.data.size() < values.elements) {
    // Within the caller's reservation this does not reallocate. The new slots come uninitialised; every one must
    // be readable, even the ones no signal writes, so they are zeroed unless the plan decodes into all of them.
    const std::size_t old_size = values.data.size();
    values.data.resize(values.elements);
    const bool all_decoded = profile5 != nullptr &&
                             profile5->decode_plan().Matches(context, protection.payload_buffer_length()) &&
                             profile5->decode_plan().WritesEverySlot(values.elements);
    if (!all_decoded) {
      std::memset(static_cast<void*>(values.data.data() + old_size), 0,
                  (values.elements - old_size) * sizeof(SignalAdapter_SignalValue));
    }
  }

  const SignalAdapter_SignalGroup* group = context.signal_group_;
  if (group == nullptr || (context.signals_ == nullptr && group->nbr_of_signals > 0U)) {
    return PackCheckResult(ErrorCode::kBadArgument, SignalPropertyStatusCode::kNotAvailable);
  }

  std::uint64_t result = PackCheckResult(ErrorCode::kNotSupported, SignalPropertyStatusCode::kNotAvailable);
  if (protection.profile() == SIGNAL_DB_E2E_PROFILE_05 && profile5 != nullptr) {
    const E2E_P05CheckStatusType status =
        profile5->Check(updated, protection.payload_buffer(), protection.payload_buffer_length());
    result = MapProfile5Status(status, profile5->payload_accepted());
  }

  DecodeAll(context, values, protection, profile5);
  return result;
}

}  // namespace e2e
}  // namespace zol
