#pragma once
/// \file Stream chunks: the typed records that make up event-header, data and status payloads.
///
/// Every chunk starts with a type letter, a version byte and a 16-bit header field. Fixed
/// chunks are read whole into a raw record whose multi-byte fields are big-endian on the
/// wire; after reading, the fields each chunk converts hold host-order values and the rest
/// are kept exactly as received.

#include <mavcommon/ByteStream.h>
#include <mavcommon/MavTypes.h>
#include <veliface/common/DeserializationFactory.h>

#include <cstdint>
#include <memory>

// ---------------------------------------------------------------------------------------
// Raw records, laid out exactly as on the wire.

/// Event key, version 0 (16 bytes).
struct stKEY_CHUNK_V0 {
  uint8 type;             ///< 0x41 'A'
  uint8 version;          ///< 0
  uint16 header;          ///< header field (converted)
  std::int32_t timeStamp; ///< event time (converted)
  uint32 seqNumHigh;      ///< high half of the sequence number (converted)
  uint32 seqNumLow;       ///< low half of the sequence number (converted)
};

/// Event key, version 1 (20 bytes): version 0 plus a channel.
struct stKEY_CHUNK_V1 {
  uint8 type;             ///< 0x41 'A'
  uint8 version;          ///< 1
  uint16 header;          ///< header field (converted)
  std::int32_t timeStamp; ///< event time (converted)
  uint32 seqNumHigh;      ///< high half of the sequence number (converted)
  uint32 seqNumLow;       ///< low half of the sequence number (converted)
  uint8 channel;          ///< channel the event belongs to
  uint8 reserved[3];      ///< skipped on reading: always zero in a chunk read from the wire
};

/// Device info, version 0 (12 bytes).
struct stDEVICE_CHUNK_V0 {
  uint8 type;          ///< 0x44 'D'
  uint8 version;       ///< 0
  uint16 header;       ///< header field (as received)
  uint8 model;         ///< device model
  uint8 fwVer[3];      ///< firmware version bytes
  uint16 serialNo;     ///< serial number (converted)
  uint16 sensitivity;  ///< sensitivity (converted)
};

/// Device info, version 1 (16 bytes): version 0 plus a channel.
struct stDEVICE_CHUNK_V1 {
  uint8 type;          ///< 0x44 'D'
  uint8 version;       ///< 1
  uint16 header;       ///< header field (as received)
  uint8 model;         ///< device model
  uint8 fwVer[3];      ///< firmware version bytes
  uint16 serialNo;     ///< serial number (converted)
  uint16 sensitivity;  ///< sensitivity (converted)
  uint8 channel;       ///< channel; 0xFF marks the array master's own record
  uint8 rest[3];       ///< as received, not interpreted
};

/// Stream status, version 0 (24 bytes).
struct stSTATUS_CHUNK_V0 {
  uint8 type;            ///< 0x43 'C'
  uint8 version;         ///< 0
  uint16 header;         ///< header field (as received)
  uint16 temperature;    ///< temperature (converted)
  uint16 humidity;       ///< humidity (converted)
  uint8 batteryPercent;  ///< battery charge in percent
  uint8 batteryStat;     ///< battery status
  uint8 dataEpoch;       ///< data epoch
  uint8 channel;         ///< channel as received (0 is reported as 1)
  uint8 rest[12];        ///< as received, not interpreted
};

/// WAV setup, version 0 (12 bytes).
struct stWAVE_SETUP_CHUNK_V0 {
  uint8 type;          ///< 0x45 'E'
  uint8 version;       ///< 0
  uint16 header;       ///< header field (as received)
  uint32 sampleRate;   ///< samples per second (converted)
  uint16 gain;         ///< gain (converted)
  uint8 sampleFormat;  ///< low 7 bits: bytes per sample; bit 7: little-endian samples
  uint8 channel;       ///< channel
};

/// FFT setup, version 0 (20 bytes).
struct stFFT_SETUP_CHUNK_V0 {
  uint8 type;             ///< 0x46 'F'
  uint8 version;          ///< 0
  uint16 header;          ///< header field (as received)
  uint32 sampleRate;      ///< samples per second (converted)
  uint16 numPoints;       ///< FFT length (converted)
  uint16 refLevel;        ///< reference level (converted)
  uint16 procType;        ///< processing type (converted)
  uint16 samplesBtwFfts;  ///< samples between FFTs (converted)
  uint16 accumCount;      ///< FFTs accumulated per result (converted)
  uint16 weighting;       ///< window weighting (converted)
};

/// FFT setup, version 1 (24 bytes): version 0 plus a channel.
struct stFFT_SETUP_CHUNK_V1 {
  uint8 type;             ///< 0x46 'F'
  uint8 version;          ///< 1
  uint16 header;          ///< header field (as received)
  uint32 sampleRate;      ///< samples per second (converted)
  uint16 numPoints;       ///< FFT length (converted)
  uint16 refLevel;        ///< reference level (converted)
  uint16 procType;        ///< processing type (converted)
  uint16 samplesBtwFfts;  ///< samples between FFTs (converted)
  uint16 accumCount;      ///< FFTs accumulated per result (converted)
  uint16 weighting;       ///< window weighting (converted)
  uint8 channel;          ///< channel
  uint8 rest[3];          ///< as received, not interpreted
};

/// Amplitude scaling, version 0 (24 bytes).
struct stAMPLITUDE_CHUNK_V0 {
  uint8 type;                ///< 0x47 'G'
  uint8 version;             ///< 0
  uint16 header;             ///< header field (as received)
  uint8 channel;             ///< channel as received (0 is reported as 1)
  uint8 units;               ///< units of the amplitude limits
  uint8 spare;               ///< as received, not interpreted
  uint8 bytesPerSamp;        ///< bytes per sample
  std::int32_t maxCount;     ///< sample value at full scale (converted)
  std::int32_t minCount;     ///< lowest sample value (converted)
  std::int32_t maxAmplitude; ///< amplitude at maxCount (converted)
  std::int32_t minAmplitude; ///< amplitude at minCount (converted)
};

/// Trigger status, version 0 (12 bytes, nothing converted).
struct stTRIG_CHUNK_V0 {
  uint8 type;         ///< 0x4C 'L'
  uint8 version;      ///< 0
  uint16 header;      ///< header field (as received)
  uint8 numTrigs;     ///< number of triggers
  uint8 state[5];     ///< one state byte per trigger
  uint8 reserved[2];  ///< as received
};

static_assert(sizeof(stKEY_CHUNK_V0) == 16 && sizeof(stKEY_CHUNK_V1) == 20, "event key layout");
static_assert(sizeof(stDEVICE_CHUNK_V0) == 12 && sizeof(stDEVICE_CHUNK_V1) == 16, "device layout");
static_assert(sizeof(stSTATUS_CHUNK_V0) == 24 && sizeof(stWAVE_SETUP_CHUNK_V0) == 12, "layout");
static_assert(sizeof(stFFT_SETUP_CHUNK_V0) == 20 && sizeof(stFFT_SETUP_CHUNK_V1) == 24, "FFT layout");
static_assert(sizeof(stAMPLITUDE_CHUNK_V0) == 24 && sizeof(stTRIG_CHUNK_V0) == 12, "layout");

// ---------------------------------------------------------------------------------------
// Chunk classes.

/// Root of every stream chunk.
class VelStreamMsgChunk {
 public:
  /// Virtual: chunks are held through their bases.
  virtual ~VelStreamMsgChunk() = default;
  /// The chunk's type letter (byte 0).
  virtual uint8 typecode() const = 0;
  /// The chunk's version (byte 1).
  virtual uint8 version() const = 0;
};

namespace veliface::stream {
/// Owns a fixed chunk's raw record and answers the type and version bytes from it.
template <typename Base, typename Rec>
class FixedChunk : public Base {
 public:
  /// The raw record type this chunk holds.
  using Record = Rec;
  /// Takes its own copy of an already filled raw record.
  explicit FixedChunk(const Rec& raw) : local_(raw), raw_(&local_) {}
  /// Takes ownership of an already filled raw record: the chunk reads that very record and
  /// frees it with itself (a null record gives an all-zero one).
  explicit FixedChunk(std::unique_ptr<Rec> raw)
      : adopted_(raw ? std::move(raw) : std::make_unique<Rec>()), raw_(adopted_.get()) {}
  /// A chunk is shared, not copied: it may hold the very record it was given.
  FixedChunk(const FixedChunk&) = delete;
  /// Not assignable, as it is not copyable.
  FixedChunk& operator=(const FixedChunk&) = delete;
  /// Type letter of the record.
  uint8 typecode() const override { return raw_->type; }
  /// Version of the record.
  uint8 version() const override { return raw_->version; }
  /// The raw record (converted fields in host order).
  const Rec& raw() const { return *raw_; }

 protected:
  Rec local_{};                     // the copy, when constructed from one
  std::unique_ptr<Rec> adopted_;    // the record taken over, when constructed from one
  const Rec* raw_;                  // whichever of the two the chunk reads
};
}  // namespace veliface::stream

/// Event key: identifies the event (time, sequence number, channel) a payload belongs to.
class VelEventKeyChunk : public VelStreamMsgChunk {
 public:
  /// Event time.
  virtual std::int32_t timeStamp() const = 0;
  /// 64-bit sequence number.
  virtual uint64 seqNum() const = 0;
  /// Channel; a version without a channel field answers 1.
  virtual uint8 channel() const { return 1; }
  /// Reserved bytes; a version without them answers a null pointer.
  virtual const uint8* reserved() const { return nullptr; }
};

namespace veliface::stream {
/// Accessors shared by the event key versions.
template <typename Rec>
class EventKeyFields : public FixedChunk<VelEventKeyChunk, Rec> {
 public:
  using FixedChunk<VelEventKeyChunk, Rec>::FixedChunk;
  std::int32_t timeStamp() const override { return this->raw_->timeStamp; }
  uint64 seqNum() const override {
    return (static_cast<uint64>(this->raw_->seqNumHigh) << 32) | this->raw_->seqNumLow;
  }
};
}  // namespace veliface::stream

/// Event key, version 0 (no channel).
class VelEventKeyChunkV0 final : public veliface::stream::EventKeyFields<stKEY_CHUNK_V0>,
                                 public DeserializationFactory<VelEventKeyChunkV0> {
 public:
  using EventKeyFields<stKEY_CHUNK_V0>::EventKeyFields;
  /// Reads 16 bytes; the caller owns the result.
  static VelEventKeyChunkV0* deserialize(ByteStream* s);
};

/// Event key, version 1.
class VelEventKeyChunkV1 final : public veliface::stream::EventKeyFields<stKEY_CHUNK_V1>,
                                 public DeserializationFactory<VelEventKeyChunkV1> {
 public:
  using EventKeyFields<stKEY_CHUNK_V1>::EventKeyFields;
  /// Channel of the event.
  uint8 channel() const override { return raw_->channel; }
  /// The three reserved bytes.
  const uint8* reserved() const override { return raw_->reserved; }
  /// Reads 20 bytes; the caller owns the result.
  static VelEventKeyChunkV1* deserialize(ByteStream* s);
};

/// Device info: model, firmware, serial number and sensitivity of one recording unit.
class VelDeviceInfoChunk : public VelStreamMsgChunk {
 public:
  /// Device model.
  virtual uint8 model() const = 0;
  /// The three firmware version bytes.
  virtual const uint8* fwVer() const = 0;
  /// Serial number.
  virtual uint16 serialNo() const = 0;
  /// Sensitivity.
  virtual uint16 sensitivity() const = 0;
  /// Channel; a version without a channel field answers 1.
  virtual uint8 channel() const { return 1; }
};

namespace veliface::stream {
/// Accessors shared by the device info versions.
template <typename Rec>
class DeviceInfoFields : public FixedChunk<VelDeviceInfoChunk, Rec> {
 public:
  using FixedChunk<VelDeviceInfoChunk, Rec>::FixedChunk;
  uint8 model() const override { return this->raw_->model; }
  const uint8* fwVer() const override { return this->raw_->fwVer; }
  uint16 serialNo() const override { return this->raw_->serialNo; }
  uint16 sensitivity() const override { return this->raw_->sensitivity; }
};
}  // namespace veliface::stream

/// Device info, version 0 (no channel).
class VelDeviceInfoChunkV0 final : public veliface::stream::DeviceInfoFields<stDEVICE_CHUNK_V0>,
                                   public DeserializationFactory<VelDeviceInfoChunkV0> {
 public:
  using DeviceInfoFields<stDEVICE_CHUNK_V0>::DeviceInfoFields;
  /// Reads 12 bytes; the caller owns the result.
  static VelDeviceInfoChunkV0* deserialize(ByteStream* s);
};

/// Device info, version 1.
class VelDeviceInfoChunkV1 final : public veliface::stream::DeviceInfoFields<stDEVICE_CHUNK_V1>,
                                   public DeserializationFactory<VelDeviceInfoChunkV1> {
 public:
  using DeviceInfoFields<stDEVICE_CHUNK_V1>::DeviceInfoFields;
  /// Channel (0xFF for the array master's own record).
  uint8 channel() const override { return raw_->channel; }
  /// Reads 16 bytes; the caller owns the result.
  static VelDeviceInfoChunkV1* deserialize(ByteStream* s);
};

/// Stream status: environment and battery of one channel.
class VelStreamStatusChunk : public VelStreamMsgChunk {
 public:
  /// Temperature.
  virtual uint16 temperature() const = 0;
  /// Humidity.
  virtual uint16 humidity() const = 0;
  /// Battery charge in percent.
  virtual uint8 batteryPercent() const = 0;
  /// Battery status.
  virtual uint8 batteryStat() const = 0;
  /// Data epoch.
  virtual uint8 dataEpoch() const = 0;
  /// Channel (never 0).
  virtual uint8 channel() const = 0;
};

/// Stream status, version 0.
class VelStreamStatusChunkV0 final
    : public veliface::stream::FixedChunk<VelStreamStatusChunk, stSTATUS_CHUNK_V0>,
      public DeserializationFactory<VelStreamStatusChunkV0> {
 public:
  using FixedChunk::FixedChunk;
  /// Temperature.
  uint16 temperature() const override { return raw_->temperature; }
  /// Humidity.
  uint16 humidity() const override { return raw_->humidity; }
  /// Battery charge in percent.
  uint8 batteryPercent() const override { return raw_->batteryPercent; }
  /// Battery status.
  uint8 batteryStat() const override { return raw_->batteryStat; }
  /// Data epoch.
  uint8 dataEpoch() const override { return raw_->dataEpoch; }
  /// Channel; single-channel units send 0, which means channel 1.
  uint8 channel() const override { return raw_->channel == 0 ? 1 : raw_->channel; }
  /// Reads 24 bytes; the caller owns the result.
  static VelStreamStatusChunkV0* deserialize(ByteStream* s);
};

/// WAV setup: sample rate, gain and sample format of a waveform stream.
class VelWavSetupChunk final
    : public veliface::stream::FixedChunk<VelStreamMsgChunk, stWAVE_SETUP_CHUNK_V0>,
      public DeserializationFactory<VelWavSetupChunk> {
 public:
  using FixedChunk::FixedChunk;
  /// Samples per second.
  uint32 sampleRate() const { return raw_->sampleRate; }
  /// Gain.
  uint16 gain() const { return raw_->gain; }
  /// The sample-format byte as received.
  uint8 sampleFormat() const { return raw_->sampleFormat; }
  /// Bytes per sample (low 7 bits of the format).
  uint8 bytesPerSamp() const { return raw_->sampleFormat & 0x7F; }
  /// The whole format byte times 8. Deliberately not masked: a little-endian format reports
  /// 1,024 more than its width, which an 8-bit bit-depth field (the WAV writer's) drops again.
  uint16 bitDepth() const { return static_cast<uint16>(raw_->sampleFormat * 8u); }
  /// True when bit 7 of the format is clear.
  bool isBigEndian() const { return (raw_->sampleFormat & 0x80) == 0; }
  /// Channel.
  uint8 channel() const { return raw_->channel; }
  /// Reads 12 bytes; the caller owns the result.
  static VelWavSetupChunk* deserialize(ByteStream* s);
};

/// FFT setup of a spectrum stream.
class VelFftSetupChunk : public VelStreamMsgChunk {
 public:
  /// Samples per second.
  virtual uint32 sampleRate() const = 0;
  /// FFT length.
  virtual uint16 numPoints() const = 0;
  /// Reference level.
  virtual uint16 refLevel() const = 0;
  /// Processing type.
  virtual uint16 procType() const = 0;
  /// Samples between FFTs.
  virtual uint16 samplesBtwFfts() const = 0;
  /// FFTs accumulated per result.
  virtual uint16 accumCount() const = 0;
  /// Window weighting.
  virtual uint16 weighting() const = 0;
  /// Channel; a version without a channel field answers 0.
  virtual uint8 channel() const { return 0; }
};

namespace veliface::stream {
/// Accessors shared by the FFT setup versions.
template <typename Rec>
class FftSetupFields : public FixedChunk<VelFftSetupChunk, Rec> {
 public:
  using FixedChunk<VelFftSetupChunk, Rec>::FixedChunk;
  uint32 sampleRate() const override { return this->raw_->sampleRate; }
  uint16 numPoints() const override { return this->raw_->numPoints; }
  uint16 refLevel() const override { return this->raw_->refLevel; }
  uint16 procType() const override { return this->raw_->procType; }
  uint16 samplesBtwFfts() const override { return this->raw_->samplesBtwFfts; }
  uint16 accumCount() const override { return this->raw_->accumCount; }
  uint16 weighting() const override { return this->raw_->weighting; }
};
}  // namespace veliface::stream

/// FFT setup, version 0 (no channel).
class VelFftSetupChunkV0 final : public veliface::stream::FftSetupFields<stFFT_SETUP_CHUNK_V0>,
                                 public DeserializationFactory<VelFftSetupChunkV0> {
 public:
  using FftSetupFields<stFFT_SETUP_CHUNK_V0>::FftSetupFields;
  /// Reads 20 bytes; the caller owns the result.
  static VelFftSetupChunkV0* deserialize(ByteStream* s);
};

/// FFT setup, version 1.
class VelFftSetupChunkV1 final : public veliface::stream::FftSetupFields<stFFT_SETUP_CHUNK_V1>,
                                 public DeserializationFactory<VelFftSetupChunkV1> {
 public:
  using FftSetupFields<stFFT_SETUP_CHUNK_V1>::FftSetupFields;
  /// Channel.
  uint8 channel() const override { return raw_->channel; }
  /// Reads 24 bytes; the caller owns the result.
  static VelFftSetupChunkV1* deserialize(ByteStream* s);
};

/// Amplitude scaling: how sample counts map to amplitudes on one channel.
class VelAmplScalingChunk : public VelStreamMsgChunk {
 public:
  /// Channel (never 0).
  virtual uint8 channel() const = 0;
  /// Units of the amplitude limits.
  virtual uint8 units() const = 0;
  /// Bytes per sample.
  virtual uint8 bytesPerSamp() const = 0;
  /// Sample value at full scale.
  virtual std::int32_t maxCount() const = 0;
  /// Lowest sample value.
  virtual std::int32_t minCount() const = 0;
  /// Amplitude at `maxCount`.
  virtual std::int32_t maxAmplitude() const = 0;
  /// Amplitude at `minCount`.
  virtual std::int32_t minAmplitude() const = 0;
};

/// Amplitude scaling, version 0.
class VelAmplScalingChunkV0 final
    : public veliface::stream::FixedChunk<VelAmplScalingChunk, stAMPLITUDE_CHUNK_V0>,
      public DeserializationFactory<VelAmplScalingChunkV0> {
 public:
  using FixedChunk::FixedChunk;
  /// Channel; single-channel units send 0, which means channel 1.
  uint8 channel() const override { return raw_->channel == 0 ? 1 : raw_->channel; }
  /// Units of the amplitude limits.
  uint8 units() const override { return raw_->units; }
  /// Bytes per sample.
  uint8 bytesPerSamp() const override { return raw_->bytesPerSamp; }
  /// Sample value at full scale.
  std::int32_t maxCount() const override { return raw_->maxCount; }
  /// Lowest sample value.
  std::int32_t minCount() const override { return raw_->minCount; }
  /// Amplitude at `maxCount`.
  std::int32_t maxAmplitude() const override { return raw_->maxAmplitude; }
  /// Amplitude at `minCount`.
  std::int32_t minAmplitude() const override { return raw_->minAmplitude; }
  /// Reads 24 bytes; the caller owns the result.
  static VelAmplScalingChunkV0* deserialize(ByteStream* s);
};

/// Trigger status: the state of each trigger of a device.
class VelStreamTrigStatusChunk : public VelStreamMsgChunk {
 public:
  /// Number of triggers.
  virtual uint8 numTrigs() const = 0;
  /// Pointer to the first of the five per-trigger state bytes.
  virtual const uint8* state() const = 0;
  /// Pointer to the two reserved bytes.
  virtual const uint8* reserved() const = 0;
};

/// Trigger status, version 0.
class VelStreamTrigStatusChunkV0 final
    : public veliface::stream::FixedChunk<VelStreamTrigStatusChunk, stTRIG_CHUNK_V0>,
      public DeserializationFactory<VelStreamTrigStatusChunkV0> {
 public:
  using FixedChunk::FixedChunk;
  /// Number of triggers.
  uint8 numTrigs() const override { return raw_->numTrigs; }
  /// Pointer to the first of the five per-trigger state bytes.
  const uint8* state() const override { return raw_->state; }
  /// Pointer to the two reserved bytes.
  const uint8* reserved() const override { return raw_->reserved; }
  /// Reads 12 bytes; the caller owns the result.
  static VelStreamTrigStatusChunkV0* deserialize(ByteStream* s);
};

/// A block of samples: a fixed head and the sample bytes of `numSamples` sample frames.
class VelStreamDataChunk : public VelStreamMsgChunk {
 public:
  /// Index of the first sample of the block.
  virtual uint32 sampleNum() const { return sampleNum_; }
  /// Sets the index of the first sample.
  virtual void setSampleNum(uint32 v) { sampleNum_ = v; }
  /// Number of channels per sample frame.
  virtual uint8 numChannels() const { return numChannels_; }
  /// Sets the number of channels.
  virtual void setNumChannels(uint8 v) { numChannels_ = v; }
  /// The sample-format byte (low 7 bits: bytes per sample; bit 7: little-endian).
  virtual uint8 sampleFormat() const { return sampleFormat_; }
  /// Sets the sample-format byte.
  virtual void setSampleFormat(uint8 v) { sampleFormat_ = v; }
  /// Bytes per sample (low 7 bits of the format).
  virtual uint8 bytesPerSamp() const { return sampleFormat_ & 0x7F; }
  /// The whole format byte times 8, unmasked as for the WAV setup.
  virtual uint16 bitDepth() const { return static_cast<uint16>(sampleFormat_ * 8u); }
  /// True when bit 7 of the format is clear.
  virtual bool isBigEndian() const { return (sampleFormat_ & 0x80) == 0; }
  /// Number of sample frames.
  virtual uint16 numSamples() const { return numSamples_; }
  /// Sets the number of sample frames.
  virtual void setNumSamples(uint16 v) { numSamples_ = v; }
  /// True when the block is known to be damaged (a block cut short on the wire).
  virtual bool isCorrupted() const { return isCorrupted_; }
  /// Marks the block as damaged or not.
  virtual void setCorrupted(bool v) { isCorrupted_ = v; }
  /// The sample bytes as received (empty when there are none).
  virtual const std::shared_ptr<uint8[]>& data() const { return data_; }
  /// Number of bytes in `data()`.
  virtual uint32 dataSize() const { return dataSize_; }
  /// Scaled samples (empty until the scaling code fills them).
  virtual const std::shared_ptr<double[]>& dData() const { return dData_; }
  /// Number of values in `dData()`.
  virtual uint32 numDSamps() const { return numDSamps_; }
  /// Sets the number of values in `dData()`.
  virtual void setNumDSamps(uint32 v) { numDSamps_ = v; }
  /// Replaces the sample bytes with a new zeroed array of `count` bytes.
  void ResetI8(uint32 count);
  /// Replaces the sample bytes with `array` of `count` bytes.
  void ResetI8(std::shared_ptr<uint8[]> array, uint32 count);
  /// Replaces the scaled samples with a new zeroed array of `count` values.
  void ResetD(uint32 count);
  /// Replaces the scaled samples with `array` of `count` values.
  void ResetD(std::shared_ptr<double[]> array, uint32 count);

  /// Sample bytes that follow a head with these fields. The bytes of one sample frame are
  /// deliberately truncated to 8 bits (a frame holds at most 255 bytes), as the devices
  /// compute it; the frame length on the wire follows this count.
  static uint32 sampleByteCount(uint8 sampleFormat, uint8 numChannels, uint16 numSamples) {
    const uint8 frameBytes = static_cast<uint8>((sampleFormat & 0x7Fu) * numChannels);
    return static_cast<uint32>(frameBytes) * numSamples;
  }

 protected:
  uint32 sampleNum_ = 0;
  uint8 numChannels_ = 0;
  uint8 sampleFormat_ = 0;
  uint16 numSamples_ = 0;
  bool isCorrupted_ = false;
  uint32 dataSize_ = 0;
  uint32 numDSamps_ = 0;
  std::shared_ptr<uint8[]> data_;
  std::shared_ptr<double[]> dData_;
};

/// Stream data, version 0. Wire form: type, version, header field (4 bytes, skipped),
/// sampleNum (u32 BE), numChannels (u8), sample format (u8), numSamples (u16 BE), samples.
class VelStreamDataChunkV0 final : public VelStreamDataChunk,
                                   public DeserializationFactory<VelStreamDataChunkV0> {
 public:
  /// Type letter 0x42 'B'.
  uint8 typecode() const override { return 0x42; }
  /// Version 0.
  uint8 version() const override { return 0; }
  /// Reads the head and the samples into a new array; the caller owns the result. When the
  /// samples are cut short the chunk keeps no data, is marked corrupted and the rest of the
  /// stream is consumed.
  static VelStreamDataChunkV0* deserialize(ByteStream* s);
  /// As `deserialize`, for a stream that reads `block` from its first byte: the samples are
  /// not copied, `data()` shares `block`. Returns an empty pointer when the head or the
  /// samples are cut short (the rest of the stream is then consumed).
  static std::shared_ptr<VelStreamDataChunkV0> deserializeShared(
      ByteStream* s, const std::shared_ptr<uint8[]>& block);

 private:
  bool readHead(ByteStream* s);
};

/// The setup chunk of an event: either a WAV setup or an FFT setup.
class VelStreamSetupContainer {
 public:
  /// Holds no setup.
  VelStreamSetupContainer() = default;
  /// Holds a WAV setup.
  explicit VelStreamSetupContainer(std::shared_ptr<const VelWavSetupChunk> wav) : wav_(std::move(wav)) {}
  /// Holds an FFT setup.
  explicit VelStreamSetupContainer(std::shared_ptr<const VelFftSetupChunk> fft) : fft_(std::move(fft)) {}
  /// The WAV setup, or empty.
  std::shared_ptr<const VelWavSetupChunk> wavSetup() const { return wav_; }
  /// The FFT setup, or empty.
  std::shared_ptr<const VelFftSetupChunk> fftSetup() const { return fft_; }

 private:
  std::shared_ptr<const VelWavSetupChunk> wav_;
  std::shared_ptr<const VelFftSetupChunk> fft_;
};

namespace VelUtil {
/// Learns the next chunk's type and version without consuming them: reads the type, peeks
/// the version and puts the type back. An output is left as it was when its byte is missing.
void peekChunk(ByteStream* s, uint8* version, uint8* type);
}  // namespace VelUtil
