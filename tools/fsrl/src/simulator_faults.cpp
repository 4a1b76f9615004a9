// Simulator concern: faults: their command-line form, the options they must fit, and what they do to a frame.
#include "simulator_faults.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "fsrl/frame_map.h"
#include "initialfrontsideradarlefthal_e2e_database.h"

namespace fsrl {
namespace {

constexpr std::uint32_t kMaxScans = 10000000;
constexpr std::int64_t kMaxPeriodNs = 60000000000;
constexpr std::uint32_t kMaxSilenceMs = 3600000;

// The largest CAN FD length below @p length: what a frame cut short still carries.
std::size_t ShortLength(std::size_t length) {
  static const std::size_t kLengths[] = {64, 48, 32, 24, 20, 16, 12, 8};
  for (const std::size_t candidate : kLengths) {
    if (candidate < length) {
      return candidate;
    }
  }
  return 0;
}

bool ParseNumber(std::string_view text, std::uint64_t max, std::uint64_t& value) {
  if (text.empty() || text.size() > 19) {
    return false;
  }
  std::uint64_t result = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') {
      return false;
    }
    result = result * 10U + static_cast<std::uint64_t>(c - '0');
  }
  if (result > max) {
    return false;
  }
  value = result;
  return true;
}

bool ParseGroup(std::string_view text, std::size_t& group) {
  std::uint64_t index = 0;
  if (ParseNumber(text, kGroupCount - 1, index)) {
    group = static_cast<std::size_t>(index);
    return true;
  }
  for (std::size_t i = 0; i < kGroupCount; ++i) {
    const std::string_view name = GroupName(i);
    if (name.size() == text.size() && std::equal(name.begin(), name.end(), text.begin(), [](char a, char b) {
          const auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; };
          return lower(a) == lower(b);
        })) {
      group = i;
      return true;
    }
  }
  return false;
}

std::vector<std::string_view> Split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  std::size_t start = 0;
  while (true) {
    const std::size_t end = text.find(separator, start);
    if (end == std::string_view::npos) {
      parts.push_back(text.substr(start));
      return parts;
    }
    parts.push_back(text.substr(start, end - start));
    start = end + 1;
  }
}

struct FaultKindName {
  FaultKind kind;
  const char* name;
  const char* form;
};

const FaultKindName kFaultKinds[] = {
    {FaultKind::kCrc, "crc", "crc:SCAN:GROUP"},
    {FaultKind::kDrop, "drop", "drop:SCAN:GROUP"},
    {FaultKind::kRepeat, "repeat", "repeat:SCAN:GROUP"},
    {FaultKind::kCounterJump, "counterjump", "counterjump:SCAN:GROUP:N"},
    {FaultKind::kShort, "short", "short:SCAN:GROUP"},
    {FaultKind::kSilence, "silence", "silence:SCAN:MS"},
};

const FaultKindName& KindName(FaultKind kind) {
  for (const FaultKindName& entry : kFaultKinds) {
    if (entry.kind == kind) {
      return entry;
    }
  }
  return kFaultKinds[0];
}

}  // namespace

bool ParseFault(std::string_view fault_text, Fault& fault, std::string& error) {
  const std::string quoted = "fault '" + std::string(fault_text) + "': ";
  const std::vector<std::string_view> parts = Split(fault_text, ':');
  const FaultKindName* kind = nullptr;
  for (const FaultKindName& entry : kFaultKinds) {
    if (parts[0] == entry.name) {
      kind = &entry;
    }
  }
  if (kind == nullptr) {
    error = quoted + "unknown kind '" + std::string(parts[0]) +
            "' (expected crc, drop, repeat, counterjump, short or silence)";
    return false;
  }
  const std::size_t expected_parts = kind->kind == FaultKind::kCounterJump ? 4U : 3U;
  if (parts.size() != expected_parts) {
    error = quoted + "expected the form " + kind->form;
    return false;
  }
  Fault result;
  result.kind = kind->kind;
  std::uint64_t number = 0;
  if (!ParseNumber(parts[1], kMaxScans - 1, number)) {
    error = quoted + "SCAN '" + std::string(parts[1]) + "' is not a scan index 0.." + std::to_string(kMaxScans - 1);
    return false;
  }
  result.scan = static_cast<std::uint32_t>(number);
  if (kind->kind == FaultKind::kSilence) {
    if (!ParseNumber(parts[2], kMaxSilenceMs, number) || number == 0) {
      error = quoted + "MS '" + std::string(parts[2]) + "' is not a duration of 1.." + std::to_string(kMaxSilenceMs) +
              " milliseconds";
      return false;
    }
    result.amount = static_cast<std::uint32_t>(number);
  } else if (!ParseGroup(parts[2], result.group)) {
    error = quoted + "GROUP '" + std::string(parts[2]) +
            "' is neither a signal group name (such as RSDS4Detn000To004 or RSDS4SigSts1) nor a group index 0..51";
    return false;
  }
  if (kind->kind == FaultKind::kCounterJump) {
    if (!ParseNumber(parts[3], 255, number) || number == 0) {
      error = quoted + "N '" + std::string(parts[3]) + "' is not a number of counter values to skip, 1..255";
      return false;
    }
    result.amount = static_cast<std::uint32_t>(number);
  }
  fault = result;
  return true;
}

std::string FormatFault(const Fault& fault) {
  std::string text = std::string(KindName(fault.kind).name) + ":" + std::to_string(fault.scan) + ":";
  if (fault.kind == FaultKind::kSilence) {
    return text + std::to_string(fault.amount);
  }
  text += GroupName(fault.group);
  if (fault.kind == FaultKind::kCounterJump) {
    text += ":" + std::to_string(fault.amount);
  }
  return text;
}

bool ValidateSimulationOptions(const SimulationOptions& options, std::string& error) {
  if (options.scans == 0 || options.scans > kMaxScans) {
    error = "the number of scans must be 1.." + std::to_string(kMaxScans);
    return false;
  }
  if (options.period_ns < kMinPeriodNs || options.period_ns > kMaxPeriodNs) {
    error = "the scan period must be 6..60000 ms (a scan's frames take 5.2 ms)";
    return false;
  }
  if (options.start_time_ns < 0) {
    error = "the start time must not be negative";
    return false;
  }
  for (const Fault& fault : options.faults) {
    if (fault.scan >= options.scans) {
      error = "fault '" + FormatFault(fault) + "': scan " + std::to_string(fault.scan) +
              " is not simulated (scans 0.." + std::to_string(options.scans - 1) + ")";
      return false;
    }
    if (fault.kind == FaultKind::kRepeat && fault.scan == 0) {
      error = "fault '" + FormatFault(fault) + "': scan 0 has no previous frame to repeat";
      return false;
    }
    if (fault.kind != FaultKind::kSilence && fault.group >= kGroupCount) {
      error = "fault '" + FormatFault(fault) + "': no such group";
      return false;
    }
  }
  return true;
}

namespace internal {

bool ApplyFrameFaults(const std::vector<const Fault*>& faults, std::size_t group,
                      const std::vector<std::uint8_t>& previous, std::vector<std::uint8_t>& payload,
                      std::size_t& length) {
  bool sent = true;
  for (const Fault* fault : faults) {
    if (fault->kind == FaultKind::kSilence || fault->group != group) {
      continue;
    }
    switch (fault->kind) {
      case FaultKind::kCrc: {
        // Every bit of the CRC inverted: no payload can match it by chance.
        const std::size_t crc_at = initialfrontsideradarlefthal_signal_groups[group].offset / 8U;
        payload[crc_at] = static_cast<std::uint8_t>(payload[crc_at] ^ 0xFFU);
        payload[crc_at + 1] = static_cast<std::uint8_t>(payload[crc_at + 1] ^ 0xFFU);
        break;
      }
      case FaultKind::kDrop:
        sent = false;
        break;
      case FaultKind::kRepeat:
        payload = previous;
        break;
      case FaultKind::kShort:
        length = ShortLength(payload.size());
        break;
      case FaultKind::kCounterJump:  // in the counter already
      case FaultKind::kSilence:
        break;
    }
  }
  return sent;
}

}  // namespace internal
}  // namespace fsrl
