#pragma once
/// \file One stream port of the simulated device: the waveform or the spectrum stream as
/// frames, driven by a sample clock. No sockets: frames go to an output buffer.

#include <sim/FaultInjector.h>
#include <veliface/host/SampleChecksum.h>
#include <sim/SignalGenerator.h>
#include <sim/SpectrumComputer.h>
#include <sim/StreamClock.h>
#include <sim/StreamFrameEncoder.h>

#include <mavcommon/MavTypes.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace velsim {

/// Which stream a port carries.
enum class StreamKind { Waveform, Spectrum };

/// Everything a stream needs to know: what the job says, who the device is, when it starts.
struct StreamSetup {
  StreamKind kind = StreamKind::Waveform;  ///< waveform or spectrum
  uint32 sampleRate = 48000;      ///< samples per second (the FFT rate for a spectrum stream)
  unsigned bitDepth = 24;         ///< waveform: 16 or 24 bits per sample
  bool littleEndian = true;      ///< waveform sample byte order
  unsigned channels = 1;          ///< waveform channels (a spectrum stream has one)
  uint16 gain = 0;                ///< waveform gain
  uint16 samplesPerFrame = 1024;  ///< waveform sample frames per data frame
  uint32 fftPoints = 1024;        ///< spectrum: FFT length
  uint32 fftHop = 1024;           ///< spectrum: samples between FFT starts
  uint32 fftAccum = 1;            ///< spectrum: FFTs averaged per spectrum
  int32_t refLevel = 0;           ///< spectrum: dB that maps to the level byte 0
  uint16 procType = 0;            ///< spectrum: processing type, passed through
  uint16 weighting = 0;           ///< spectrum: window code, passed through
  uint8 model = 5;                ///< device info: model byte (the device type)
  std::array<uint8, 3> fwVer{};   ///< device info: firmware version bytes
  uint16 serial = 0;              ///< device info: serial of the device (the hub for an array)
  uint16 sensitivity = 0;         ///< device info: sensitivity
  std::vector<uint16> members;    ///< array hub: member serial per channel (empty otherwise)
  uint8 memberModel = 5;          ///< array hub: device type of the members
  uint32 dutyCycle = 0;           ///< duty cycle length in seconds (0: always on)
  uint32 dutyRun = 0;             ///< seconds at the start of each cycle the stream runs
  int64 startSeconds = 0;         ///< device time of sample 0, whole seconds since 1970
  uint32 startNanos = 0;          ///< and the nanoseconds into that second
  FaultConfig faults;             ///< data frame drops, garbage, split writes
  uint64 seed = 1;                ///< signal seed
};

/// What a stream has sent so far. The checksum (`SampleChecksum`) is over the sample bytes of the
/// data frames that were sent, in order, each sample little-endian (as a WAV file holds it,
/// whatever order the stream used); dropped frames do not count.
struct StreamStats {
  uint64 samples = 0;      ///< sample frames (waveform) or bins (spectrum) sent
  uint64 bytes = 0;        ///< sample bytes sent
  uint64 checksum = veliface::host::SampleChecksum().value();  ///< checksum of the sample bytes sent
  uint64 frames = 0;       ///< data frames sent
  uint64 dropped = 0;      ///< data frames dropped by the fault injector
  uint64 headers = 0;      ///< event headers sent
  uint64 spectra = 0;      ///< spectra sent (spectrum stream)
  uint64 pausedSamples = 0;  ///< sample frames not sent because the duty cycle was off
};

/// The simulated signal at a rate: tone and sweep kept below half of it.
SignalConfig signalConfigFor(uint32 sampleRate, unsigned channels, unsigned bitDepth, uint64 seed);

/// A stream port's frames.
///
/// An event header opens the stream and follows at each whole second of the device clock;
/// its event key carries that second and the sample number of its first sample. Waveform
/// data frames carry `samplesPerFrame` sample frames, cut short where a second begins so
/// that every header sits between the last sample of one second and the first of the next.
/// Spectrum data frames carry one spectrum each, level bytes, one channel.
///
/// With a duty cycle the stream runs the first `dutyRun` seconds of every `dutyCycle` seconds
/// of the device clock (cycles counted from 1970) and sends nothing in between, headers
/// included; its sample count goes on through the pause.
class SimStream {
 public:
  /// Checks the setup (throws std::invalid_argument on one the frames cannot carry).
  explicit SimStream(const StreamSetup& setup);
  ~SimStream();
  SimStream(const SimStream&) = delete;
  SimStream& operator=(const SimStream&) = delete;

  /// Produces every frame whose samples all lie below sample `uptoSample`, appending them
  /// to the output (faults applied); a header due at `uptoSample` itself goes out too.
  void produce(uint64 uptoSample);
  /// The stream ends at sample `end`: the waveform frame that would cross it is cut short
  /// there, so that exactly `end` samples go out (0: no end).
  void setEnd(uint64 end) { end_ = end; }
  /// The bytes produced and not yet taken.
  Bytes& output() { return out_; }
  /// Next sample to be produced (all below it are in frames).
  uint64 nextSample() const { return next_; }
  /// What has been sent.
  const StreamStats& stats() const { return stats_; }
  /// The setup in use.
  const StreamSetup& setup() const { return setup_; }
  /// The stream's sample clock (real-time pacing is the transport's business).
  const StreamClock& clock() const { return clock_; }
  /// The fault injector (the transport uses it to split writes).
  FaultInjector& faults() { return faults_; }
  /// One machine-readable line, e.g. "waveform samples=... bytes=... checksum=0x... frames=...
  /// dropped=... headers=..." (spectrum lines add spectra=...).
  std::string summary() const;

  /// The notification a device answers to the first four bytes from the host: no error for
  /// the start message, invalid start for anything else, no connection when `portBusy`.
  static NotifyCode startVerdict(const uint8* first4, bool portBusy);

 private:
  void emitHeader(uint64 sample);
  bool running(uint64 sample) const;
  void emitFrame(const Bytes& frame);
  void produceWaveform(uint64 upto);
  void produceSpectrum(uint64 upto);
  EventKey keyOf(uint64 sample) const;

  StreamSetup setup_;
  StreamClock clock_;
  FaultInjector faults_;
  SignalGenerator signal_;
  std::unique_ptr<SpectrumComputer> fft_;
  Bytes out_;
  Bytes frame_;
  std::vector<int32_t> samples_;
  uint64 next_ = 0;
  uint64 nextHeader_ = 0;
  uint64 end_ = 0;
  StreamStats stats_;
  veliface::host::SampleChecksum checksum_;  // stats_.checksum is its value
};

}  // namespace velsim
