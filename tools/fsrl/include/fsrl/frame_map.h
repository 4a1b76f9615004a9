/// @file
/// @brief Which CAN frame carries which of the radar's 52 signal groups, and which bytes of it are the group.
#ifndef FSRL_FRAME_MAP_H
#define FSRL_FRAME_MAP_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fsrl/candump_reader.h"

namespace fsrl {

/// Number of signal groups the radar sends.
constexpr std::size_t kGroupCount = 52;

/// A CAN identifier as a log writes it: 11-bit standard or 29-bit extended.
struct CanId {
  std::uint32_t id = 0;
  bool extended = false;
};

/// @brief A one-to-one map between signal groups (by group index) and CAN identifiers, each on any channel or
/// on one channel of a multi-bus recording.
///
/// Groups without an identifier are simply not received; frames with an identifier of no group are not radar
/// frames. An identifier tied to a channel carries its group on that channel only, so the same identifier may
/// carry different groups on different channels.
class FrameMap {
 public:
  /// Identifier of group 0 in the default map; group i uses kDefaultBaseId + i, all standard.
  static constexpr std::uint32_t kDefaultBaseId = 0x400;

  /// @brief An empty map: no group has an identifier.
  FrameMap();

  /// @brief The default map: group i on standard id 0x400 + i (0x400..0x433).
  static FrameMap Default();

  /// @brief Parses a map file's text.
  ///
  /// One mapping per line, `GROUP_NAME,CAN_ID_HEX[,CHANNEL]`, blanks around each field ignored. CHANNEL names a
  /// bus as `--channel` does: a decimal number is a channel number (and also matches an interface of that name),
  /// anything else an interface name; without it the id carries the group on every channel. `#` starts a comment that
  /// runs to the line end; empty lines are skipped. The id is hex with an optional `0x`; written with exactly 8
  /// digits it is an extended id (as candump writes them), otherwise it is standard when it fits 11 bits and
  /// extended up to 1FFFFFFF. An unknown group name, a group mapped twice and an id used twice on one channel
  /// (or once on any channel and again on one) are errors.
  /// @param text the file's contents
  /// @param file_name used in the error message
  /// @param map receives the mapping on success (only then)
  /// @param error receives `FILE:LINE: reason` on failure
  /// @return true on success
  static bool Parse(std::string_view text, const std::string& file_name, FrameMap& map, std::string& error);

  /// @brief Reads and parses a map file; on failure @p error says why (`FILE:LINE: reason`, or `FILE: reason`
  /// when the file cannot be read).
  static bool Load(const std::string& path, FrameMap& map, std::string& error);

  /// @brief Maps @p group_index to @p can_id; false (and nothing changes) if either is already mapped, the
  /// group index is out of range or the id is out of range.
  bool Add(std::size_t group_index, CanId can_id);

  /// @brief As above, the id carrying the group on channel @p channel only (see Parse); an empty @p channel is
  /// any channel.
  bool Add(std::size_t group_index, CanId can_id, std::string_view channel);

  /// @brief The group index carried by a frame with this identifier on any channel, or -1. Ids tied to a
  /// channel are not looked at: GroupOf(frame) knows the frame's channel.
  int GroupOf(std::uint32_t id, bool extended) const {
    if (!extended) {
      return id < standard_.size() ? standard_[id] : -1;
    }
    return FindExtended(id);
  }

  /// @brief The group index carried by @p frame on its channel, or -1 (remote and error frames carry no group).
  int GroupOf(const CanFrame& frame) const {
    if (frame.remote || frame.error) {
      return -1;
    }
    // Most maps tie no id to a channel: then the lookup costs what it always did.
    return on_channel_.empty() ? GroupOf(frame.id, frame.extended) : FindOnChannel(frame);
  }

  /// @brief Whether @p group_index has an identifier, and which.
  bool IdOf(std::size_t group_index, CanId& can_id) const;

  /// @brief The channel @p group_index's identifier is tied to, as written; empty for any channel (or none).
  std::string_view ChannelOf(std::size_t group_index) const;

  /// @brief Number of mapped groups.
  std::size_t size() const { return mapped_count_; }

 private:
  int FindExtended(std::uint32_t id) const;
  int FindOnChannel(const CanFrame& frame) const;
  // The group of an id tied to a channel, or -1; by the channel's text, for Add's duplicate check.
  int FindOnChannel(CanId can_id, std::string_view channel) const;

  // An id that carries its group on one channel only.
  struct ChannelEntry {
    CanId can_id;
    std::string channel;   // as written in the map
    std::uint32_t number;  // the channel number it names, 0 when it is a name only
    std::int8_t group;
  };

  std::array<std::int8_t, 0x800> standard_{};                    // group index by standard id, -1 if none
  std::vector<std::pair<std::uint32_t, std::int8_t>> extended_;  // sorted by id
  std::vector<ChannelEntry> on_channel_;  // in the order added; a real map ties a handful of ids to channels
  std::array<CanId, kGroupCount> ids_{};
  std::array<bool, kGroupCount> mapped_{};
  std::size_t mapped_count_ = 0;
};

/// @brief Payload length of a group in bytes (`data_length / 8` of its database record); 0 for a bad index.
std::size_t GroupPayloadLength(std::size_t group_index);

/// @brief Name of a group as the signal service and the database know it, or "" for a bad index.
std::string_view GroupName(std::size_t group_index);

/// @brief Index of the group called @p name, or -1.
int FindGroup(std::string_view name);

/// @brief The number of bytes of @p frame that form the payload of @p group_index: the group's payload length
/// when the frame is longer (the rest is padding to a CAN FD length), else all the frame's bytes.
inline std::size_t GroupPayloadBytes(std::size_t group_index, const CanFrame& frame) {
  const std::size_t group_length = GroupPayloadLength(group_index);
  return frame.length < group_length ? frame.length : group_length;
}

}  // namespace fsrl

#endif  // FSRL_FRAME_MAP_H
