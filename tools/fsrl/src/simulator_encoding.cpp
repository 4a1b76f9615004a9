// Simulator concern: group encoding: a scan's values into the radar's signal groups, the frames that carry
// them, and what the HAL will decode from them.
#include "simulator_encoding.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>

#include "fsrl/frame_map.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "zol/e2e/signal_codec.h"

namespace fsrl::internal {
namespace {

constexpr char kInterface[] = "can0";

const char* const kDetectionSignalSuffixes[] = {"EleAng", "Range",   "Mode",     "AziAng", "SNR",
                                                "RngRt",  "Quality", "DynPrPty", "RCS"};

std::size_t SlotOf(std::size_t group, const std::string& suffix) {
  const int slot = FindSignalSlot(group, std::string(GroupName(group)) + suffix);
  return slot < 0 ? static_cast<std::size_t>(-1) : static_cast<std::size_t>(slot);
}

double Decoded(std::size_t group, std::size_t slot, const std::vector<std::uint8_t>& payload) {
  const SignalAdapter_Signal* signal = GroupSignal(group, slot);
  return zol::e2e::DecodeSignal(initialfrontsideradarlefthal_signal_groups[group], *signal, payload.data(),
                                payload.size())
      .double_float;
}

std::uint64_t DecodedRaw(std::size_t group, std::size_t slot, const std::vector<std::uint8_t>& payload) {
  const SignalAdapter_Signal* signal = GroupSignal(group, slot);
  return zol::e2e::DecodeSignal(initialfrontsideradarlefthal_signal_groups[group], *signal, payload.data(),
                                payload.size())
      .unsigned_int;
}

std::uint8_t QualityOf(double snr) {
  if (snr >= 28.0) {
    return 2;
  }
  return snr >= 15.0 ? 1 : 0;
}

std::uint8_t ModeOf(double range) {
  if (range < 12.0) {
    return 0;
  }
  if (range < 35.0) {
    return 1;
  }
  return range < 60.0 ? 2 : 3;
}

template <std::size_t... Group>
std::array<GroupPayloadBuilder, sizeof...(Group)> MakeBuilders(std::index_sequence<Group...> /*groups*/) {
  return {GroupPayloadBuilder(Group)...};
}

void SetByName(GroupPayloadBuilder& builder, const std::string& suffix, double physical) {
  builder.SetPhysical(std::string(GroupName(builder.group_index())) + suffix, physical);
}

void SetRawByName(GroupPayloadBuilder& builder, const std::string& suffix, std::uint64_t raw) {
  builder.SetRaw(std::string(GroupName(builder.group_index())) + suffix, raw);
}

}  // namespace

Slots FindSlots() {
  Slots slots;
  for (std::size_t g = 0; g < kDetectionGroupCount; ++g) {
    const std::size_t group = kFirstDetectionGroup + g;
    slots.detection[g].scan_id = SlotOf(group, "ScanID");
    for (std::size_t d = 0; d < kDetectionsPerGroup; ++d) {
      for (std::size_t s = 0; s < kDetectionSignals; ++s) {
        slots.detection[g].signal[d][s] = SlotOf(group, kDetectionSignalSuffixes[s] + std::to_string(d));
      }
    }
  }
  return slots;
}

// One builder per group, every raw value 0, indexed by group.
std::array<GroupPayloadBuilder, kGroupCount> MakeBuilders() {
  return MakeBuilders(std::make_index_sequence<kGroupCount>());
}

void FillStatus(GroupPayloadBuilder& status1, GroupPayloadBuilder& status2, std::uint8_t scan_id,
                const std::array<std::uint64_t, 4>& stamps, Random& random) {
  for (std::size_t mode = 0; mode < 4; ++mode) {
    SetRawByName(status1, "TimeStamp" + std::to_string(mode), stamps[mode]);
  }
  SetByName(status1, "XAxisOffs", kMountXMetres);
  SetByName(status1, "YAxisOffs", kMountYMetres);
  SetByName(status1, "ZAxisOffs", kMountZMetres);
  SetByName(status1, "XOrientAng", 0.0);
  SetByName(status1, "YOrientAng", 0.0);
  SetByName(status1, "ZOrientAng", kMountYawDegrees);
  SetRawByName(status1, "DtnListSysSftyFailureFlag", 0);  // normal
  SetRawByName(status1, "IfVersMinor", 1);
  SetRawByName(status1, "IfVersMajor", 2);
  SetRawByName(status1, "SWVersMajor", 3);
  SetRawByName(status1, "SWVersMinor", 12);
  SetRawByName(status1, "PhaseNoise", 0);  // not detected
  SetRawByName(status1, "ScanID", scan_id);
  SetRawByName(status1, "RSPStatusInfo", 1);       // valid
  SetRawByName(status1, "Blockage", 2);            // no blockage
  SetRawByName(status1, "Interference", 2);        // no interference
  SetRawByName(status1, "DtnListFaultReason", 0);  // no fault
  SetRawByName(status1, "RdrStsDetn", 1);          // active
  SetRawByName(status1, "RdrEmsnSts", 1);          // emitting
  SetRawByName(status1, "TimeStampStatus", 1);     // synchronised

  SetRawByName(status2, "TimeStampObj", stamps[2]);
  SetRawByName(status2, "ScanID", scan_id);
  SetRawByName(status2, "InterferenceLev", static_cast<std::uint64_t>(random.Int(0, 3)));
  SetRawByName(status2, "CalRltSts", 0);  // calibration OK
  SetByName(status2, "AziMisAlnmntAng", 0.3);
  SetByName(status2, "EleMisAlnmntAng", -0.2);
  SetRawByName(status2, "BlockageLev", static_cast<std::uint64_t>(random.Int(0, 2)));
  SetRawByName(status2, "ObjSysSftyFailureFlag", 0);
  SetRawByName(status2, "StateMachineStatus", 0);  // normal
  SetRawByName(status2, "CommFltReason", 0);
  SetRawByName(status2, "TrackStatusInfo", 2);  // tracking active
  SetRawByName(status2, "StsSysSftyFailureFlag", 0);
  SetRawByName(status2, "PCANSyncStatusInfo", 1);  // synchronised
  SetRawByName(status2, "ObjListFaultReason", 0);
  SetRawByName(status2, "CalPrgrsSts", 100);
  SetRawByName(status2, "CalSts", 1);     // no longer ongoing: complete
  SetRawByName(status2, "RdrStsObj", 1);  // active
}

// The object list: the tracked road users and parked cars the radar sees, nearest first, at most 20.
void FillObjects(std::array<GroupPayloadBuilder, kGroupCount>& builders, const Scene& scene, double t_s,
                 std::uint8_t scan_id, std::uint32_t index, Random& random) {
  struct Tracked {
    const Actor* actor;
    Motion motion;
    double distance;
  };
  std::vector<Tracked> tracked;
  for (const Actor& actor : scene.actors) {
    if (actor.kind == ActorKind::kPost) {
      continue;
    }
    const Motion motion = ActorMotion(actor, scene.ego_speed, t_s);
    const double dx = motion.x - kSensor.x;
    const double dy = actor.y - kSensor.y;
    const double distance = std::sqrt(dx * dx + dy * dy);
    const double azimuth = WrapAngle(std::atan2(dy, dx) - kSensor.yaw);
    if (distance <= kMaxDetectionRange && std::fabs(azimuth) <= kFieldOfViewHalfAngle + 0.1) {
      tracked.push_back(Tracked{&actor, motion, distance});
    }
  }
  std::stable_sort(tracked.begin(), tracked.end(),
                   [](const Tracked& a, const Tracked& b) { return a.distance < b.distance; });
  for (std::size_t object = 0; object < 2 * kObjectGroupCount; ++object) {
    GroupPayloadBuilder& builder = builders[kFirstObjectGroup + object / 2];
    const std::string n = std::to_string(object % 2);
    if (object % 2 == 0) {
      SetRawByName(builder, "ScanID", scan_id);
      SetRawByName(builder, "MsgCntr", index % 16U);
    }
    if (object >= tracked.size()) {
      SetRawByName(builder, "FuseInfo" + n, 3);  // no object
      SetRawByName(builder, "MtnPtnClas" + n, 4);
      SetByName(builder, "LatPos" + n, 0.0);
      SetByName(builder, "LongPos" + n, 0.0);
      SetByName(builder, "LatVel" + n, 0.0);
      SetByName(builder, "LongVel" + n, 0.0);
      SetByName(builder, "HeadAng" + n, 0.0);
      SetByName(builder, "LongAccl" + n, 0.0);
      SetByName(builder, "LatAccl" + n, 0.0);
      continue;
    }
    const Actor& actor = *tracked[object].actor;
    const Motion& motion = tracked[object].motion;
    const bool moving = std::fabs(motion.speed) > 0.3;
    SetRawByName(builder, "FuseInfo" + n, 1);  // from this (left) sensor
    SetByName(builder, "LatPos" + n, actor.y + 0.1 * random.Normal());
    SetByName(builder, "LongPos" + n, motion.x + 0.1 * random.Normal());
    SetByName(builder, "LatVel" + n, 0.05 * random.Normal());
    SetByName(builder, "LongVel" + n, motion.speed - scene.ego_speed + 0.05 * random.Normal());
    SetRawByName(builder, "MtnPtnClas" + n, moving ? 0 : 2);  // moving straight or stationary
    SetRawByName(builder, "CoastCntr" + n, 0);
    SetByName(builder, "HeadAng" + n, motion.speed < 0.0 ? 3.14 : 0.0);
    SetRawByName(builder, "ObjID" + n, actor.object_id);
    SetByName(builder, "LongAccl" + n, 0.0);
    SetRawByName(builder, "Confidance" + n, static_cast<std::uint64_t>(random.Int(80, 99)));
    SetByName(builder, "LatAccl" + n, 0.0);
    SetByName(builder, "ObjWid" + n, actor.width);
    SetByName(builder, "ObjLen" + n, actor.length);
    SetByName(builder, "StdLatAccl" + n, 0.2);
    SetByName(builder, "StdLatPos" + n, 0.2);
    SetByName(builder, "StdLatVel" + n, 0.3);
    SetByName(builder, "StdLongPos" + n, 0.2);
    SetByName(builder, "StdLongVel" + n, 0.3);
    SetByName(builder, "StdLongAccl" + n, 0.4);
    SetRawByName(builder, "TrkSts" + n, 1);  // updated
    SetRawByName(builder, "RefPt" + n, 9);   // middle
    SetRawByName(builder, "ObjClas" + n, actor.object_class);
  }
}

// Fills the 40 detection groups and returns what the HAL will publish for them.
void FillDetections(std::array<GroupPayloadBuilder, kGroupCount>& builders, const Slots& slots,
                    std::vector<Candidate> candidates, std::uint8_t scan_id) {
  if (candidates.size() > kDetectionsPerScan) {
    // More reflections than slots: the radar keeps the strongest.
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const Candidate& a, const Candidate& b) { return a.snr > b.snr; });
    candidates.resize(kDetectionsPerScan);
  }
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const Candidate& a, const Candidate& b) { return a.range < b.range; });
  for (std::size_t g = 0; g < kDetectionGroupCount; ++g) {
    GroupPayloadBuilder& builder = builders[kFirstDetectionGroup + g];
    const DetectionSlots& group_slots = slots.detection[g];
    builder.SetRaw(group_slots.scan_id, scan_id);
    for (std::size_t d = 0; d < kDetectionsPerGroup; ++d) {
      const std::size_t number = g * kDetectionsPerGroup + d;
      const std::size_t* signal = group_slots.signal[d];
      if (number >= candidates.size()) {
        // An empty slot: physical zeros, marked unpopulated.
        for (const DetectionSignal s : {kEleAng, kRange, kAziAng, kSnr, kRngRt, kRcs}) {
          builder.SetPhysical(signal[s], 0.0);
        }
        builder.SetRaw(signal[kMode], 0);
        builder.SetRaw(signal[kDynPrPty], 0);
        builder.SetRaw(signal[kQuality], kQualityUnpopulated);
        continue;
      }
      const Candidate& c = candidates[number];
      // Values are kept inside the signals' ranges, so that nothing is clipped by the decoder.
      builder.SetPhysical(signal[kEleAng], std::min(std::max(c.elevation, -0.45), 0.45));
      builder.SetPhysical(signal[kRange], std::min(std::max(c.range, 0.3), 299.0));
      builder.SetPhysical(signal[kAziAng], c.azimuth);
      builder.SetPhysical(signal[kSnr], c.snr);
      builder.SetPhysical(signal[kRngRt], std::min(std::max(c.range_rate, -105.0), 105.0));
      builder.SetPhysical(signal[kRcs], std::min(std::max(c.rcs, -39.0), 39.0));
      builder.SetRaw(signal[kMode], ModeOf(c.range));
      builder.SetRaw(signal[kQuality], QualityOf(c.snr));
      builder.SetRaw(signal[kDynPrPty], c.dynamic ? 1 : 0);
    }
  }
}

// What the HAL makes of a scan's intended payloads.
void Expect(const std::array<std::vector<std::uint8_t>, kGroupCount>& payloads, const Slots& slots,
            SimulatedScan& scan) {
  const std::vector<std::uint8_t>& status1 = payloads[kStatus1Group];
  scan.x_offset = static_cast<float>(Decoded(kStatus1Group, SlotOf(kStatus1Group, "XAxisOffs"), status1));
  scan.y_offset = static_cast<float>(Decoded(kStatus1Group, SlotOf(kStatus1Group, "YAxisOffs"), status1));
  scan.z_orient_deg = static_cast<float>(Decoded(kStatus1Group, SlotOf(kStatus1Group, "ZOrientAng"), status1));
  scan.populated = 0;
  for (std::size_t g = 0; g < kDetectionGroupCount; ++g) {
    const std::size_t group = kFirstDetectionGroup + g;
    const std::vector<std::uint8_t>& payload = payloads[group];
    for (std::size_t d = 0; d < kDetectionsPerGroup; ++d) {
      const std::size_t* signal = slots.detection[g].signal[d];
      SimulatedDetection& detection = scan.detections[g * kDetectionsPerGroup + d];
      detection.range = static_cast<float>(Decoded(group, signal[kRange], payload));
      detection.azimuth = static_cast<float>(Decoded(group, signal[kAziAng], payload));
      detection.elevation = static_cast<float>(Decoded(group, signal[kEleAng], payload));
      detection.range_rate = static_cast<float>(Decoded(group, signal[kRngRt], payload));
      detection.rcs = static_cast<float>(Decoded(group, signal[kRcs], payload));
      detection.snr = static_cast<float>(Decoded(group, signal[kSnr], payload));
      detection.quality = static_cast<std::uint8_t>(DecodedRaw(group, signal[kQuality], payload));
      detection.mode = static_cast<std::uint8_t>(DecodedRaw(group, signal[kMode], payload));
      detection.dynamic = DecodedRaw(group, signal[kDynPrPty], payload) == 1U;
      if (detection.quality != kQualityUnpopulated) {
        ++scan.populated;
      }
    }
  }
}

// The order the radar sends a scan's groups in: both status groups, the detections, then the objects.
std::array<std::size_t, kGroupCount> SendOrder() {
  std::array<std::size_t, kGroupCount> order{};
  std::size_t position = 0;
  order[position++] = kStatus1Group;
  order[position++] = kStatus2Group;
  for (std::size_t g = 0; g < kDetectionGroupCount; ++g) {
    order[position++] = kFirstDetectionGroup + g;
  }
  for (std::size_t g = 0; g < kObjectGroupCount; ++g) {
    order[position++] = kFirstObjectGroup + g;
  }
  return order;
}

CanFrame MakeFrame(std::int64_t t_ns, std::size_t group, const std::vector<std::uint8_t>& payload, std::size_t length) {
  CanFrame frame;
  frame.timestamp_ns = t_ns;
  frame.id = FrameMap::kDefaultBaseId + static_cast<std::uint32_t>(group);
  frame.fd = true;
  frame.iface = kInterface;
  const std::size_t copied = std::min(length, payload.size());
  std::memcpy(frame.data, payload.data(), copied);
  // The padding up to a CAN FD length is zero, as most senders fill it.
  frame.length = static_cast<std::uint8_t>(CanFdLength(length));
  return frame;
}

}  // namespace fsrl::internal
