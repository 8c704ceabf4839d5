#include <sim/SignalGenerator.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

namespace velsim {
namespace {

constexpr int kTableBits = 12;
constexpr std::size_t kTableSize = std::size_t{1} << kTableBits;
constexpr double kTwoPow64 = 18446744073709551616.0;
constexpr double kPi = 3.14159265358979323846;

// One period of sine plus a guard entry, so interpolation never wraps.
const std::array<double, kTableSize + 1>& sineTable() {
  static const std::array<double, kTableSize + 1> table = [] {
    std::array<double, kTableSize + 1> t{};
    for (std::size_t i = 0; i <= kTableSize; ++i) {
      t[i] = std::sin(2.0 * kPi * static_cast<double>(i) / static_cast<double>(kTableSize));
    }
    return t;
  }();
  return table;
}

// Phase is the fraction of a cycle scaled to 2^64: top bits index the table, the next 20
// bits interpolate.
inline double sineOf(uint64 phase) {
  const auto& t = sineTable();
  const std::size_t i = static_cast<std::size_t>(phase >> (64 - kTableBits));
  const double frac =
      static_cast<double>((phase >> (64 - kTableBits - 20)) & 0xFFFFFu) * (1.0 / 1048576.0);
  return t[i] + (t[i + 1] - t[i]) * frac;
}

// Phase step per sample of a frequency, as a fraction of a cycle scaled to 2^64.
uint64 stepOf(double hz, uint32 rate) {
  return static_cast<uint64>(hz / static_cast<double>(rate) * kTwoPow64);
}

void check(bool ok, const char* what) {
  if (!ok) throw std::invalid_argument(what);
}

}  // namespace

SignalGenerator::SignalGenerator(const SignalConfig& config) : config_(config) {
  check(config.bitDepth == 16 || config.bitDepth == 24, "bit depth must be 16 or 24");
  check(config.channels >= 1, "at least one channel");
  check(config.sampleRate > 0, "sample rate must be positive");
  const double nyquist = config.sampleRate / 2.0;
  check(config.toneHz >= 0 && config.toneHz < nyquist, "tone must lie below half the sample rate");
  check(config.sweepStartHz >= 0 && config.sweepStartHz < nyquist && config.sweepEndHz >= 0 &&
            config.sweepEndHz < nyquist,
        "sweep must lie below half the sample rate");
  check(config.sweepPeriodSeconds >= 0 && config.sweepSeconds >= 0 &&
            config.sweepSeconds <= config.sweepPeriodSeconds,
        "a sweep must fit in its period");

  fullScale_ = (int32_t{1} << (config.bitDepth - 1)) - 1;
  toneStep_ = stepOf(config.toneHz, config.sampleRate);
  sweepStartStep_ = stepOf(config.sweepStartHz, config.sampleRate);
  sweepPeriod_ = static_cast<uint64>(std::llround(config.sweepPeriodSeconds * config.sampleRate));
  sweepLength_ = static_cast<uint64>(std::llround(config.sweepSeconds * config.sampleRate));
  const double spanSteps =
      (config.sweepEndHz - config.sweepStartHz) / config.sampleRate * kTwoPow64;
  sweepStepDelta_ =
      sweepLength_ > 0 ? static_cast<int64>(spanSteps / static_cast<double>(sweepLength_)) : 0;
  noise_.reserve(config.channels);
  for (unsigned c = 0; c < config.channels; ++c) {
    noise_.emplace_back(config.seed * 0x100000001B3ull + c);
  }
}

void SignalGenerator::fill(int32_t* out, std::size_t frames) {
  const double scale = fullScale_;
  const double lowest = -scale - 1.0;
  const unsigned channels = config_.channels;
  for (std::size_t f = 0; f < frames; ++f, ++count_) {
    double common = config_.toneAmplitude * sineOf(tonePhase_);
    tonePhase_ += toneStep_;
    if (sweepPeriod_ > 0) {
      const uint64 pos = count_ % sweepPeriod_;
      if (pos == 0) {
        sweepPhase_ = 0;
        sweepStep_ = sweepStartStep_;
      }
      if (pos < sweepLength_) {
        common += config_.sweepAmplitude * sineOf(sweepPhase_);
        sweepPhase_ += sweepStep_;
        sweepStep_ += static_cast<uint64>(sweepStepDelta_);
      }
    }
    for (unsigned c = 0; c < channels; ++c) {
      const double v = (common + config_.noiseAmplitude * noise_[c].symmetric()) * scale;
      *out++ = static_cast<int32_t>(std::lround(std::clamp(v, lowest, scale)));
    }
  }
}

}  // namespace velsim
