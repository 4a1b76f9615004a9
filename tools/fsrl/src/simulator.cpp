#include "fsrl/simulator.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <utility>

#include "fsrl/frame_builder.h"
#include "initialfrontsideradarlefthal_e2e_database.h"
#include "zol/e2e/signal_codec.h"

namespace fsrl {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegree = kPi / 180.0;
constexpr std::uint32_t kMaxScans = 10000000;
constexpr std::int64_t kMaxPeriodNs = 60000000000;
constexpr std::uint32_t kMaxSilenceMs = 3600000;
constexpr char kInterface[] = "can0";

// ---------------------------------------------------------------------------------------------------------------
// Random numbers. The standard distributions are implementation-defined, so the same seed would give different
// logs with different standard libraries; splitmix64 and plain arithmetic give the same numbers everywhere.

std::uint64_t Mix(std::uint64_t value) {
  value += 0x9E3779B97F4A7C15ULL;
  value = (value ^ (value >> 30U)) * 0xBF58476D1CE4E5B9ULL;
  value = (value ^ (value >> 27U)) * 0x94D049BB133111EBULL;
  return value ^ (value >> 31U);
}

class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(Mix(seed)) {}

  std::uint64_t Next() {
    state_ += 0x9E3779B97F4A7C15ULL;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27U)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31U);
  }
  /// Uniform in [0, 1), 53 bits.
  double Uniform() { return static_cast<double>(Next() >> 11U) * (1.0 / 9007199254740992.0); }
  double Uniform(double low, double high) { return low + (high - low) * Uniform(); }
  /// Approximately standard normal: the sum of twelve uniforms has mean 6 and variance 1, and needs no libm.
  double Normal() {
    double sum = 0.0;
    for (int i = 0; i < 12; ++i) {
      sum += Uniform();
    }
    return sum - 6.0;
  }
  bool Chance(double probability) { return Uniform() < probability; }
  /// Uniform integer in [low, high].
  int Int(int low, int high) { return low + static_cast<int>(Next() % static_cast<std::uint64_t>(high - low + 1)); }

 private:
  std::uint64_t state_;
};

// ---------------------------------------------------------------------------------------------------------------
// The scene: a straight urban street seen from the left front corner of a car driving along it. Everything is
// in vehicle coordinates (x forward, y left) and repeats along the street with period kLoopLength, so that any
// number of scans can be simulated; the seam lies behind the radar's field of view and beyond its range.

constexpr double kLoopStart = -40.0;
constexpr double kLoopLength = 140.0;

enum class ActorKind { kCar, kTruck, kPedestrian, kParkedCar, kPost };

struct Actor {
  ActorKind kind;
  double x0;      // position along the street at time 0, relative to the vehicle's origin
  double y;       // lateral position of its centre
  double speed;   // over ground, along x
  double length;  // along x
  double width;
  double height;  // of its main reflection above the road
  double rcs;     // mean, dBsm
  double detect_probability;
  std::uint8_t object_class;  // ObjClas raw value of the object list
  std::uint8_t object_id;
  double sway = 0.0;         // amplitude of a slow back-and-forth along x on top of the steady speed, metres
  double sway_period = 1.0;  // seconds
};

// Where an actor is along the street and how fast it moves over ground at time t.
struct Motion {
  double x;
  double speed;
};

struct Scene {
  double ego_speed;
  std::vector<Actor> actors;
};

Scene MakeScene(std::uint64_t seed) {
  Random random(seed ^ 0x5CE4E5EED5CE4E00ULL);
  Scene scene;
  scene.ego_speed = random.Uniform(7.0, 9.0);
  const double jitter = random.Uniform(-4.0, 4.0);
  std::uint8_t next_id = 1;
  const auto add = [&scene, &next_id](ActorKind kind, double x0, double y, double speed, double length, double width,
                                      double height, double rcs, double probability,
                                      std::uint8_t object_class) -> Actor& {
    scene.actors.push_back(
        Actor{kind, x0, y, speed, length, width, height, rcs, probability, object_class, next_id++, 0.0, 1.0});
    return scene.actors.back();
  };
  // Lanes: the vehicle's own at y = 0, a second one in its direction at 3.5, oncoming traffic at 7.0, then a
  // parking lane, the pavement and a row of trees.
  const double overtaking = scene.ego_speed + random.Uniform(3.5, 5.0);
  add(ActorKind::kCar, -6.0 + 0.5 * jitter, 3.5, overtaking, 4.6, 1.9, 0.6, 11.0, 0.9, 4);
  add(ActorKind::kCar, -32.0 + jitter, 3.5, overtaking, 4.4, 1.8, 0.6, 10.0, 0.9, 4);
  // A car ahead in the vehicle's own lane, following at about the same speed: the gap opens and closes slowly.
  Actor& lead = add(ActorKind::kCar, 24.0 + 0.5 * jitter, 0.0, scene.ego_speed, 4.5, 1.8, 0.6, 12.0, 0.9, 4);
  lead.sway = 6.0;
  lead.sway_period = random.Uniform(30.0, 40.0);
  const double oncoming = -random.Uniform(8.0, 11.0);
  add(ActorKind::kCar, 72.0 + jitter, 7.0, oncoming, 4.7, 1.9, 0.6, 12.0, 0.9, 4);
  add(ActorKind::kTruck, 20.0 - jitter, 7.2, oncoming, 10.5, 2.5, 1.2, 20.0, 0.95, 5);
  add(ActorKind::kPedestrian, 25.0 + jitter, 12.6, random.Uniform(1.1, 1.5), 0.4, 0.4, 0.9, -6.0, 0.75, 1);
  add(ActorKind::kPedestrian, 68.0 - jitter, 12.9, -random.Uniform(0.9, 1.3), 0.4, 0.4, 0.9, -7.0, 0.7, 1);
  // Parked cars along the far kerb, bumper to bumper with irregular gaps.
  double x = kLoopStart + random.Uniform(0.0, 4.0);
  while (x < kLoopStart + kLoopLength - 6.0) {
    const double length = random.Uniform(4.0, 4.9);
    add(ActorKind::kParkedCar, x + 0.5 * length, 10.4, 0.0, length, 1.8, 0.5, random.Uniform(6.0, 12.0), 0.8, 4);
    x += length + random.Uniform(1.0, 7.0);
  }
  // Trees behind the pavement, every 10 m: fixed points that show the vehicle's own motion.
  const double tree_phase = random.Uniform(0.0, 10.0);
  for (int i = 0; i < 14; ++i) {
    add(ActorKind::kPost, kLoopStart + tree_phase + 10.0 * i, 14.8, 0.0, 0.5, 0.5, 1.5, 6.0, 0.7, 0);
  }
  // Reflector posts along the right-hand kerb, every 4 m: seen ahead and to the right.
  const double post_phase = random.Uniform(0.0, 4.0);
  for (int i = 0; i < 35; ++i) {
    add(ActorKind::kPost, kLoopStart + post_phase + 4.0 * i, -3.4, 0.0, 0.2, 0.2, 0.8, 0.0, 0.55, 0);
  }
  return scene;
}

double WrapAlongStreet(double x) {
  double offset = std::fmod(x - kLoopStart, kLoopLength);
  if (offset < 0.0) {
    offset += kLoopLength;
  }
  return kLoopStart + offset;
}

double WrapAngle(double angle) {
  while (angle > kPi) {
    angle -= 2.0 * kPi;
  }
  while (angle <= -kPi) {
    angle += 2.0 * kPi;
  }
  return angle;
}

// A detection before quantisation, in the sensor's frame.
struct Candidate {
  double range;
  double azimuth;
  double elevation;
  double range_rate;
  double rcs;
  double snr;
  bool dynamic;
};

struct Sensor {
  double x;
  double y;
  double z;
  double yaw;  // radians
};

constexpr Sensor kSensor{kMountXMetres, kMountYMetres, kMountZMetres, kMountYawDegrees* kDegree};

// Signal-to-noise ratio from the radar equation, in dB: grows with the cross section, falls with the fourth
// power of the range.
double Snr(double rcs, double range, Random& random) {
  const double snr = 30.0 + 0.7 * rcs - 40.0 * std::log10(std::max(range, 1.0) / 8.0) + 1.5 * random.Normal();
  return std::min(std::max(snr, 1.0), 62.5);
}

// Adds a detection of a point (px, py) at height pz moving with (vx, 0) over ground, when the radar sees it.
void Observe(double px, double py, double pz, double vx, double rcs_mean, bool dynamic, double rate_noise,
             double ego_speed, Random& random, std::vector<Candidate>& out) {
  const double dx = px - kSensor.x;
  const double dy = py - kSensor.y;
  const double range = std::sqrt(dx * dx + dy * dy);
  if (range < 0.5 || range > kMaxDetectionRange) {
    return;
  }
  const double azimuth = WrapAngle(std::atan2(dy, dx) - kSensor.yaw);
  if (std::fabs(azimuth) > kFieldOfViewHalfAngle) {
    return;
  }
  Candidate candidate;
  candidate.range = range + 0.04 * random.Normal();
  candidate.azimuth = azimuth + 0.003 * random.Normal();
  candidate.elevation = std::atan2(pz - kSensor.z, range) + 0.006 * random.Normal();
  // Radial speed: the relative velocity (the vehicle moves along x, the target along x) along the line of sight.
  candidate.range_rate = (vx - ego_speed) * dx / range + rate_noise * random.Normal();
  candidate.rcs = rcs_mean + 2.0 * random.Normal();
  candidate.snr = Snr(candidate.rcs, range, random);
  candidate.dynamic = dynamic;
  out.push_back(candidate);
}

// Reflections of a box-shaped actor: a few points along each side that faces the radar.
void ObserveBox(const Actor& actor, const Motion& motion, double ego_speed, Random& random,
                std::vector<Candidate>& out) {
  const double cx = motion.x;
  const double half_length = 0.5 * actor.length;
  const double half_width = 0.5 * actor.width;
  struct Side {
    double x0, y0, x1, y1, nx, ny;
  };
  const Side sides[] = {
      {cx - half_length, actor.y + half_width, cx + half_length, actor.y + half_width, 0.0, 1.0},
      {cx - half_length, actor.y - half_width, cx + half_length, actor.y - half_width, 0.0, -1.0},
      {cx + half_length, actor.y - half_width, cx + half_length, actor.y + half_width, 1.0, 0.0},
      {cx - half_length, actor.y - half_width, cx - half_length, actor.y + half_width, -1.0, 0.0},
  };
  const bool dynamic = std::fabs(motion.speed) > 0.3;
  for (const Side& side : sides) {
    const double mx = 0.5 * (side.x0 + side.x1) - kSensor.x;
    const double my = 0.5 * (side.y0 + side.y1) - kSensor.y;
    if (side.nx * mx + side.ny * my >= 0.0) {
      continue;  // faces away from the radar
    }
    // Strong reflections come from the same spots scan after scan (corners, wheel houses, the middle of a
    // face), each seen with the actor's probability and a little jitter.
    static const double kLongSide[] = {0.1, 0.5, 0.9};
    static const double kShortSide[] = {0.5};
    const double side_length = std::fabs(side.x1 - side.x0) + std::fabs(side.y1 - side.y0);
    const bool long_side = side_length > 3.0;
    const double* spots = long_side ? kLongSide : kShortSide;
    const int count = long_side ? 3 : 1;
    for (int i = 0; i < count; ++i) {
      const double along = std::min(std::max(spots[i] + 0.3 / side_length * random.Normal(), 0.0), 1.0);
      const bool detected = random.Chance(actor.detect_probability);
      const double px = side.x0 + along * (side.x1 - side.x0);
      const double py = side.y0 + along * (side.y1 - side.y0);
      if (detected) {
        Observe(px, py, actor.height, motion.speed, actor.rcs, dynamic, 0.03, ego_speed, random, out);
      }
    }
  }
}

Motion ActorMotion(const Actor& actor, double ego_speed, double t_s) {
  const double phase = 2.0 * kPi * t_s / actor.sway_period;
  return Motion{WrapAlongStreet(actor.x0 + (actor.speed - ego_speed) * t_s + actor.sway * std::sin(phase)),
                actor.speed + actor.sway * 2.0 * kPi / actor.sway_period * std::cos(phase)};
}

std::vector<Candidate> ObserveScene(const Scene& scene, double t_s, Random& random) {
  std::vector<Candidate> candidates;
  for (const Actor& actor : scene.actors) {
    const Motion motion = ActorMotion(actor, scene.ego_speed, t_s);
    const double cx = motion.x;
    switch (actor.kind) {
      case ActorKind::kCar:
      case ActorKind::kTruck:
      case ActorKind::kParkedCar:
        ObserveBox(actor, motion, scene.ego_speed, random, candidates);
        break;
      case ActorKind::kPedestrian:
        // Swinging arms and legs spread a walker's radial speed.
        if (random.Chance(actor.detect_probability)) {
          Observe(cx, actor.y, actor.height, motion.speed, actor.rcs, true, 0.25, scene.ego_speed, random, candidates);
        }
        break;
      case ActorKind::kPost:
        if (random.Chance(actor.detect_probability)) {
          Observe(cx, actor.y, actor.height, 0.0, actor.rcs, false, 0.03, scene.ego_speed, random, candidates);
        }
        break;
    }
  }
  // Clutter: weak stationary returns from the road surface anywhere in the field of view up to 40 m.
  const int clutter = random.Int(4, 12);
  for (int i = 0; i < clutter; ++i) {
    const double range = std::sqrt(random.Uniform(9.0, 1600.0));
    const double bearing = kSensor.yaw + random.Uniform(-kFieldOfViewHalfAngle, kFieldOfViewHalfAngle);
    Observe(kSensor.x + range * std::cos(bearing), kSensor.y + range * std::sin(bearing), 0.0, 0.0,
            random.Uniform(-26.0, -12.0), false, 0.05, scene.ego_speed, random, candidates);
  }
  return candidates;
}

// ---------------------------------------------------------------------------------------------------------------
// Signals, found by name once per simulation.

const char* const kDetectionSignalSuffixes[] = {"EleAng", "Range",   "Mode",     "AziAng", "SNR",
                                                "RngRt",  "Quality", "DynPrPty", "RCS"};
enum DetectionSignal { kEleAng, kRange, kMode, kAziAng, kSnr, kRngRt, kQuality, kDynPrPty, kRcs, kDetectionSignals };

std::size_t SlotOf(std::size_t group, const std::string& suffix) {
  const int slot = FindSignalSlot(group, std::string(GroupName(group)) + suffix);
  return slot < 0 ? static_cast<std::size_t>(-1) : static_cast<std::size_t>(slot);
}

struct DetectionSlots {
  std::size_t scan_id;
  std::size_t signal[kDetectionsPerGroup][kDetectionSignals];
};

struct Slots {
  std::array<DetectionSlots, kDetectionGroupCount> detection;
};

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

// One builder per group, every raw value 0, indexed by group.
std::array<GroupPayloadBuilder, kGroupCount> MakeBuilders() {
  return MakeBuilders(std::make_index_sequence<kGroupCount>());
}

void SetByName(GroupPayloadBuilder& builder, const std::string& suffix, double physical) {
  builder.SetPhysical(std::string(GroupName(builder.group_index())) + suffix, physical);
}

void SetRawByName(GroupPayloadBuilder& builder, const std::string& suffix, std::uint64_t raw) {
  builder.SetRaw(std::string(GroupName(builder.group_index())) + suffix, raw);
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

class Simulator::Impl {
 public:
  explicit Impl(const SimulationOptions& options)
      : options_(options), scene_(MakeScene(options.seed)), slots_(FindSlots()), order_(SendOrder()) {
    std::string ignored;
    valid_ = ValidateSimulationOptions(options_, ignored);
    // Faults by scan, so that each scan looks only at its own; faults of one scan keep the order they were given.
    std::stable_sort(options_.faults.begin(), options_.faults.end(),
                     [](const Fault& a, const Fault& b) { return a.scan < b.scan; });
    counters_.fill(options_.start_counter);
    // The radar's clock: its own epoch, counting nanoseconds since it started; it keeps running through silences.
    sensor_start_ns_ = 8000000000ULL + (Mix(options_.seed) % 1000000ULL) * 1000ULL;
    faults_here_.reserve(8);
  }

  bool Next(SimulatedScan& scan, std::vector<CanFrame>& frames) {
    frames.clear();
    if (!valid_ || index_ >= options_.scans) {
      return false;
    }
    const std::uint32_t index = index_++;
    faults_here_.clear();
    while (next_fault_ < options_.faults.size() && options_.faults[next_fault_].scan == index) {
      faults_here_.push_back(&options_.faults[next_fault_++]);
    }
    for (const Fault* fault : faults_here_) {
      if (fault->kind == FaultKind::kSilence) {
        // Whole periods keep every later scan's frames on the same phase of the scan grid, so a replay with the
        // scan period still sees each scan in one cycle.
        const std::int64_t silence_ns = static_cast<std::int64_t>(fault->amount) * 1000000;
        delay_ns_ += (silence_ns + options_.period_ns - 1) / options_.period_ns * options_.period_ns;
      }
    }
    const std::int64_t scan_time_ns =
        options_.start_time_ns + static_cast<std::int64_t>(index) * options_.period_ns + delay_ns_;
    const double t_s = static_cast<double>(scan_time_ns - options_.start_time_ns) * 1e-9;
    const std::uint8_t scan_id = static_cast<std::uint8_t>(index & 0xFFU);
    // Each scan's noise comes from its own stream, so that a fault in one scan changes no other.
    Random random(Mix(options_.seed) ^ Mix(0xD1CE0000ULL + index));

    const std::uint64_t mid_ns = sensor_start_ns_ + static_cast<std::uint64_t>(scan_time_ns - options_.start_time_ns);
    const std::array<std::uint64_t, 4> stamps = {mid_ns - 9000000ULL, mid_ns - 4500000ULL, mid_ns, mid_ns + 4500000ULL};

    std::array<GroupPayloadBuilder, kGroupCount> builders = MakeBuilders();
    FillStatus(builders[kStatus1Group], builders[kStatus2Group], scan_id, stamps, random);
    FillDetections(builders, slots_, ObserveScene(scene_, t_s, random), scan_id);
    FillObjects(builders, scene_, t_s, scan_id, index, random);

    for (const Fault* fault : faults_here_) {
      if (fault->kind == FaultKind::kCounterJump) {
        counters_[fault->group] = static_cast<std::uint8_t>(counters_[fault->group] + fault->amount);
      }
    }
    std::array<std::vector<std::uint8_t>, kGroupCount> payloads;
    for (std::size_t group = 0; group < kGroupCount; ++group) {
      payloads[group] = builders[group].Build(counters_[group]);
      counters_[group] = static_cast<std::uint8_t>(counters_[group] + 1U);
    }

    scan = SimulatedScan();
    scan.index = index;
    scan.scan_id = scan_id;
    scan.first_frame_ns = scan_time_ns;
    scan.time_stamps = stamps;
    Expect(payloads, slots_, scan);

    for (std::size_t position = 0; position < kGroupCount; ++position) {
      const std::size_t group = order_[position];
      std::vector<std::uint8_t> payload = payloads[group];
      std::size_t length = payload.size();
      bool dropped = false;
      for (const Fault* fault : faults_here_) {
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
            dropped = true;
            break;
          case FaultKind::kRepeat:
            payload = previous_[group];
            break;
          case FaultKind::kShort:
            length = ShortLength(payload.size());
            break;
          case FaultKind::kCounterJump:  // already in the counter
          case FaultKind::kSilence:
            break;
        }
      }
      if (!dropped) {
        frames.push_back(
            MakeFrame(scan_time_ns + static_cast<std::int64_t>(position) * kFrameSpacingNs, group, payload, length));
      }
    }
    previous_ = std::move(payloads);
    return true;
  }

 private:
  SimulationOptions options_;
  bool valid_ = false;
  const Scene scene_;
  const Slots slots_;
  const std::array<std::size_t, kGroupCount> order_;
  std::array<std::uint8_t, kGroupCount> counters_{};
  std::array<std::vector<std::uint8_t>, kGroupCount> previous_;  // last intended payload per group
  std::uint64_t sensor_start_ns_ = 0;
  std::int64_t delay_ns_ = 0;  // added by silences so far
  std::uint32_t index_ = 0;
  std::size_t next_fault_ = 0;
  std::vector<const Fault*> faults_here_;
};

Simulator::Simulator(const SimulationOptions& options) : impl_(std::make_unique<Impl>(options)) {}
Simulator::~Simulator() = default;
bool Simulator::Next(SimulatedScan& scan, std::vector<CanFrame>& frames) { return impl_->Next(scan, frames); }

Simulation Simulate(const SimulationOptions& options) {
  Simulation simulation;
  std::string ignored;
  if (!ValidateSimulationOptions(options, ignored)) {
    return simulation;
  }
  simulation.frames.reserve(static_cast<std::size_t>(options.scans) * kGroupCount);
  simulation.scans.reserve(options.scans);
  Simulator simulator(options);
  SimulatedScan scan;
  std::vector<CanFrame> frames;
  while (simulator.Next(scan, frames)) {
    simulation.scans.push_back(scan);
    simulation.frames.insert(simulation.frames.end(), frames.begin(), frames.end());
  }
  return simulation;
}

CandumpLogWriter::CandumpLogWriter(std::FILE* out) : out_(out) { block_.reserve(kBlockBytes); }

bool CandumpLogWriter::Write(const CanFrame& frame) {
  block_ += FormatCandumpLine(frame.timestamp_ns, frame.iface, CanId{frame.id, frame.extended}, frame.data,
                              frame.length, frame.fd, frame.fd_flags);
  // A candump line is far shorter than the room left, so the block never grows past its reserve.
  if (block_.size() >= kBlockBytes - 256U) {
    return Flush();
  }
  return ok_;
}

bool CandumpLogWriter::Flush() {
  if (ok_ && !block_.empty() && std::fwrite(block_.data(), 1, block_.size(), out_) != block_.size()) {
    ok_ = false;
  }
  block_.clear();
  return ok_;
}

bool CandumpLogWriter::Finish() { return Flush() && std::fflush(out_) == 0; }

bool WriteCandumpLog(const std::vector<CanFrame>& frames, std::FILE* out) {
  CandumpLogWriter writer(out);
  for (const CanFrame& frame : frames) {
    if (!writer.Write(frame)) {
      return false;
    }
  }
  return writer.Finish();
}

}  // namespace fsrl
