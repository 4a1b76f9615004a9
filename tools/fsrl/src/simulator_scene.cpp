// Simulator concern: the scene: a street, the road users and fixed objects along it, and what the radar sees of
// them at a moment.
#include "simulator_scene.h"

#include <algorithm>
#include <cmath>

namespace fsrl::internal {
namespace {

// The scene: a straight urban street seen from the left front corner of a car driving along it. Everything is
// in vehicle coordinates (x forward, y left) and repeats along the street with period kLoopLength, so that any
// number of scans can be simulated; the seam lies behind the radar's field of view and beyond its range.

constexpr double kLoopStart = -40.0;
constexpr double kLoopLength = 140.0;

double WrapAlongStreet(double x) {
  double offset = std::fmod(x - kLoopStart, kLoopLength);
  if (offset < 0.0) {
    offset += kLoopLength;
  }
  return kLoopStart + offset;
}

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

}  // namespace

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

double WrapAngle(double angle) {
  while (angle > kPi) {
    angle -= 2.0 * kPi;
  }
  while (angle <= -kPi) {
    angle += 2.0 * kPi;
  }
  return angle;
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

}  // namespace fsrl::internal
