#pragma once
/// \file Small seeded random source shared by the signal generator and the fault injector.

#include <mavcommon/MavTypes.h>

namespace velsim {

/// SplitMix64: fast, seedable, and the same sequence on every platform and compiler, which
/// std::mt19937 + distributions do not guarantee (the distributions are implementation-defined).
class Rng {
 public:
  /// Starts the sequence of `seed`.
  explicit Rng(uint64 seed) : state_(seed) {}

  /// Next 64 random bits.
  uint64 next() {
    uint64 z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }

  /// Uniform in [0, 1).
  double uniform() { return static_cast<double>(next() >> 11) * (1.0 / 9007199254740992.0); }

  /// Uniform in [-1, 1).
  double symmetric() { return 2.0 * uniform() - 1.0; }

  /// True with probability `p` (p <= 0 never, p >= 1 always).
  bool chance(double p) { return uniform() < p; }

  /// Uniform integer in [lo, hi] (hi >= lo).
  uint64 between(uint64 lo, uint64 hi) { return lo + next() % (hi - lo + 1); }

 private:
  uint64 state_;
};

}  // namespace velsim
