#pragma once
/// \file Byte-exact stream frames, payloads and chunks as the device sends them.
///
/// Everything on the stream channel is big-endian. A frame is code, 0x2A, u16 payload length,
/// payload; no CRC. Payloads are sequences of chunks, each starting with a type letter, a
/// version and a 16-bit header field.

#include <mavcommon/MavTypes.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <variant>
#include <vector>

namespace velsim {

/// A growing byte buffer; every encoder appends to one.
using Bytes = std::vector<uint8>;

/// Stream frame codes.
enum class StreamCode : uint8 {
  Notify = 0x30,       ///< 4-byte error code
  Data = 0x31,         ///< event key + stream data chunk
  EventHeader = 0x32,  ///< chunks describing the event
  Status = 0x35,       ///< trigger status chunk
};

/// Stream notification codes (the payload of a Notify frame).
enum class NotifyCode : uint32 {
  NoError = 0,
  NoConnectionAvailable = 1,
  Timeout = 2,
  Stopped = 3,
  InvalidStart = 4,
  DeviceLogging = 5,
};

/// Sample-format byte: bytes per sample in the low 7 bits, bit 7 set for little-endian samples.
constexpr uint8 sampleFormat(unsigned bytesPerSample, bool littleEndian = false) {
  return static_cast<uint8>((bytesPerSample & 0x7Fu) | (littleEndian ? 0x80u : 0u));
}

/// Event key chunk 'A' (V0 16 bytes, V1 20 bytes).
struct EventKey {
  uint8 version = 1;     ///< 0 or 1
  int32_t timeStamp = 0;  ///< seconds since 1970 UTC
  uint64 seqNum = 0;     ///< sample number (high 32 bits first)
  uint8 channel = 1;     ///< V1 only
};

/// Device info chunk 'D' (V0 12 bytes, V1 16 bytes).
struct DeviceInfo {
  uint8 version = 1;                 ///< 0 or 1
  uint8 model = 0;                   ///< model byte
  std::array<uint8, 3> fwVer{};      ///< firmware version bytes
  uint16 serialNo = 0;               ///< serial number
  uint16 sensitivity = 0;            ///< hydrophone sensitivity
  uint8 channel = 1;                 ///< V1 only; 0xFF marks an array master
};

/// Stream status chunk 'C' (24 bytes).
struct StreamStatus {
  uint16 temperature = 0;   ///< temperature
  uint16 humidity = 0;      ///< humidity
  uint8 batteryPercent = 100;  ///< battery charge
  uint8 batteryStat = 0;    ///< battery status
  uint8 dataEpoch = 0;      ///< data epoch
  uint8 channel = 1;        ///< channel
};

/// WAV setup chunk 'E' (12 bytes).
struct WavSetup {
  uint32 sampleRate = 0;            ///< samples per second
  uint16 gain = 0;                  ///< gain
  uint8 sampleFormat = velsim::sampleFormat(3);  ///< see sampleFormat()
  uint8 channel = 1;                ///< channel
};

/// FFT setup chunk 'F' (V0 20 bytes, V1 24 bytes).
struct FftSetup {
  uint8 version = 1;         ///< 0 or 1
  uint32 sampleRate = 0;     ///< samples per second of the analysed signal
  uint16 numPoints = 0;      ///< FFT length
  uint16 refLevel = 0;       ///< dB that maps to level byte 0
  uint16 procType = 0;       ///< processing type
  uint16 samplesBtwFfts = 0;  ///< hop
  uint16 accumCount = 0;     ///< FFTs averaged per spectrum
  uint16 weighting = 0;      ///< window code
  uint8 channel = 1;         ///< V1 only
};

/// Amplitude scaling chunk 'G' (24 bytes).
struct AmplScaling {
  uint8 channel = 1;         ///< channel
  uint8 units = 0;           ///< units of the amplitudes
  uint8 bytesPerSamp = 3;    ///< bytes per sample
  int32_t maxCount = 0;      ///< largest sample count
  int32_t minCount = 0;      ///< smallest sample count
  int32_t maxAmplitude = 0;  ///< amplitude of maxCount
  int32_t minAmplitude = 0;  ///< amplitude of minCount
};

/// Trigger status chunk 'L' (12 bytes).
struct TriggerStatus {
  uint8 numTrigs = 0;             ///< triggers in use
  std::array<uint8, 5> state{};   ///< per-trigger state
  uint16 reserved = 0;            ///< reserved
};

/// Any fixed-size chunk.
using Chunk =
    std::variant<EventKey, DeviceInfo, StreamStatus, WavSetup, FftSetup, AmplScaling, TriggerStatus>;

/// The fixed head of a stream data chunk 'B'.
struct StreamDataHead {
  uint32 sampleNum = 0;    ///< low 32 bits of the first sample's number
  uint8 numChannels = 1;   ///< channels per sample frame
  uint8 sampleFormat = velsim::sampleFormat(3);  ///< see sampleFormat()
  uint16 numSamples = 0;   ///< sample frames carried
};

/// Appends stream chunks, payloads and frames to a byte buffer.
class StreamFrameEncoder {
 public:
  /// Wire size of a chunk of `type` and `version`; 0 for a pair we do not produce.
  static std::size_t chunkSize(uint8 type, uint8 version);
  /// Sample bytes a data chunk with this head carries; 0 for a head the encoder refuses
  /// (sample width not 1..4, no channel, or a sample frame above 255 bytes).
  static std::size_t sampleBytes(const StreamDataHead& head);

  /// Appends one fixed chunk (throws std::invalid_argument on a version we do not produce).
  static void appendChunk(Bytes& out, const Chunk& chunk);
  /// Appends a stream data chunk whose samples (numSamples x numChannels, interleaved) are
  /// written at the head's width and byte order; false (nothing appended) on a bad head.
  static bool appendStreamData(Bytes& out, const StreamDataHead& head, const int32_t* samples);
  /// Same, with the sample bytes already in wire form (sampleBytes(head) of them).
  static bool appendStreamData(Bytes& out, const StreamDataHead& head, const uint8* raw);
  /// Appends the 4-byte notification payload.
  static void appendNotifyPayload(Bytes& out, uint32 code);

  /// Appends a frame around `n` payload bytes; false (nothing appended) above 65535 bytes.
  static bool appendFrame(Bytes& out, StreamCode code, const uint8* payload, std::size_t n);
  /// Appends an event header frame carrying `chunks` in order.
  static bool appendEventHeaderFrame(Bytes& out, const std::vector<Chunk>& chunks);
  /// Appends a data frame: event key, then the stream data chunk.
  static bool appendDataFrame(Bytes& out, const EventKey& key, const StreamDataHead& head,
                              const int32_t* samples);
  /// Appends a data frame whose sample bytes are already in wire form (spectra).
  static bool appendDataFrame(Bytes& out, const EventKey& key, const StreamDataHead& head,
                              const uint8* raw);
  /// Appends a notification frame.
  static void appendNotifyFrame(Bytes& out, NotifyCode code);
  /// Appends a status frame carrying one trigger status chunk.
  static void appendStatusFrame(Bytes& out, const TriggerStatus& status);

  /// The host's start message: 'S', 0x2A, length 0.
  static const std::array<uint8, 4>& startMessage();
};

}  // namespace velsim
