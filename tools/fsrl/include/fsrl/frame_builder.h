/// @file
/// @brief Producing what the radar sends: E2E-protected group payloads and candump log lines carrying them.
///
/// The inverse of the decoding path, for tests and for simulating the radar: values go in by value slot (the
/// record's field order) or by name, are placed as the signal database lays them out, and the payload is then
/// protected with E2E profile 5 (counter and CRC) as a sender does.
#ifndef FSRL_FRAME_BUILDER_H
#define FSRL_FRAME_BUILDER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fsrl/frame_map.h"
#include "zol/e2e/signal_database.h"

namespace fsrl {

/// @brief Number of signals (value slots) of group @p group_index; 0 for a bad index.
std::size_t GroupSignalCount(std::size_t group_index);

/// @brief The database record of the signal in value slot @p slot of group @p group_index, or null.
const SignalAdapter_Signal* GroupSignal(std::size_t group_index, std::size_t slot);

/// @brief Value slot of a signal of group @p group_index, found by its database name
/// ("RSDS4Detn000To004Range2") or its record field name ("rsds4detn000to004range2"); -1 if none.
int FindSignalSlot(std::size_t group_index, std::string_view name);

/// @brief Collects raw values of one group and builds its protected payload.
class GroupPayloadBuilder {
 public:
  /// @brief A builder for group @p group_index with every raw value 0. A bad index gives a builder whose
  /// setters fail and whose Build returns an empty payload.
  explicit GroupPayloadBuilder(std::size_t group_index);

  std::size_t group_index() const { return group_index_; }

  /// @brief Sets the raw bit field of the signal in @p slot.
  /// @return false (nothing changes) for an unknown slot or a value wider than the field
  bool SetRaw(std::size_t slot, std::uint64_t raw);
  /// @brief SetRaw by signal or field name.
  bool SetRaw(std::string_view name, std::uint64_t raw);
  /// @brief Sets the raw field that decodes to @p physical (scaled, rounded, saturated to the field).
  bool SetPhysical(std::size_t slot, double physical);
  /// @brief SetPhysical by signal or field name.
  bool SetPhysical(std::string_view name, double physical);
  /// @brief The raw value held for @p slot (0 for an unknown slot).
  std::uint64_t raw(std::size_t slot) const;

  /// @brief The payload (the group's full length) with every raw value in place, protected with @p counter.
  /// The CRC and counter fields are written by the protection, whatever values were set for them.
  std::vector<std::uint8_t> Build(std::uint8_t counter) const;

 private:
  std::size_t group_index_;
  std::vector<std::uint64_t> raw_;
};

/// @brief The protected payload of group @p group_index with @p raw_by_slot[k] in slot k (missing slots 0).
/// Empty for a bad index or a value that does not fit its field.
std::vector<std::uint8_t> EncodeGroupPayload(std::size_t group_index, const std::vector<std::uint64_t>& raw_by_slot,
                                             std::uint8_t counter);

/// @brief As EncodeGroupPayload, with raw values by signal or field name. Empty when a name is unknown.
std::vector<std::uint8_t> EncodeGroupPayloadByName(
    std::size_t group_index, const std::vector<std::pair<std::string, std::uint64_t>>& raw_by_name,
    std::uint8_t counter);

/// @brief Smallest CAN FD data length (0..8, 12, 16, 20, 24, 32, 48, 64) that holds @p size bytes; 64 when
/// @p size is larger.
std::size_t CanFdLength(std::size_t size);

/// @brief One `candump -l` line (with '\n') for a frame: classic when @p fd is false (at most 8 bytes are
/// written), else CAN FD with flags @p fd_flags. The time stamp is written as FormatSeconds does.
std::string FormatCandumpLine(std::int64_t timestamp_ns, std::string_view iface, CanId can_id, const std::uint8_t* data,
                              std::size_t length, bool fd, std::uint8_t fd_flags = 0);

}  // namespace fsrl

#endif  // FSRL_FRAME_BUILDER_H
