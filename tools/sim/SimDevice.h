#pragma once
/// \file A simulated device: its identity, job, triggers and clock, and its answers on the
/// control channel and to discovery requests. No sockets: bytes in, bytes out.

#include <sim/ControlFrameEncoder.h>
#include <sim/FaultInjector.h>
#include <sim/SignalGenerator.h>
#include <sim/SimStream.h>
#include <sim/StreamFrameEncoder.h>

#include <mavcommon/MavTypes.h>

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velsim {

/// Job tag keys the simulated device judges or uses (the rest it stores as sent).
enum SimTagKey : uint16 {
  kTagFftSampleRate = 2,
  kTagFftRefLevel = 3,
  kTagFftPtsPer = 4,
  kTagFftPtsBtw = 5,
  kTagFftType = 6,
  kTagFftAccum = 7,
  kTagFftWeight = 8,
  kTagDutyCycleTime = 11,
  kTagDutyRunTime = 12,
  kTagWaveSampleRate = 14,
  kTagWaveBitDepth = 15,
  kTagWaveGain = 16,
  kTagWaveEndian = 17,
  kTagArrayDevType = 0x4000,
  kTagArraySerials = 0x8000,
};

/// Who the simulated device is and how it starts.
struct DeviceConfig {
  int type = 5;                          ///< device type (5 a hydrophone, 8 an array hub, ...)
  uint16 serial = 1201;                  ///< serial number
  std::string firmware = "2.14";         ///< firmware version text (8 bytes on the wire)
  std::string buildDate = "Mar 18 2024 10:42";  ///< build date text (18 bytes on the wire)
  std::string model = "Aurel HF";        ///< model text of the enquire record
  std::string firmwareRel = "2.14.3";    ///< firmware release text (8 bytes on the wire)
  uint8 status = 1;                      ///< device status byte of the enquire response
  /// Hydrophone sensitivity in signed tenths of a dB re 1 V/uPa, as it travels (-176.5 dB).
  uint16 sensitivity = static_cast<uint16>(-1765);
  std::vector<uint16> members;           ///< array hub: serials of the member devices
  unsigned channels = 1;                 ///< waveform channels (a hub: one per member)
  uint32 sampleRate = 48000;             ///< initial waveform (and FFT) sample rate
  unsigned bitDepth = 24;                ///< initial waveform bit depth
  uint32 fftPoints = 1024;               ///< initial FFT length
  std::array<uint8, 6> mac{{0x00, 0x50, 0xC2, 0x4A, 0x04, 0xB1}};  ///< MAC address
  uint32 ipAddr = 0x7F000001;            ///< IPv4 address reported to discovery
  uint32 netmask = 0xFF000000;           ///< subnet mask reported to discovery
  uint32 gateway = 0;                    ///< gateway reported to discovery
  uint32 dns = 0;                        ///< DNS server reported to discovery
  uint8 addrMode = 0;                    ///< address mode reported to discovery
  FaultConfig controlFaults;             ///< faults on control responses
  uint64 seed = 1;                       ///< signal seed of collected snapshots
};

/// What the streams are to carry, as the current job decides it.
struct StreamParams {
  uint32 sampleRate = 48000;   ///< waveform samples per second
  unsigned bitDepth = 24;      ///< 16 or 24
  bool littleEndian = true;   ///< waveform sample byte order
  unsigned channels = 1;       ///< waveform channels
  uint16 gain = 0;             ///< waveform gain
  uint32 fftSampleRate = 48000;  ///< sample rate of the analysed signal
  uint32 fftPoints = 1024;     ///< FFT length
  uint32 fftHop = 1024;        ///< samples from one FFT's start to the next
  uint32 fftAccum = 1;         ///< FFTs averaged per spectrum
  int32_t refLevel = 0;        ///< dB that maps to level byte 0
  uint16 procType = 0;         ///< FFT processing type, passed through
  uint16 weighting = 0;        ///< FFT window code, passed through
};

/// A reply to a discovery request: where to send it and the frame.
struct DiscoveryReply {
  uint16 port = 0;  ///< the host port named in the request
  Bytes frame;      ///< the whole response frame, CRC included
};

/// The device's state and its answers. One control connection at a time.
class SimDevice {
 public:
  /// Device time source: seconds since 1970 UTC of the host (the device adds its offset).
  using HostClock = std::function<int64()>;

  /// A device as configured, with its power-on job; `clock` defaults to the system clock.
  explicit SimDevice(const DeviceConfig& config, HostClock clock = {});

  /// Feeds bytes received on the control channel; returns the bytes to send back (whole
  /// response frames, faults applied). Partial requests wait for the rest.
  Bytes handleControl(const uint8* data, std::size_t n);
  /// Forgets a partial request (a new control connection starts clean).
  void resetControlChannel();
  /// Answers the discovery requests of one datagram; requests for another device are ignored.
  std::vector<DiscoveryReply> handleDiscovery(const uint8* data, std::size_t n);

  /// Current device time, seconds since 1970 UTC.
  int64 deviceTime() const;
  /// The job as raw tag values by key (little-endian value bytes as they travel).
  const std::map<uint16, Bytes>& job() const { return job_; }
  /// The stream parameters of the current job.
  StreamParams streamParams() const;
  /// What a stream port started now is to carry: the job's parameters, the device's
  /// identity, sample 0 at device time `startSeconds` + `startNanos`.
  StreamSetup streamSetup(StreamKind kind, int64 startSeconds, uint32 startNanos) const;
  /// The stored band triggers by trigger number, each as its 24-byte record (test type and
  /// body, as the set-up command carried it).
  const std::map<uint8, Bytes>& triggers() const { return triggers_; }
  /// The configuration (network settings change with discovery 'X').
  const DeviceConfig& config() const { return config_; }
  /// Receives one line per thing the device did ("command Enquire", ...).
  void setEventSink(std::function<void(const std::string&)> sink) { sink_ = std::move(sink); }
  /// Control responses sent with a corrupted CRC.
  uint64 corruptedResponses() const { return faults_.corruptedCrcs(); }

 private:
  // Core (SimDevice.cpp): state, clock, control channel.
  Bytes answer(uint8 code, const Bytes& payload);
  void setTime(const Bytes& payload);
  void reset();
  void resetJob();
  void rebuildSnapshot();
  uint32 jobValue(uint16 key, uint32 fallback) const;
  void emit(const std::string& line) const;
  // The answers, one file per family (SimDeviceEnquire.cpp, SimDeviceJobSetup.cpp,
  // SimDeviceTriggers.cpp, SimDeviceDataCollect.cpp).
  Bytes enquireResponse() const;
  Bytes jobSetupResponse(const Bytes& request);
  Bytes jobEnquiryResponse() const;
  void writeTags(Bytes& out) const;
  Bytes triggerSetupResponse(const Bytes& request);
  Bytes triggerRemoveResponse(const Bytes& request);
  Bytes triggerEnquiryResponse() const;
  Bytes dataCollectResponse(const Bytes& request);

  DeviceConfig config_;
  HostClock clock_;
  int64 clockOffset_ = 0;
  RequestSplitter splitter_;
  FaultInjector faults_;
  std::map<uint16, Bytes> job_;
  std::map<uint8, Bytes> triggers_;
  std::unique_ptr<SignalGenerator> snapshot_;
  uint16 wavSeq_ = 0;
  uint16 specSeq_ = 0;
  std::function<void(const std::string&)> sink_;
};

}  // namespace velsim
