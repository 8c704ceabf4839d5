#pragma once
/// \file Spectra of the simulated signal, as the spectrum stream sends them.

#include <mavcommon/MavTypes.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace velsim {

/// How spectra are made.
struct SpectrumConfig {
  std::size_t numPoints = 1024;   ///< FFT length, a power of two from 4 to 32768
  std::size_t hop = 1024;         ///< samples from the start of one FFT to the start of the next
  std::size_t accumulations = 1;  ///< FFTs averaged (mean power) into one spectrum
  std::size_t numBins = 0;        ///< bins sent, 1 .. numPoints/2; 0 means numPoints/2
  double refLevel = 0.0;          ///< dB (re one count) that maps to the byte 0
};

/// One finished spectrum.
struct Spectrum {
  uint64 firstSample = 0;    ///< sample number of the first sample of its first FFT
  std::vector<uint8> levels;  ///< one byte per bin: dB above the reference level, 0..255
};

/// Hann-windowed FFTs over a stream of samples of one channel, averaged and turned into
/// byte levels. A bin's level is the amplitude of a sine centred on it in dB re one count, so
/// a full-scale 24-bit sine reads about 138 dB whatever the FFT length; noise reads lower
/// as the bins get narrower.
class SpectrumComputer {
 public:
  /// Checks the configuration (throws std::invalid_argument) and plans the FFT.
  explicit SpectrumComputer(const SpectrumConfig& config);
  ~SpectrumComputer();
  SpectrumComputer(const SpectrumComputer&) = delete;
  SpectrumComputer& operator=(const SpectrumComputer&) = delete;

  /// Takes `n` samples of one channel, every `stride`-th value of `samples` (so channel c of
  /// interleaved frames is `push(frames + c, n, channels)`); finished spectra queue up.
  void push(const int32_t* samples, std::size_t n, std::size_t stride = 1);
  /// Moves the oldest finished spectrum to `out`; false when none is waiting.
  bool pop(Spectrum& out);
  /// Number of finished spectra waiting.
  std::size_t pending() const { return ready_.size(); }
  /// Number of bins in each spectrum.
  std::size_t numBins() const { return numBins_; }
  /// The configuration in use.
  const SpectrumConfig& config() const { return config_; }

  /// Level byte of a mean power (amplitude squared, in counts) against a reference in dB.
  static uint8 levelByte(double power, double refLevel);

 private:
  void runFft();

  SpectrumConfig config_;
  std::size_t numBins_;
  std::vector<double> window_;
  double amplitudeScale_;         // 2 / sum(window): bin magnitude to sine amplitude
  std::vector<double> pending_;   // samples not yet consumed by an FFT
  uint64 pendingFirst_ = 0;       // sample number of pending_[0]
  std::size_t skip_ = 0;          // samples still to drop when the hop exceeds the length
  std::vector<double> sum_;       // accumulated power per bin
  std::size_t summed_ = 0;
  uint64 accumFirst_ = 0;
  std::deque<Spectrum> ready_;
  struct Fft;
  std::unique_ptr<Fft> fft_;
};

}  // namespace velsim
