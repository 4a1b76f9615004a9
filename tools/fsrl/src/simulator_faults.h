// Simulator concern: faults: their command-line form, the options they must fit, and what they do to a frame.
#ifndef FSRL_SRC_SIMULATOR_FAULTS_H
#define FSRL_SRC_SIMULATOR_FAULTS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "fsrl/simulator.h"

namespace fsrl::internal {

// Applies those of one scan's @p faults that target @p group to its frame about to be sent: @p payload (the
// intended one; @p previous is the group's payload of the scan before) and the @p length sent.
// @return false when the frame is not sent at all
bool ApplyFrameFaults(const std::vector<const Fault*>& faults, std::size_t group,
                      const std::vector<std::uint8_t>& previous, std::vector<std::uint8_t>& payload,
                      std::size_t& length);

}  // namespace fsrl::internal

#endif  // FSRL_SRC_SIMULATOR_FAULTS_H
