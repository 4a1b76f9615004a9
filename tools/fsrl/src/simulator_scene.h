// Simulator concern: the scene: a street, the road users and fixed objects along it, and what the radar sees of
// them at a moment.
#ifndef FSRL_SRC_SIMULATOR_SCENE_H
#define FSRL_SRC_SIMULATOR_SCENE_H

#include <cstdint>
#include <vector>

#include "fsrl/simulator.h"
#include "simulator_random.h"

namespace fsrl::internal {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegree = kPi / 180.0;

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

// The scene for @p seed: the actors' places and speeds vary with it, the street's layout does not.
Scene MakeScene(std::uint64_t seed);

// Where @p actor is along the street and how fast it moves at @p t_s seconds after the first scan.
Motion ActorMotion(const Actor& actor, double ego_speed, double t_s);

// @p angle in (-pi, pi].
double WrapAngle(double angle);

// The reflections the radar receives at @p t_s seconds after the first scan, with measurement noise from
// @p random, in no particular order.
std::vector<Candidate> ObserveScene(const Scene& scene, double t_s, Random& random);

}  // namespace fsrl::internal

#endif  // FSRL_SRC_SIMULATOR_SCENE_H
