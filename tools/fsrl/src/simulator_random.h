// Simulator concern: random numbers, the same for the same seed on every platform.
#ifndef FSRL_SRC_SIMULATOR_RANDOM_H
#define FSRL_SRC_SIMULATOR_RANDOM_H

#include <cstdint>

namespace fsrl::internal {

// Random numbers. The standard distributions are implementation-defined, so the same seed would give different
// logs with different standard libraries; splitmix64 and plain arithmetic give the same numbers everywhere.

inline std::uint64_t Mix(std::uint64_t value) {
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

}  // namespace fsrl::internal

#endif  // FSRL_SRC_SIMULATOR_RANDOM_H
