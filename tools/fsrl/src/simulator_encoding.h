// Simulator concern: group encoding: a scan's values into the radar's signal groups, the frames that carry
// them, and what the HAL will decode from them.
#ifndef FSRL_SRC_SIMULATOR_ENCODING_H
#define FSRL_SRC_SIMULATOR_ENCODING_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_builder.h"
#include "fsrl/simulator.h"
#include "simulator_random.h"
#include "simulator_scene.h"

namespace fsrl::internal {

// Signals of one detection, in the order their name suffixes are listed.
enum DetectionSignal { kEleAng, kRange, kMode, kAziAng, kSnr, kRngRt, kQuality, kDynPrPty, kRcs, kDetectionSignals };

// Slots of the detection groups' signals, found by name once per simulation.
struct DetectionSlots {
  std::size_t scan_id;
  std::size_t signal[kDetectionsPerGroup][kDetectionSignals];
};

struct Slots {
  std::array<DetectionSlots, kDetectionGroupCount> detection;
};

Slots FindSlots();

// One builder per group, every raw value 0, indexed by group.
std::array<GroupPayloadBuilder, kGroupCount> MakeBuilders();

// Both status groups of a scan: mounting, versions, sensor time stamps, a healthy sensor.
void FillStatus(GroupPayloadBuilder& status1, GroupPayloadBuilder& status2, std::uint8_t scan_id,
                const std::array<std::uint64_t, 4>& stamps, Random& random);

// The object list: the tracked road users and parked cars the radar sees, nearest first, at most 20.
void FillObjects(std::array<GroupPayloadBuilder, kGroupCount>& builders, const Scene& scene, double t_s,
                 std::uint8_t scan_id, std::uint32_t index, Random& random);

// Fills the 40 detection groups and returns what the HAL will publish for them.
void FillDetections(std::array<GroupPayloadBuilder, kGroupCount>& builders, const Slots& slots,
                    std::vector<Candidate> candidates, std::uint8_t scan_id);

// What the HAL makes of a scan's intended payloads.
void Expect(const std::array<std::vector<std::uint8_t>, kGroupCount>& payloads, const Slots& slots,
            SimulatedScan& scan);

// The order the radar sends a scan's groups in: both status groups, the detections, then the objects.
std::array<std::size_t, kGroupCount> SendOrder();

// The frame of @p group sent at @p t_ns: the first @p length bytes of @p payload, padded to a CAN FD length.
CanFrame MakeFrame(std::int64_t t_ns, std::size_t group, const std::vector<std::uint8_t>& payload, std::size_t length);

}  // namespace fsrl::internal

#endif  // FSRL_SRC_SIMULATOR_ENCODING_H
