/// @file
/// @brief The E2E check and decoding of one received signal group.
#ifndef ZOL_E2E_CHECK_SIGNAL_GROUP_H
#define ZOL_E2E_CHECK_SIGNAL_GROUP_H

#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "zol/afw/core/error_code.h"
#include "zol/afw/core/signal_property_status.h"
#include "zol/e2e/e2e_protection.h"
#include "zol/e2e/signal_database.h"
#include "zol/e2e/signal_group_context.h"
#include "zol/nodiscard.h"
#include "zol/pmr/polymorphic_allocator.h"

namespace zol {
namespace e2e {

/// @brief The allocator of decoded value slots: polymorphic_allocator (the resource current at construction, the
/// default one unless given), except that a slot made by growing the vector is left as it is rather than zeroed.
///
/// CheckSignalGroup fills every slot it grows, with the decoded value or zero where no signal decodes into it; a
/// typed read grows its buffer once per read, and zeroing what decoding overwrites at once was wasted work.
template <typename T>
class SignalValueAllocator : public zol::pmr::polymorphic_allocator<T> {
  using Base = zol::pmr::polymorphic_allocator<T>;

 public:
  // The allocator requirements spell it so.
  template <typename U>
  struct rebind {  // NOLINT(readability-identifier-naming)
    using other = SignalValueAllocator<U>;
  };

  SignalValueAllocator() noexcept = default;
  SignalValueAllocator(zol::pmr::memory_resource* resource) noexcept  // NOLINT: implicit like polymorphic_allocator
      : Base(resource) {}
  template <typename U>
  SignalValueAllocator(const SignalValueAllocator<U>& other) noexcept  // NOLINT: implicit for rebinding
      : Base(other.resource()) {}

  /// Default-initialises: for the plain slot type that leaves the bytes as they are.
  template <typename U>
  void construct(U* p) noexcept(std::is_nothrow_default_constructible<U>::value) {
    ::new (static_cast<void*>(p)) U;
  }
  /// Any other construction as polymorphic_allocator does it.
  template <typename U, typename A, typename... More>
  void construct(U* p, A&& first, More&&... more) {
    Base::construct(p, std::forward<A>(first), std::forward<More>(more)...);
  }

  ZOL_NODISCARD SignalValueAllocator select_on_container_copy_construction() const noexcept {
    return SignalValueAllocator();
  }
};

/// @brief Decoded values of one signal group, one 8-byte slot per `value_storage_start_index`.
struct SignalStorageBuffer {
  /// Number of slots the group needs (its `signal_values_storage_total_size` / 8).
  std::size_t elements{0U};
  /// The slots, from the default memory resource. Reserve `elements` before a check: the check then fills the
  /// slots without reallocating.
  std::vector<SignalAdapter_SignalValue, SignalValueAllocator<SignalAdapter_SignalValue>> data;
};

/// @brief Packs a check result: @p error in the low 32 bits, @p status in the high 32 bits.
constexpr std::uint64_t PackCheckResult(zol::afw::core::ErrorCode error,
                                        zol::afw::core::SignalPropertyStatusCode status) {
  return (static_cast<std::uint64_t>(static_cast<std::uint32_t>(status)) << 32U) |
         static_cast<std::uint64_t>(static_cast<std::uint32_t>(error));
}

/// @brief The ErrorCode half (low 32 bits) of a packed check result.
constexpr zol::afw::core::ErrorCode CheckResultErrorCode(std::uint64_t result) {
  return static_cast<zol::afw::core::ErrorCode>(static_cast<std::int32_t>(static_cast<std::uint32_t>(result)));
}

/// @brief The SignalPropertyStatusCode half (high 32 bits) of a packed check result.
constexpr zol::afw::core::SignalPropertyStatusCode CheckResultStatusCode(std::uint64_t result) {
  return static_cast<zol::afw::core::SignalPropertyStatusCode>(
      static_cast<std::int32_t>(static_cast<std::uint32_t>(result >> 32U)));
}

/// @brief Checks the payload held in @p protection's payload buffer and decodes every signal of the group.
///
/// The check is profile 5 (E2eProtectionProfile5::Check with @p updated as "new data", over the whole payload
/// buffer). Results, as (ErrorCode, SignalPropertyStatusCode):
/// - OK or OKSOMELOST: (kSuccess, kE2eOk);
/// - NONEWDATA while the payload held last passed its check: (kSuccess, kE2eNoNewData);
/// - NONEWDATA while the payload held failed its last check (ERROR, REPEATED, WRONGSEQUENCE) or was never checked
///   since creation or Initialize(): (kNotAvailable, kE2eNoNewData), so that rejected bytes never read as data
///   however often the group is read between two arrivals;
/// - ERROR: (kFailure, kE2eWrongCRC); REPEATED: (kFailure, kE2eRepeated);
///   WRONGSEQUENCE: (kFailure, kE2eWrongSequence);
/// - @p protection not a profile 5 protection: (kNotSupported, kNotAvailable), no check made;
/// - @p context without a group record, or without signal records for a group that has signals:
///   (kBadArgument, kNotAvailable), no check made, nothing decoded.
///
/// Decoding (DecodeSignal) runs whatever the check gave, also for kNotSupported: the slots always show what the
/// payload buffer holds, and the caller decides from the result whether to trust them. `values.data` is first
/// grown (zero-filled) to `values.elements` if smaller; a signal whose slot is `values.elements` or beyond is
/// skipped. Throws only std::bad_alloc, and only when that growth must allocate.
/// @return the pair, packed by PackCheckResult
std::uint64_t CheckSignalGroup(const SignalGroupContext& context, SignalStorageBuffer& values, bool updated,
                               E2eProtection& protection);

}  // namespace e2e
}  // namespace zol

#endif  // ZOL_E2E_CHECK_SIGNAL_GROUP_H
