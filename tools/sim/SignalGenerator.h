#pragma once
/// \file Deterministic synthetic hydrophone signal for the simulated device.

#include <sim/Random.h>

#include <mavcommon/MavTypes.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velsim {

/// What the simulated hydrophone hears. Amplitudes are fractions of full scale.
struct SignalConfig {
  uint32 sampleRate = 48000;      ///< samples per second per channel
  unsigned channels = 1;          ///< interleaved channels per sample frame
  unsigned bitDepth = 24;         ///< 16 or 24
  double toneHz = 1000.0;         ///< steady tone
  double toneAmplitude = 0.25;    ///< peak of the tone
  double noiseAmplitude = 0.01;   ///< peak of the uniform white noise, independent per channel
  double sweepStartHz = 2000.0;   ///< frequency at the start of each sweep
  double sweepEndHz = 8000.0;     ///< frequency at the end of each sweep
  double sweepAmplitude = 0.25;   ///< peak of the sweep
  double sweepSeconds = 2.0;      ///< length of one sweep
  double sweepPeriodSeconds = 10.0;  ///< a sweep starts every period; 0 turns sweeps off
  uint64 seed = 1;                ///< noise seed: equal seeds give equal signals
};

/// Tone + white noise + a periodic linear sweep, as integer samples within +-full scale.
/// Phases are integer accumulators read through a sine table, so a run is cheap per sample,
/// does not drift over long runs and is the same for the same seed however it is chunked.
class SignalGenerator {
 public:
  /// Checks the configuration (throws std::invalid_argument on a bad one).
  explicit SignalGenerator(const SignalConfig& config);

  /// Writes `frames` sample frames (frames x channels interleaved values) to `out`,
  /// continuing where the previous call stopped.
  void fill(int32_t* out, std::size_t frames);

  /// Number of sample frames produced so far (the sample number of the next frame).
  uint64 sampleCount() const { return count_; }
  /// Largest positive sample value of the bit depth (8388607 for 24 bits).
  int32_t fullScale() const { return fullScale_; }
  /// The configuration in use.
  const SignalConfig& config() const { return config_; }

 private:
  SignalConfig config_;
  int32_t fullScale_;
  uint64 count_ = 0;
  uint64 tonePhase_ = 0;
  uint64 toneStep_;
  uint64 sweepPhase_ = 0;
  uint64 sweepStep_ = 0;
  uint64 sweepStartStep_;
  int64 sweepStepDelta_;   // added to sweepStep_ per sample (two's complement wrap)
  uint64 sweepPeriod_;     // samples; 0 = no sweeps
  uint64 sweepLength_;     // samples
  std::vector<Rng> noise_;  // one source per channel
};

}  // namespace velsim
