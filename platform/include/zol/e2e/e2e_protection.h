/// @file
/// @brief E2E protection state of a signal group: the generic base and the profile 5 check.
#ifndef ZOL_E2E_E2E_PROTECTION_H
#define ZOL_E2E_E2E_PROTECTION_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "zol/e2e/decode_plan.h"
#include "zol/e2e/signal_database.h"
#include "zol/e2e/signal_group_context.h"
#include "zol/nodiscard.h"
#include "zol/pmr/deleters.h"
#include "zol/pmr/memory_resource.h"
#include "zol/pmr/polymorphic_allocator.h"

namespace zol {
namespace e2e {

/// @brief Result of a check, the same for every profile.
enum E2E_PCheckStatusType : std::uint8_t {
  E2E_P_OK = 0,             ///< new, correct data; also when some frames were lost within the limit
  E2E_P_REPEATED = 1,       ///< correct data, but the same counter as last time
  E2E_P_WRONGSEQUENCE = 2,  ///< correct data, but the counter jumped further than allowed
  E2E_P_ERROR = 3,          ///< corrupted data: wrong CRC or wrong length
  E2E_P_NOTAVAILABLE = 4,   ///< no check has been made since (re)initialisation
  E2E_P_NONEWDATA = 5,      ///< nothing new was received
};

/// @brief Result of a profile 5 check.
enum E2E_P05CheckStatusType : std::uint8_t {
  E2E_P05STATUS_OK = 0x00U,             ///< counter advanced by exactly one
  E2E_P05STATUS_NONEWDATA = 0x01U,      ///< nothing new was received
  E2E_P05STATUS_ERROR = 0x07U,          ///< wrong CRC or wrong length
  E2E_P05STATUS_REPEATED = 0x08U,       ///< counter unchanged
  E2E_P05STATUS_OKSOMELOST = 0x20U,     ///< counter advanced by 2..max_delta_counter
  E2E_P05STATUS_WRONGSEQUENCE = 0x40U,  ///< counter advanced by more than max_delta_counter
};

/// @brief What every E2E protection keeps for one signal group, whatever its profile.
///
/// Owns the buffer that a received payload is copied into before it is checked and decoded, allocated once at
/// creation from the memory resource given to the constructor; it is never resized, so reading a group on the
/// steady path allocates nothing here. Not copyable or movable: a protection carries the counter state of one
/// group for the life of its reader.
class E2eProtection {
 public:
  virtual ~E2eProtection();

  E2eProtection(const E2eProtection&) = delete;
  E2eProtection& operator=(const E2eProtection&) = delete;
  E2eProtection(E2eProtection&&) = delete;
  E2eProtection& operator=(E2eProtection&&) = delete;

  /// @brief Returns the check state to what creation gave it; the buffers keep their contents.
  virtual void Initialize() = 0;

  /// @brief The profile this protection checks.
  ZOL_NODISCARD SignalAdapter_E2eProfile profile() const noexcept { return profile_; }
  /// @brief Bytes of the payload taken by the protection header (3 for profile 5: CRC and counter).
  ZOL_NODISCARD std::size_t protection_size() const noexcept { return protection_size_; }
  /// @brief The payload buffer: the group's data length in bytes; zero-filled at creation.
  std::uint8_t* payload_buffer() noexcept { return payload_buffer_; }
  /// @copydoc payload_buffer()
  ZOL_NODISCARD const std::uint8_t* payload_buffer() const noexcept { return payload_buffer_; }
  /// @brief Length of payload_buffer() in bytes.
  ZOL_NODISCARD std::size_t payload_buffer_length() const noexcept { return payload_buffer_length_; }
  /// @brief The buffer of the TAV payload layout; null for profiles that have none.
  std::uint8_t* tav_payload_buffer() noexcept { return tav_payload_buffer_; }
  /// @copydoc tav_payload_buffer()
  ZOL_NODISCARD const std::uint8_t* tav_payload_buffer() const noexcept { return tav_payload_buffer_; }
  /// @brief Length of tav_payload_buffer() in bytes; 0 when there is none.
  ZOL_NODISCARD std::size_t tav_payload_buffer_length() const noexcept { return tav_payload_buffer_length_; }
  /// @brief The result of the last check in the generic form; E2E_P_NOTAVAILABLE before the first.
  ZOL_NODISCARD E2E_PCheckStatusType last_check_status() const noexcept { return last_check_status_; }

 protected:
  /// @brief Allocates both buffers (zero-filled) from @p resource; throws std::bad_alloc when it cannot.
  /// @param profile the profile of the derived class
  /// @param protection_size bytes of the protection header
  /// @param payload_buffer_length bytes of the payload buffer; 0 for none
  /// @param tav_payload_buffer_length bytes of the TAV payload buffer; 0 for none
  /// @param resource where the buffers come from; must outlive the protection
  E2eProtection(SignalAdapter_E2eProfile profile, std::size_t protection_size, std::size_t payload_buffer_length,
                std::size_t tav_payload_buffer_length, zol::pmr::memory_resource* resource);

  void set_last_check_status(E2E_PCheckStatusType status) noexcept { last_check_status_ = status; }

 private:
  SignalAdapter_E2eProfile profile_;
  std::size_t protection_size_;
  zol::pmr::memory_resource* resource_;
  std::uint8_t* payload_buffer_{nullptr};
  std::size_t payload_buffer_length_{0U};
  std::uint8_t* tav_payload_buffer_{nullptr};
  std::size_t tav_payload_buffer_length_{0U};
  E2E_PCheckStatusType last_check_status_{E2E_P_NOTAVAILABLE};
};

class E2eProtectionProfile5;

/// @brief Owning pointer to a profile 5 protection, releasing it to the resource it came from.
using E2eProtectionProfile5Ptr =
    std::unique_ptr<E2eProtectionProfile5,
                    zol::pmr::AllocationDeleter<zol::pmr::polymorphic_allocator<E2eProtectionProfile5>>>;

/// @brief Profile 5 protection: 16-bit CRC (with the data id) and 8-bit counter at the header offset.
///
/// The header is the CRC, little-endian, at the byte offset, followed by the counter. The check state is the
/// counter of the last frame that passed the CRC; it starts at 0xFF, so a first frame with counter 0 is OK.
class E2eProtectionProfile5 final : public E2eProtection {
 public:
  /// Bytes of the profile 5 header: two CRC bytes and one counter byte.
  static constexpr std::size_t kHeaderSize = 3U;

  /// @brief Makes the protection of the group of @p context, both object and payload buffer from the default
  /// memory resource.
  ///
  /// Returns an empty pointer when the group's parameters do not allow profile 5: no group record, a profile other
  /// than SIGNAL_DB_E2E_PROFILE_05, a data length that is not a whole number of bytes or is shorter than the
  /// header, a header offset that is not byte-aligned, or a header that does not fit before the end of the data.
  /// Throws std::bad_alloc when memory cannot be had.
  static E2eProtectionProfile5Ptr Create(const SignalGroupContext& context);

  /// @brief Back to the created state: counter 0xFF, status NONEWDATA (generic: NOTAVAILABLE), no payload
  /// accepted yet.
  void Initialize() override;

  /// @brief Checks one received payload and updates the state.
  ///
  /// - @p new_data false: NONEWDATA; nothing else changes.
  /// - @p data null, @p length other than the group's data length in bytes, or a CRC mismatch: ERROR; the
  ///   counter state is left as it was, so the next good frame is judged against the last good one.
  /// - otherwise, with delta = (received counter - state counter) mod 256: 0 REPEATED, 1 OK,
  ///   2..max_delta_counter OKSOMELOST, above WRONGSEQUENCE; the received counter becomes the state in each case.
  /// The result is also kept in last_p05_status() and, mapped, in last_check_status(). A check of new data also
  /// decides payload_accepted(); a NONEWDATA check leaves it as it was.
  E2E_P05CheckStatusType Check(bool new_data, const std::uint8_t* data, std::size_t length);

  /// @brief Whether the last payload that was checked as new data passed (OK or OKSOMELOST).
  ///
  /// False before the first new payload and after Initialize(). A NONEWDATA check says nothing about the bytes
  /// still held, so it is this flag that tells whether they may be used: bytes that failed their check stay
  /// untrustworthy however many reads without new data follow.
  ZOL_NODISCARD bool payload_accepted() const noexcept { return payload_accepted_; }

  /// @brief The result of the last check; NONEWDATA before the first.
  ZOL_NODISCARD E2E_P05CheckStatusType last_p05_status() const noexcept { return last_p05_status_; }
  /// @brief Counter of the last frame that passed the CRC; 0xFF before the first.
  ZOL_NODISCARD std::uint8_t counter() const noexcept { return counter_; }
  /// @brief The group's data id.
  ZOL_NODISCARD std::uint16_t data_id() const noexcept { return data_id_; }
  /// @brief The group's data length in bytes (equal to payload_buffer_length()).
  ZOL_NODISCARD std::size_t data_length_bytes() const noexcept { return payload_buffer_length(); }
  /// @brief Position of the header in the payload, in bytes.
  ZOL_NODISCARD std::size_t offset_bytes() const noexcept { return offset_bytes_; }
  /// @brief Largest counter step still accepted as OKSOMELOST.
  ZOL_NODISCARD std::uint8_t max_delta_counter() const noexcept { return max_delta_counter_; }

  /// @brief The generic form of a profile 5 result (OKSOMELOST is OK: the data itself is good).
  static E2E_PCheckStatusType ToGenericStatus(E2E_P05CheckStatusType status) noexcept;

  /// @brief How CheckSignalGroup decodes the group this protection was created for: worked out by Create from the
  /// context's records, so that a check does not interpret them again. Empty for a group it does not cover.
  ZOL_NODISCARD const DecodePlan& decode_plan() const noexcept { return decode_plan_; }

 private:
  E2eProtectionProfile5(zol::pmr::memory_resource* resource, std::uint16_t data_id, std::size_t data_length_bytes,
                        std::size_t offset_bytes, std::uint8_t max_delta_counter);

  void Record(E2E_P05CheckStatusType status) noexcept;

  std::uint16_t data_id_;
  std::size_t offset_bytes_;
  std::uint8_t max_delta_counter_;
  std::uint8_t counter_{0xFFU};
  E2E_P05CheckStatusType last_p05_status_{E2E_P05STATUS_NONEWDATA};
  bool payload_accepted_{false};
  // Inside the object rather than allocated next to it: creating a protection takes the same two allocations as
  // before (object and payload buffer).
  DecodePlan decode_plan_;
};

}  // namespace e2e
}  // namespace zol

#endif  // ZOL_E2E_E2E_PROTECTION_H
