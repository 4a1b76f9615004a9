#include "fsrl/frame_builder.h"

#include <cstring>

#include "initialfrontsideradarlefthal_e2e_database.h"
#include "initialfrontsideradarlefthal_signal_groups_meta.h"
#include "zol/e2e/crc.h"
#include "zol/e2e/signal_codec.h"

namespace fsrl {
namespace {

const SignalAdapter_SignalGroup* Group(std::size_t group_index) {
  return group_index < kGroupCount ? &initialfrontsideradarlefthal_signal_groups[group_index] : nullptr;
}

bool FitsField(const SignalAdapter_Signal& signal, std::uint64_t raw) {
  return signal.value_bit_length >= 64 || (raw >> signal.value_bit_length) == 0U;
}

}  // namespace

std::size_t GroupSignalCount(std::size_t group_index) {
  const SignalAdapter_SignalGroup* group = Group(group_index);
  return group != nullptr ? group->nbr_of_signals : 0U;
}

const SignalAdapter_Signal* GroupSignal(std::size_t group_index, std::size_t slot) {
  const SignalAdapter_SignalGroup* group = Group(group_index);
  if (group == nullptr || slot >= group->nbr_of_signals) {
    return nullptr;
  }
  // Records of a group are stored in slot order, so the slot is the offset from the group's first record.
  return &initialfrontsideradarlefthal_signals[group->signal_start_index + slot];
}

int FindSignalSlot(std::size_t group_index, std::string_view name) {
  const std::size_t count = GroupSignalCount(group_index);
  for (std::size_t slot = 0; slot < count; ++slot) {
    const SignalAdapter_Signal* signal = GroupSignal(group_index, slot);
    if (std::string_view(reinterpret_cast<const char*>(signal->name)) == name ||
        std::string_view(initialfrontsideradarlefthal::meta::kSignalGroups[group_index].fields[slot].name) == name) {
      return static_cast<int>(slot);
    }
  }
  return -1;
}

GroupPayloadBuilder::GroupPayloadBuilder(std::size_t group_index)
    : group_index_(group_index), raw_(GroupSignalCount(group_index), 0U) {}

bool GroupPayloadBuilder::SetRaw(std::size_t slot, std::uint64_t raw) {
  const SignalAdapter_Signal* signal = GroupSignal(group_index_, slot);
  if (signal == nullptr || !FitsField(*signal, raw)) {
    return false;
  }
  raw_[slot] = raw;
  return true;
}

bool GroupPayloadBuilder::SetRaw(std::string_view name, std::uint64_t raw) {
  const int slot = FindSignalSlot(group_index_, name);
  return slot >= 0 && SetRaw(static_cast<std::size_t>(slot), raw);
}

bool GroupPayloadBuilder::SetPhysical(std::size_t slot, double physical) {
  const SignalAdapter_Signal* signal = GroupSignal(group_index_, slot);
  return signal != nullptr && SetRaw(slot, zol::e2e::EncodePhysical(*signal, physical));
}

bool GroupPayloadBuilder::SetPhysical(std::string_view name, double physical) {
  const int slot = FindSignalSlot(group_index_, name);
  return slot >= 0 && SetPhysical(static_cast<std::size_t>(slot), physical);
}

std::uint64_t GroupPayloadBuilder::raw(std::size_t slot) const { return slot < raw_.size() ? raw_[slot] : 0U; }

std::vector<std::uint8_t> GroupPayloadBuilder::Build(std::uint8_t counter) const {
  const SignalAdapter_SignalGroup* group = Group(group_index_);
  if (group == nullptr) {
    return {};
  }
  std::vector<std::uint8_t> payload(GroupPayloadLength(group_index_), 0U);
  for (std::size_t slot = 0; slot < raw_.size(); ++slot) {
    zol::e2e::EncodeSignal(*group, *GroupSignal(group_index_, slot), raw_[slot], payload.data(), payload.size());
  }
  zol::e2e::ProtectProfile5(group->data_id, counter, payload.data(), payload.size(), group->offset / 8U);
  return payload;
}

std::vector<std::uint8_t> EncodeGroupPayload(std::size_t group_index, const std::vector<std::uint64_t>& raw_by_slot,
                                             std::uint8_t counter) {
  GroupPayloadBuilder builder(group_index);
  for (std::size_t slot = 0; slot < raw_by_slot.size(); ++slot) {
    if (!builder.SetRaw(slot, raw_by_slot[slot])) {
      return {};
    }
  }
  return builder.Build(counter);
}

std::vector<std::uint8_t> EncodeGroupPayloadByName(
    std::size_t group_index, const std::vector<std::pair<std::string, std::uint64_t>>& raw_by_name,
    std::uint8_t counter) {
  GroupPayloadBuilder builder(group_index);
  for (const auto& entry : raw_by_name) {
    if (!builder.SetRaw(entry.first, entry.second)) {
      return {};
    }
  }
  return builder.Build(counter);
}

std::size_t CanFdLength(std::size_t size) {
  static const std::size_t kLengths[] = {12, 16, 20, 24, 32, 48, 64};
  if (size <= 8) {
    return size;
  }
  for (const std::size_t length : kLengths) {
    if (size <= length) {
      return length;
    }
  }
  return 64;
}

std::string FormatCandumpLine(std::int64_t timestamp_ns, std::string_view iface, CanId can_id, const std::uint8_t* data,
                              std::size_t length, bool fd, std::uint8_t fd_flags) {
  static const char kHexDigits[] = "0123456789ABCDEF";
  const std::size_t max_length = fd ? 64U : 8U;
  if (length > max_length) {
    length = max_length;
  }
  std::string line;
  line.reserve(48 + iface.size() + 2 * length);
  char time[32];
  line += '(';
  line.append(time, FormatSeconds(timestamp_ns, time));
  line += ") ";
  line.append(iface.data(), iface.size());
  line += ' ';
  const int id_digits = can_id.extended ? 8 : 3;
  for (int shift = (id_digits - 1) * 4; shift >= 0; shift -= 4) {
    line += kHexDigits[(can_id.id >> shift) & 0x0FU];
  }
  line += '#';
  if (fd) {
    line += '#';
    line += kHexDigits[fd_flags & 0x0FU];
  }
  for (std::size_t i = 0; i < length; ++i) {
    line += kHexDigits[data[i] >> 4];
    line += kHexDigits[data[i] & 0x0FU];
  }
  line += '\n';
  return line;
}

}  // namespace fsrl
