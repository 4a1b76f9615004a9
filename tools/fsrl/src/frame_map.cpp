#include "fsrl/frame_map.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "initialfrontsideradarlefthal_e2e_database.h"

namespace fsrl {
namespace {

static_assert(kGroupCount == initialfrontsideradarlefthal_signal_group_count, "one map entry per database group");

constexpr std::uint32_t kStandardIdMax = 0x7FFU;
constexpr std::uint32_t kExtendedIdMax = 0x1FFFFFFFU;

std::string_view Trim(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
  while (!text.empty() && blank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && blank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

// Parses the id field; returns null on success, else the reason.
const char* ParseId(std::string_view text, CanId& can_id) {
  if (text.size() >= 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
    text.remove_prefix(2);
  }
  if (text.empty()) {
    return "missing CAN id after ','";
  }
  if (text.size() > 8) {
    return "CAN id has more than 8 hex digits";
  }
  std::uint32_t value = 0;
  for (const char c : text) {
    int digit = -1;
    if (c >= '0' && c <= '9') {
      digit = c - '0';
    } else if (c >= 'a' && c <= 'f') {
      digit = c - 'a' + 10;
    } else if (c >= 'A' && c <= 'F') {
      digit = c - 'A' + 10;
    }
    if (digit < 0) {
      return "CAN id is not hexadecimal";
    }
    value = (value << 4) | static_cast<std::uint32_t>(digit);
  }
  if (value > kExtendedIdMax) {
    return "CAN id above 1FFFFFFF";
  }
  can_id.id = value;
  can_id.extended = text.size() == 8 || value > kStandardIdMax;
  return nullptr;
}

std::string Located(const std::string& file_name, std::size_t line, const std::string& reason) {
  return file_name + ":" + std::to_string(line) + ": " + reason;
}

std::string FormatId(CanId can_id) {
  char text[16];
  std::snprintf(text, sizeof text, can_id.extended ? "%08X" : "%03X", static_cast<unsigned>(can_id.id));
  return text;
}

}  // namespace

FrameMap::FrameMap() {
  standard_.fill(-1);
  ids_.fill(CanId{});
  mapped_.fill(false);
}

FrameMap FrameMap::Default() {
  FrameMap map;
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    map.Add(i, CanId{kDefaultBaseId + static_cast<std::uint32_t>(i), false});
  }
  return map;
}

bool FrameMap::Add(std::size_t group_index, CanId can_id) { return Add(group_index, can_id, std::string_view()); }

bool FrameMap::Add(std::size_t group_index, CanId can_id, std::string_view channel) {
  if (group_index >= kGroupCount || mapped_[group_index]) {
    return false;
  }
  if (can_id.extended ? can_id.id > kExtendedIdMax : can_id.id > kStandardIdMax) {
    return false;
  }
  if (GroupOf(can_id.id, can_id.extended) >= 0 || FindOnChannel(can_id, channel) >= 0) {
    return false;
  }
  if (!channel.empty()) {
    std::uint32_t number = 0;
    bool numeric = channel.size() <= 9;  // fits 32 bits
    for (const char c : channel) {
      numeric = numeric && c >= '0' && c <= '9';
      number = number * 10U + static_cast<std::uint32_t>(c - '0');
    }
    on_channel_.push_back(
        ChannelEntry{can_id, std::string(channel), numeric ? number : 0U, static_cast<std::int8_t>(group_index)});
  } else if (can_id.extended) {
    const auto at = std::lower_bound(extended_.begin(), extended_.end(), can_id.id,
                                     [](const auto& entry, std::uint32_t id) { return entry.first < id; });
    extended_.insert(at, {can_id.id, static_cast<std::int8_t>(group_index)});
  } else {
    standard_[can_id.id] = static_cast<std::int8_t>(group_index);
  }
  ids_[group_index] = can_id;
  mapped_[group_index] = true;
  ++mapped_count_;
  return true;
}

int FrameMap::FindExtended(std::uint32_t id) const {
  const auto at = std::lower_bound(extended_.begin(), extended_.end(), id,
                                   [](const auto& entry, std::uint32_t value) { return entry.first < value; });
  return (at != extended_.end() && at->first == id) ? at->second : -1;
}

int FrameMap::FindOnChannel(const CanFrame& frame) const {
  for (const ChannelEntry& entry : on_channel_) {
    if (entry.can_id.id == frame.id && entry.can_id.extended == frame.extended &&
        (frame.iface == entry.channel || (entry.number != 0 && frame.channel == entry.number))) {
      return entry.group;
    }
  }
  return GroupOf(frame.id, frame.extended);
}

int FrameMap::FindOnChannel(CanId can_id, std::string_view channel) const {
  for (const ChannelEntry& entry : on_channel_) {
    // An id on any channel collides with the id on every channel.
    if (entry.can_id.id == can_id.id && entry.can_id.extended == can_id.extended &&
        (channel.empty() || entry.channel == channel)) {
      return entry.group;
    }
  }
  return -1;
}

std::string_view FrameMap::ChannelOf(std::size_t group_index) const {
  for (const ChannelEntry& entry : on_channel_) {
    if (static_cast<std::size_t>(entry.group) == group_index) {
      return entry.channel;
    }
  }
  return {};
}

bool FrameMap::IdOf(std::size_t group_index, CanId& can_id) const {
  if (group_index >= kGroupCount || !mapped_[group_index]) {
    return false;
  }
  can_id = ids_[group_index];
  return true;
}

bool FrameMap::Parse(std::string_view text, const std::string& file_name, FrameMap& map, std::string& error) {
  FrameMap result;
  std::array<std::size_t, kGroupCount> defined_at{};  // line that mapped each group, for the duplicate message
  std::size_t line_number = 0;
  while (!text.empty()) {
    const std::size_t newline = text.find('\n');
    std::string_view line = text.substr(0, newline);
    text.remove_prefix(newline == std::string_view::npos ? text.size() : newline + 1);
    ++line_number;

    const std::size_t hash = line.find('#');
    if (hash != std::string_view::npos) {
      line = line.substr(0, hash);
    }
    line = Trim(line);
    if (line.empty()) {
      continue;
    }
    const std::size_t comma = line.find(',');
    if (comma == std::string_view::npos) {
      error = Located(file_name, line_number, "expected GROUP_NAME,CAN_ID_HEX");
      return false;
    }
    const std::string_view name = Trim(line.substr(0, comma));
    std::string_view id_text = line.substr(comma + 1);
    std::string_view channel;
    const std::size_t second_comma = id_text.find(',');
    if (second_comma != std::string_view::npos) {
      channel = Trim(id_text.substr(second_comma + 1));
      id_text = id_text.substr(0, second_comma);
      if (channel.empty()) {
        error = Located(file_name, line_number, "missing channel after ','");
        return false;
      }
      if (channel.find_first_of(", \t") != std::string_view::npos) {
        error = Located(file_name, line_number, "channel '" + std::string(channel) + "' is not one name or number");
        return false;
      }
    }
    id_text = Trim(id_text);
    const int group = FindGroup(name);
    if (group < 0) {
      error = Located(file_name, line_number, "unknown signal group '" + std::string(name) + "'");
      return false;
    }
    CanId can_id;
    const char* id_error = ParseId(id_text, can_id);
    if (id_error != nullptr) {
      error = Located(file_name, line_number, id_error);
      return false;
    }
    const auto index = static_cast<std::size_t>(group);
    CanId unused;
    if (result.IdOf(index, unused)) {
      error = Located(
          file_name, line_number,
          "signal group '" + std::string(name) + "' already mapped on line " + std::to_string(defined_at[index]));
      return false;
    }
    int holder = result.GroupOf(can_id.id, can_id.extended);
    if (holder < 0) {
      holder = result.FindOnChannel(can_id, channel);
    }
    if (holder >= 0) {
      const std::string_view holder_channel = result.ChannelOf(static_cast<std::size_t>(holder));
      error = Located(file_name, line_number,
                      "CAN id " + FormatId(can_id) +
                          (holder_channel.empty() ? std::string() : " on channel " + std::string(holder_channel)) +
                          " already used by '" + std::string(GroupName(static_cast<std::size_t>(holder))) +
                          "' on line " + std::to_string(defined_at[static_cast<std::size_t>(holder)]));
      return false;
    }
    result.Add(index, can_id, channel);
    defined_at[index] = line_number;
  }
  map = std::move(result);
  return true;
}

bool FrameMap::Load(const std::string& path, FrameMap& map, std::string& error) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    error = path + ": cannot open: " + std::strerror(errno);
    return false;
  }
  std::string text;
  char block[65536];
  std::size_t got = 0;
  while ((got = std::fread(block, 1, sizeof block, file)) > 0) {
    text.append(block, got);
  }
  const bool failed = std::ferror(file) != 0;
  std::fclose(file);
  if (failed) {
    error = path + ": read error";
    return false;
  }
  return Parse(text, path, map, error);
}

std::size_t GroupPayloadLength(std::size_t group_index) {
  return group_index < kGroupCount ? initialfrontsideradarlefthal_signal_groups[group_index].data_length / 8U : 0U;
}

std::string_view GroupName(std::size_t group_index) {
  if (group_index >= kGroupCount) {
    return {};
  }
  return {reinterpret_cast<const char*>(initialfrontsideradarlefthal_signal_groups[group_index].name)};
}

int FindGroup(std::string_view name) {
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    if (GroupName(i) == name) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

}  // namespace fsrl
