/// @file
/// @brief A simulated left front corner radar: a moving scene turned into the radar's protected CAN FD frames,
/// with faults injected on request.
///
/// The simulation is a pure function of its options: the same options give the same frames, bit for bit, on
/// every platform (its random numbers come from its own generator, and it never reads a clock).
#ifndef FSRL_SIMULATOR_H
#define FSRL_SIMULATOR_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "fsrl/candump_reader.h"
#include "fsrl/frame_map.h"
#include "fsrl/frame_writer.h"

namespace fsrl {

/// Group indexes of the radar's groups, in the signal database's order.
constexpr std::size_t kFirstDetectionGroup = 0;
constexpr std::size_t kDetectionGroupCount = 40;
constexpr std::size_t kFirstObjectGroup = 40;
constexpr std::size_t kObjectGroupCount = 10;
constexpr std::size_t kStatus1Group = 50;
constexpr std::size_t kStatus2Group = 51;
constexpr std::size_t kDetectionsPerGroup = 5;
constexpr std::size_t kDetectionsPerScan = kDetectionGroupCount * kDetectionsPerGroup;

/// Where the simulated radar sits and what it sees: vehicle coordinates, x forward, y left, in metres.
constexpr double kMountXMetres = 3.6;
constexpr double kMountYMetres = 0.8;
constexpr double kMountZMetres = 0.55;
constexpr double kMountYawDegrees = 50.0;  ///< boresight, counter-clockwise from the vehicle's x axis
/// Half the azimuth range the radar reports detections in (75 degrees), radians.
constexpr double kFieldOfViewHalfAngle = 1.3089969389957472;
/// Farthest detection the simulated radar reports, metres.
constexpr double kMaxDetectionRange = 80.0;

/// Quality value of a detection slot that carries no detection.
constexpr std::uint8_t kQualityUnpopulated = 3;

/// Log time of the first frame when nothing else is asked for: 2023-11-14 22:13:20 UTC.
constexpr std::int64_t kDefaultStartTimeNs = 1700000000000000000;
/// Time between two frames of one scan; a scan's 52 frames take 52 times this.
constexpr std::int64_t kFrameSpacingNs = 100000;
/// Shortest scan period that still leaves the frames of one scan apart from the next scan's.
constexpr std::int64_t kMinPeriodNs = 6000000;

/// What a fault does to the frame of one group at one scan (or, for kSilence, to the time before a scan).
enum class FaultKind {
  kCrc,          ///< the frame's CRC is corrupted
  kDrop,         ///< the frame is not sent
  kRepeat,       ///< the previous scan's frame of the group is sent again, counter included
  kCounterJump,  ///< the group's counter skips `amount` values, from this frame on
  kShort,        ///< the frame is cut to the next shorter CAN FD length
  kSilence,      ///< nothing is sent for at least `amount` ms before the scan
};

/// One fault of a simulation.
struct Fault {
  FaultKind kind = FaultKind::kCrc;
  std::uint32_t scan = 0;    ///< index of the scan (0 = the first simulated scan), not its 8-bit scan id
  std::size_t group = 0;     ///< group index; not used by kSilence
  std::uint32_t amount = 0;  ///< kCounterJump: values skipped (1..255); kSilence: milliseconds (1..3600000)
};

/// @brief Parses a fault given on the command line: `crc:SCAN:GROUP`, `drop:SCAN:GROUP`, `repeat:SCAN:GROUP`,
/// `counterjump:SCAN:GROUP:N`, `short:SCAN:GROUP` or `silence:SCAN:MS`. GROUP is a group name (any letter case)
/// or a group index 0..51.
/// @return true on success; otherwise @p error says what is wrong (and @p fault is unchanged)
bool ParseFault(std::string_view fault_text, Fault& fault, std::string& error);

/// @brief The command-line form of @p fault, with the group by name (ParseFault reads it back).
std::string FormatFault(const Fault& fault);

/// What to simulate.
struct SimulationOptions {
  std::uint32_t scans = 100;                         ///< number of scans
  std::uint64_t seed = 1;                            ///< selects the scene's variation and all measurement noise
  std::int64_t period_ns = 50000000;                 ///< time between scans
  std::uint8_t start_counter = 0;                    ///< E2E counter of every group's first frame
  std::int64_t start_time_ns = kDefaultStartTimeNs;  ///< log time of the first frame
  std::vector<Fault> faults;
};

/// @brief Whether the options describe a simulation that can be run; @p error says why not.
bool ValidateSimulationOptions(const SimulationOptions& options, std::string& error);

/// One detection as the HAL publishes it: the physical values that the frames decode to, in single precision.
struct SimulatedDetection {
  float range = 0.0F;                          ///< metres
  float azimuth = 0.0F;                        ///< radians, sensor frame, counter-clockwise
  float elevation = 0.0F;                      ///< radians
  float range_rate = 0.0F;                     ///< metres per second, negative when approaching
  float rcs = 0.0F;                            ///< dBsm
  float snr = 0.0F;                            ///< dB
  std::uint8_t quality = kQualityUnpopulated;  ///< raw: 0 low, 1 medium, 2 high, 3 unpopulated
  std::uint8_t mode = 0;                       ///< raw: 0 short, 1 near, 2 mid, 3 long
  bool dynamic = false;                        ///< moving target
};

/// One simulated scan, as intended (faults change what is sent, not this).
struct SimulatedScan {
  std::uint32_t index = 0;                     ///< 0 for the first scan
  std::uint8_t scan_id = 0;                    ///< the 8-bit scan id the frames carry
  std::int64_t first_frame_ns = 0;             ///< log time of the scan's first frame (status 1)
  std::array<std::uint64_t, 4> time_stamps{};  ///< sensor time stamps of the short, near, mid and long range modes
  float x_offset = 0.0F;                       ///< mounting values as decoded (metres, metres, degrees)
  float y_offset = 0.0F;
  float z_orient_deg = 0.0F;
  std::size_t populated = 0;  ///< detections with a quality other than kQualityUnpopulated
  std::array<SimulatedDetection, kDetectionsPerScan> detections{};
};

/// A simulation's output.
struct Simulation {
  std::vector<CanFrame> frames;      ///< in time order; every frame is CAN FD on its default-map identifier
  std::vector<SimulatedScan> scans;  ///< one per simulated scan, in order
};

/// @brief A simulation made one scan at a time, in memory that does not depend on the number of scans: what a
/// long run needs (`fsrl simulate` writes each scan's frames as it is made). The same options give the same
/// scans and frames as Simulate.
class Simulator {
 public:
  /// @param options should be valid (ValidateSimulationOptions); otherwise no scan is made
  explicit Simulator(const SimulationOptions& options);
  ~Simulator();
  Simulator(const Simulator&) = delete;
  Simulator& operator=(const Simulator&) = delete;
  Simulator(Simulator&&) = delete;
  Simulator& operator=(Simulator&&) = delete;

  /// @brief Makes the next scan: @p scan as intended, @p frames (replaced) as sent, in time order.
  /// @return false, with @p frames empty, once every scan has been made
  bool Next(SimulatedScan& scan, std::vector<CanFrame>& frames);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

/// @brief Runs a whole simulation and keeps it (about 11 KB a scan; Simulator streams instead). The options must
/// be valid (ValidateSimulationOptions); otherwise the result is empty.
Simulation Simulate(const SimulationOptions& options);

/// @brief Writes frames as a candump log, one line per frame, through a fixed-size block; the candump writer of
/// OpenFrameWriter.
class CandumpLogWriter final : public FrameWriter {
 public:
  explicit CandumpLogWriter(std::FILE* out);
  /// @return false once a write failed (later frames are dropped)
  bool Write(const CanFrame& frame) override;
  /// @brief Writes what is left and flushes the stream. @return false when any write failed
  bool Finish() override;

 private:
  static constexpr std::size_t kBlockBytes = std::size_t{1} << 16;
  bool Flush();
  std::FILE* out_;
  std::string block_;
};

/// @brief Writes @p frames as a candump log, one line per frame (interface "can0").
/// @return false when writing failed
bool WriteCandumpLog(const std::vector<CanFrame>& frames, std::FILE* out);

}  // namespace fsrl

#endif  // FSRL_SIMULATOR_H
