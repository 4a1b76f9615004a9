#include "radar_frames.h"

#include <cmath>
#include <cstring>
#include <stdexcept>

#include <gtest/gtest.h>

#include "initialfrontsideradarlefthal_e2e_database.h"
#include "initialfrontsideradarlefthal_signal_groups_meta.h"
#include "zol/e2e/crc.h"
#include "zol/e2e/signal_codec.h"
#include "zol/memory/span.h"
#include "zol/signalcomm/service.h"

namespace fsrl_test {

namespace {

namespace meta = initialfrontsideradarlefthal::meta;

const SignalAdapter_SignalGroup& GroupRecord(std::size_t group_index) {
  return initialfrontsideradarlefthal_signal_groups[group_index];
}

const SignalAdapter_Signal& SignalOf(std::size_t group_index, const std::string& field_name) {
  const meta::GroupInfo& info = meta::kSignalGroups[group_index];
  for (std::uint16_t k = 0U; k < info.field_count; ++k) {
    if (field_name == info.fields[k].name) {
      const SignalAdapter_SignalGroup& group = GroupRecord(group_index);
      for (std::uint32_t s = 0U; s < group.nbr_of_signals; ++s) {
        const SignalAdapter_Signal& signal = initialfrontsideradarlefthal_signals[group.signal_start_index + s];
        if (std::strcmp(reinterpret_cast<const char*>(signal.name), info.fields[k].signal_name) == 0) {
          return signal;
        }
      }
    }
  }
  throw std::invalid_argument("no field " + field_name + " in group " + GroupName(group_index));
}

bool IsScaled(const SignalAdapter_Signal& signal) {
  return (signal.codec_flags & SIGNAL_DB_SIGNAL_CODEC_FLAGS_FACTOR_OFFSET_FLOAT) != 0U &&
         (signal.codec_flags & SIGNAL_DB_SIGNAL_CODEC_FLAGS_SKIP_FACTOR_OFFSET_CALC) == 0U;
}

// The raw values of a field whose physical values lie strictly inside the signal's limits, so that decoding never
// clamps them and boundary rounding cannot matter.
struct RawRange {
  std::uint64_t low;
  std::uint64_t high;
};

RawRange RawRangeOf(const SignalAdapter_Signal& signal) {
  const std::uint64_t field_max =
      signal.value_bit_length >= 64U ? ~std::uint64_t{0} : ((std::uint64_t{1} << signal.value_bit_length) - 1U);
  if (!IsScaled(signal)) {
    const std::uint64_t max = signal.value_min_max.max.unsigned_int;
    return {signal.value_min_max.min.unsigned_int, max < field_max ? max : field_max};
  }
  const double factor = signal.value_factor_offset.scale_factor.double_float;
  const double offset = signal.value_factor_offset.offset.double_float;
  const double low = std::ceil((signal.value_min_max.min.double_float - offset) / factor) + 1.0;
  const double high = std::floor((signal.value_min_max.max.double_float - offset) / factor) - 1.0;
  const std::uint64_t raw_low = low < 0.0 ? 0U : static_cast<std::uint64_t>(low);
  const std::uint64_t raw_high = high >= static_cast<double>(field_max) ? field_max : static_cast<std::uint64_t>(high);
  return {raw_low, raw_high};
}

std::uint64_t Pick(const RawRange& range, std::uint64_t n) { return range.low + n % (range.high - range.low + 1U); }

void Encode(std::size_t group_index, const std::string& field_name, std::uint64_t raw,
            std::vector<std::uint8_t>& data) {
  zol::e2e::EncodeSignal(GroupRecord(group_index), SignalOf(group_index, field_name), raw, data.data(), data.size());
}

std::vector<std::uint8_t> EmptyPayload(std::size_t group_index) {
  return std::vector<std::uint8_t>(GroupRecord(group_index).data_length / 8U, 0U);
}

void Protect(std::size_t group_index, std::uint8_t counter, std::vector<std::uint8_t>& data) {
  const SignalAdapter_SignalGroup& group = GroupRecord(group_index);
  zol::e2e::ProtectProfile5(group.data_id, counter, data.data(), data.size(), group.offset / 8U);
}

}  // namespace

std::string GroupName(std::size_t group_index) { return reinterpret_cast<const char*>(GroupRecord(group_index).name); }

std::string GroupStem(std::size_t group_index) { return meta::kSignalGroups[group_index].stem; }

float PhysicalOf(std::size_t group_index, const std::string& field_name, std::uint64_t raw) {
  const SignalAdapter_Signal& signal = SignalOf(group_index, field_name);
  if (!IsScaled(signal)) {
    return static_cast<float>(raw);
  }
  return static_cast<float>(static_cast<double>(raw) * signal.value_factor_offset.scale_factor.double_float +
                            signal.value_factor_offset.offset.double_float);
}

SensorScan MakeSensorScan(std::uint8_t scan_id, std::uint64_t mid_range_time_stamp, unsigned seed) {
  SensorScan scan;
  scan.scan_id = scan_id;
  scan.detection_group_scan_ids.fill(scan_id);
  scan.status2_scan_id = scan_id;
  scan.time_stamps = {mid_range_time_stamp - 30U, mid_range_time_stamp - 20U, mid_range_time_stamp,
                      mid_range_time_stamp + 10U};

  scan.blockage = 2U;               // no blockage
  scan.interference = 2U;           // no interference
  scan.fault_reason = 0U;           // no fault
  scan.rdr_sts_detn = 1U;           // active
  scan.rdr_emsn_sts = 1U;           // emitting
  scan.sys_sfty_failure_flag = 0U;  // no failure
  scan.time_stamp_status = 1U;      // in sync
  scan.xaxis_offs = Pick(RawRangeOf(SignalOf(kStatus1Group, "rsds4sig_sts1xaxis_offs")), 1234U + seed * 17U);
  scan.yaxis_offs = Pick(RawRangeOf(SignalOf(kStatus1Group, "rsds4sig_sts1yaxis_offs")), 4321U + seed * 29U);
  scan.zorient_ang = Pick(RawRangeOf(SignalOf(kStatus1Group, "rsds4sig_sts1zorient_ang")), 2718U + seed * 31U);
  scan.azi_mis_alnmnt_ang =
      Pick(RawRangeOf(SignalOf(kStatus2Group, "rsds4sig_sts2azi_mis_alnmnt_ang")), 1111U + seed * 7U);
  scan.ele_mis_alnmnt_ang =
      Pick(RawRangeOf(SignalOf(kStatus2Group, "rsds4sig_sts2ele_mis_alnmnt_ang")), 999U + seed * 11U);
  scan.cal_sts = 1U;      // no longer ongoing: complete
  scan.cal_rlt_sts = 0U;  // calibration OK

  // Every detection group describes its detections with the same signals; group 0's stand for all.
  const RawRange range = RawRangeOf(SignalOf(0U, "rsds4detn000to004range0"));
  const RawRange rng_rt = RawRangeOf(SignalOf(0U, "rsds4detn000to004rng_rt0"));
  const RawRange azi_ang = RawRangeOf(SignalOf(0U, "rsds4detn000to004azi_ang0"));
  const RawRange ele_ang = RawRangeOf(SignalOf(0U, "rsds4detn000to004ele_ang0"));
  const RawRange rcs = RawRangeOf(SignalOf(0U, "rsds4detn000to004rcs0"));
  const RawRange snr = RawRangeOf(SignalOf(0U, "rsds4detn000to004snr0"));
  for (std::size_t d = 0U; d < kDetectionCount; ++d) {
    const std::uint64_t n = d * 131U + seed * 977U;
    DetectionRaw& detection = scan.detections[d];
    detection.range = Pick(range, n + 1U);
    detection.rng_rt = Pick(rng_rt, n + 53U);
    detection.azi_ang = Pick(azi_ang, n + 106U);
    detection.ele_ang = Pick(ele_ang, n + 159U);
    detection.rcs = Pick(rcs, n + 212U);
    detection.snr = Pick(snr, n + 265U);
    detection.quality = (d + seed) % 4U;
    detection.dyn_pr_pty = (d / 3U + seed) % 2U;
    detection.mode = (d / 2U + seed) % 4U;
  }
  return scan;
}

RadarFrameSource::RadarFrameSource() { counters_.fill(0U); }

std::vector<std::uint8_t> RadarFrameSource::BuildStatus1(const SensorScan& scan) {
  std::vector<std::uint8_t> data = EmptyPayload(kStatus1Group);
  const std::string stem = GroupStem(kStatus1Group);
  Encode(kStatus1Group, stem + "scan_id", scan.scan_id, data);
  for (std::size_t mode = 0U; mode < scan.time_stamps.size(); ++mode) {
    Encode(kStatus1Group, stem + "time_stamp" + std::to_string(mode), scan.time_stamps[mode], data);
  }
  Encode(kStatus1Group, stem + "blockage", scan.blockage, data);
  Encode(kStatus1Group, stem + "interference", scan.interference, data);
  Encode(kStatus1Group, stem + "dtn_list_fault_reason", scan.fault_reason, data);
  Encode(kStatus1Group, stem + "rdr_sts_detn", scan.rdr_sts_detn, data);
  Encode(kStatus1Group, stem + "rdr_emsn_sts", scan.rdr_emsn_sts, data);
  Encode(kStatus1Group, stem + "dtn_list_sys_sfty_failure_flag", scan.sys_sfty_failure_flag, data);
  Encode(kStatus1Group, stem + "time_stamp_status", scan.time_stamp_status, data);
  Encode(kStatus1Group, stem + "xaxis_offs", scan.xaxis_offs, data);
  Encode(kStatus1Group, stem + "yaxis_offs", scan.yaxis_offs, data);
  Encode(kStatus1Group, stem + "zorient_ang", scan.zorient_ang, data);
  Protect(kStatus1Group, counters_[kStatus1Group]++, data);
  return data;
}

std::vector<std::uint8_t> RadarFrameSource::BuildStatus2(const SensorScan& scan) {
  std::vector<std::uint8_t> data = EmptyPayload(kStatus2Group);
  const std::string stem = GroupStem(kStatus2Group);
  Encode(kStatus2Group, stem + "scan_id", scan.status2_scan_id, data);
  Encode(kStatus2Group, stem + "azi_mis_alnmnt_ang", scan.azi_mis_alnmnt_ang, data);
  Encode(kStatus2Group, stem + "ele_mis_alnmnt_ang", scan.ele_mis_alnmnt_ang, data);
  Encode(kStatus2Group, stem + "cal_sts", scan.cal_sts, data);
  Encode(kStatus2Group, stem + "cal_rlt_sts", scan.cal_rlt_sts, data);
  Protect(kStatus2Group, counters_[kStatus2Group]++, data);
  return data;
}

std::vector<std::uint8_t> RadarFrameSource::BuildDetectionGroup(std::size_t group_index, const SensorScan& scan) {
  if (group_index >= kDetectionGroupCount) {
    throw std::invalid_argument("not a detection group: " + std::to_string(group_index));
  }
  std::vector<std::uint8_t> data = EmptyPayload(group_index);
  const std::string stem = GroupStem(group_index);
  Encode(group_index, stem + "scan_id", scan.detection_group_scan_ids[group_index], data);
  for (std::size_t i = 0U; i < kDetectionsPerGroup; ++i) {
    const DetectionRaw& detection = scan.detections[group_index * kDetectionsPerGroup + i];
    const std::string digit = std::to_string(i);
    Encode(group_index, stem + "range" + digit, detection.range, data);
    Encode(group_index, stem + "rng_rt" + digit, detection.rng_rt, data);
    Encode(group_index, stem + "azi_ang" + digit, detection.azi_ang, data);
    Encode(group_index, stem + "ele_ang" + digit, detection.ele_ang, data);
    Encode(group_index, stem + "rcs" + digit, detection.rcs, data);
    Encode(group_index, stem + "snr" + digit, detection.snr, data);
    Encode(group_index, stem + "quality" + digit, detection.quality, data);
    Encode(group_index, stem + "dyn_pr_pty" + digit, detection.dyn_pr_pty, data);
    Encode(group_index, stem + "mode" + digit, detection.mode, data);
  }
  Protect(group_index, counters_[group_index]++, data);
  return data;
}

std::vector<std::uint8_t> RadarFrameSource::Build(std::size_t group_index, const SensorScan& scan) {
  if (group_index == kStatus1Group) {
    return BuildStatus1(scan);
  }
  if (group_index == kStatus2Group) {
    return BuildStatus2(scan);
  }
  return BuildDetectionGroup(group_index, scan);
}

void RadarFrameSource::Publish(std::size_t group_index, const SensorScan& scan) {
  const std::vector<std::uint8_t> data = Build(group_index, scan);
  EXPECT_EQ(zol::signalcomm::Service::Instance().Publish(
                GroupName(group_index), zol::memory::span<const std::uint8_t>(data.data(), data.size())),
            0)
      << GroupName(group_index);
}

void RadarFrameSource::PublishDetectionGroups(std::size_t first, std::size_t last, const SensorScan& scan) {
  for (std::size_t group_index = first; group_index <= last; ++group_index) {
    Publish(group_index, scan);
  }
}

void RadarFrameSource::PublishScan(const SensorScan& scan) {
  Publish(kStatus1Group, scan);
  Publish(kStatus2Group, scan);
  PublishDetectionGroups(0U, kDetectionGroupCount - 1U, scan);
}

void RadarFrameSource::PublishWithBadCrc(std::size_t group_index, const SensorScan& scan) {
  std::vector<std::uint8_t> data = Build(group_index, scan);
  data[GroupRecord(group_index).offset / 8U] ^= 0x5AU;
  EXPECT_EQ(zol::signalcomm::Service::Instance().Publish(
                GroupName(group_index), zol::memory::span<const std::uint8_t>(data.data(), data.size())),
            0)
      << GroupName(group_index);
}

void RadarFrameSource::SkipCounters(std::size_t group_index, std::uint8_t count) {
  counters_[group_index] = static_cast<std::uint8_t>(counters_[group_index] + count);
}

std::uint8_t RadarFrameSource::next_counter(std::size_t group_index) const { return counters_[group_index]; }

}  // namespace fsrl_test
